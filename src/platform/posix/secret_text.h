// A password in UTF-8 for the libraries that want it so; overwritten before its memory is given
// back.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {

class SecretText {
 public:
  explicit SecretText(std::u16string_view text) : text_(ToUtf8(text)) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  // To the capacity: the conversion used more of the memory than it kept.
  ~SecretText() {
    text_.resize(text_.capacity());
    explicit_bzero(text_.data(), text_.size());
  }

  const char* c_str() const { return text_.c_str(); }
  std::size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }

 private:
  std::string text_;
};

// The same in UTF-16, for as long as a call of the port takes.
class WideSecret {
 public:
  explicit WideSecret(const SecretText& text)
      : text_(ToUtf16(std::string_view(text.c_str(), text.size()))) {}
  WideSecret(const WideSecret&) = delete;
  WideSecret& operator=(const WideSecret&) = delete;
  ~WideSecret() {
    text_.resize(text_.capacity());
    explicit_bzero(text_.data(), text_.size() * sizeof(char16_t));
  }

  std::u16string_view view() const { return text_; }

 private:
  std::u16string text_;
};

}  // namespace zorvan::platform::posix
