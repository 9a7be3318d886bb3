// Text across the border: the library's UTF-16 is char16_t, the system's is wchar_t of the same
// size. Nothing outside this folder sees a wchar_t.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/windows/windows_headers.h"

namespace zorvan::platform::windows {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// The system's text as the library sees it; a null pointer is the empty text.
inline std::u16string_view TextView(const wchar_t* text) {
  return text == nullptr ? std::u16string_view() : reinterpret_cast<const char16_t*>(text);
}
inline std::u16string_view TextView(const wchar_t* text, std::size_t length) {
  return {reinterpret_cast<const char16_t*>(text), length};
}
inline wchar_t* NativePointer(char16_t* text) { return reinterpret_cast<wchar_t*>(text); }

// A zero-terminated copy for one call of the system, overwritten when it goes: it may be a
// password.
class NativeText {
 public:
  explicit NativeText(std::u16string_view text) : text_(text) {}
  NativeText(const NativeText&) = delete;
  NativeText& operator=(const NativeText&) = delete;
  ~NativeText() { SecureZeroMemory(text_.data(), text_.size() * sizeof(char16_t)); }

  // Many parameters that are only read are declared writable.
  wchar_t* get() { return NativePointer(text_.data()); }

 private:
  std::u16string text_;
};

// The same for a text that may be absent, which the system is told as a null pointer.
class OptionalNativeText {
 public:
  explicit OptionalNativeText(const std::optional<std::u16string_view>& text)
      : present_(text.has_value()), text_(text.value_or(std::u16string_view())) {}

  wchar_t* get() { return present_ ? text_.get() : nullptr; }

 private:
  bool present_;
  NativeText text_;
};

// The system reads a text up to its first zero: one with a zero inside cannot be told to it whole,
// and must not be told to it in part.
inline bool IsTellable(std::u16string_view text) { return text.find(u'\0') == text.npos; }

}  // namespace zorvan::platform::windows
