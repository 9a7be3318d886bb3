// Rows as java.util.Properties, made value by value through JNI alone.
//
// A row's texts become Strings, its lists ArrayLists, its rows Properties. The keys' Strings are
// made once per call; every other local reference is deleted as soon as its value is stored, so any
// number of rows may pass.
#pragma once

#include <jni.h>

#include <cstddef>
#include <vector>

#include "bridge/java_call.h"
#include "bridge/local_reference.h"
#include "call/row.h"

namespace zorvan::bridge {

class RowWriter {
 public:
  RowWriter(JavaCall& java, const call::KeyTable& keys) : java_(java), keys_(keys) {}
  RowWriter(const RowWriter&) = delete;
  RowWriter& operator=(const RowWriter&) = delete;

  // A new Properties, or null when an exception is pending.
  LocalRef<jobject> ToProperties(const call::Row& row);

 private:
  using Tokens = std::vector<call::Row::Token>;

  LocalRef<jobject> NewProperties();
  // Each reads from position, which stands behind the opening token, up to and over the matching
  // end.
  void FillProperties(const call::Row& row, std::size_t& position, jobject properties);
  LocalRef<jobject> ReadList(const call::Row& row, std::size_t& position);
  LocalRef<jobject> ReadValue(const call::Row& row, std::size_t& position);
  LocalRef<jobject> NewList(const call::Row& row, std::size_t position);
  void MakeRoomForKeys();
  jstring KeyString(call::KeyId key);

  JavaCall& java_;
  const call::KeyTable& keys_;
  std::vector<jstring>
      keyStrings_;  // by KeyId; local references that live as long as the native call
};

}  // namespace zorvan::bridge
