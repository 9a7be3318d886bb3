// Error entries of a call as calls of setErrorList on the NativeError that Java passed.
#pragma once

#include <jni.h>

#include "bridge/java_call.h"
#include "call/error_list.h"
#include "call/log.h"

namespace zorvan::bridge {

// Without a list (null) an entry becomes a log line, so that it is not lost altogether. Silent once
// Java code has thrown.
class JavaErrorList final : public call::ErrorList {
 public:
  JavaErrorList(JavaCall& java, jobject list, call::LogSink& log)
      : java_(java), list_(list), log_(log) {}

  void SetErrorList(const call::ErrorEntry& entry) override;

 private:
  JavaCall& java_;
  jobject list_;
  call::LogSink& log_;
};

}  // namespace zorvan::bridge
