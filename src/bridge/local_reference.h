// A JNI local reference that is deleted at the end of its scope.
//
// One native call may build any number of rows, so nothing may be left to the virtual machine's
// clean-up at the end of the call. A reference belongs to the environment, and so to the thread,
// that it came from. Deleting is allowed while a Java exception is pending.
#pragma once

#include <jni.h>

#include <utility>

namespace zorvan::bridge {

template <typename T>
class LocalRef {
 public:
  LocalRef(JNIEnv* env, T reference) : env_(env), reference_(reference) {}
  LocalRef(LocalRef&& other) noexcept
      : env_(other.env_), reference_(std::exchange(other.reference_, nullptr)) {}
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;
  LocalRef& operator=(LocalRef&& other) noexcept {
    std::swap(env_, other.env_);
    std::swap(reference_, other.reference_);
    return *this;
  }
  ~LocalRef() {
    if (reference_ != nullptr) env_->DeleteLocalRef(reference_);
  }

  T get() const { return reference_; }
  explicit operator bool() const { return reference_ != nullptr; }

 private:
  JNIEnv* env_;
  T reference_;
};

}  // namespace zorvan::bridge
