// One native call's view of Java: its environment, the class cache, and whether Java code that it
// called has thrown.
//
// Every JNI call that can throw is followed by Check(). Once an exception is pending it stays so
// for the Java caller, and nothing may be called through JNI but what JNI allows then: deleting
// references. Everything in this folder asks Failed() first.
#pragma once

#include <jni.h>

#include "bridge/java_class_cache.h"

namespace zorvan::bridge {

class JavaCall {
 public:
  JavaCall(JNIEnv* env, const JavaClassCache& classes) : env_(env), classes_(classes) {}
  JavaCall(const JavaCall&) = delete;
  JavaCall& operator=(const JavaCall&) = delete;

  JNIEnv* env() const { return env_; }
  const JavaClassCache& classes() const { return classes_; }

  bool Failed() const { return failed_; }
  // False when the call before it threw.
  bool Check() {
    if (env_->ExceptionCheck() == JNI_TRUE) failed_ = true;
    return !failed_;
  }

 private:
  JNIEnv* env_;
  const JavaClassCache& classes_;
  bool failed_ = false;
};

}  // namespace zorvan::bridge
