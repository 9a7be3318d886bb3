// Owners of what the system hands out. Each kind is one line: how a value is let go of.
#pragma once

#include <utility>

#include "platform/windows/windows_headers.h"

namespace zorvan::platform::windows {

// Owns one value of Traits::Type; a value-initialized one (null) owns nothing. Not shared, not
// copied.
template <typename Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

  UniqueHandle() = default;
  explicit UniqueHandle(Type value) : value_(value) {}
  UniqueHandle(UniqueHandle&& other) noexcept : value_(std::exchange(other.value_, Type{})) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.value_, Type{}));
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { Reset(); }

  void Reset(Type value = Type{}) {
    if (value_ != Type{}) Traits::Close(value_);
    value_ = value;
  }

  // Where a call of the system writes its result; what was owned before is let go of first.
  Type* Out() {
    Reset();
    return &value_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }

  Type get() const { return value_; }
  Type operator->() const { return value_; }
  explicit operator bool() const { return value_ != Type{}; }

 private:
  Type value_{};
};

// clang-format off
template <typename Interface>
struct InterfaceTraits { using Type = Interface*; static void Close(Type value) { value->Release(); } };
template <typename Content>
struct LocalMemoryTraits { using Type = Content*; static void Close(Type value) { LocalFree(value); } };
template <typename Content>
struct WtsMemoryTraits { using Type = Content*; static void Close(Type value) { WTSFreeMemory(value); } };
template <typename Content>
struct AdsMemoryTraits { using Type = Content*; static void Close(Type value) { FreeADsMem(value); } };
struct BstrTraits { using Type = BSTR; static void Close(Type value) { SysFreeString(value); } };
struct SafeArrayDataTraits { using Type = SAFEARRAY*; static void Close(Type value) { SafeArrayUnaccessData(value); } };
// clang-format on

template <typename Interface>
using ComPtr = UniqueHandle<InterfaceTraits<Interface>>;
template <typename Content>
using LocalMemory = UniqueHandle<LocalMemoryTraits<Content>>;
template <typename Content>
using WtsMemory = UniqueHandle<WtsMemoryTraits<Content>>;
template <typename Content>
using AdsMemory = UniqueHandle<AdsMemoryTraits<Content>>;
using Bstr = UniqueHandle<BstrTraits>;
using SafeArrayData = UniqueHandle<SafeArrayDataTraits>;

// A VARIANT is a value with an inside rather than a handle, so it has an owner of its own.
class Variant {
 public:
  Variant() { VariantInit(&value_); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { VariantClear(&value_); }

  VARIANT* Out() {
    VariantClear(&value_);
    return &value_;
  }
  const VARIANT& get() const { return value_; }

 private:
  VARIANT value_;
};

}  // namespace zorvan::platform::windows
