// Log lines of a call as calls of ADHandler's static log methods.
#pragma once

#include <string_view>

#include "bridge/java_call.h"
#include "call/log.h"

namespace zorvan::bridge {

// Silent once Java code has thrown.
class JavaLog final : public call::LogSink {
 public:
  explicit JavaLog(JavaCall& java) : java_(java) {}

  void Write(call::LogChannel channel, int level, std::u16string_view text) override;

 private:
  JavaCall& java_;
};

}  // namespace zorvan::bridge
