// The objects that most exports are passed, each with a type of its own, so that one cannot be
// taken for another. Any of them may be null.
#pragma once

#include <jni.h>

namespace zorvan::bridge {

struct JavaSettings {
  jobject object;  // java.util.Properties
};

struct JavaAttributes {
  jobject object;  // java.util.ArrayList of String
};

struct JavaListener {
  jobject object;  // NativeListener
};

struct JavaErrors {
  jobject object;  // NativeError
};

}  // namespace zorvan::bridge
