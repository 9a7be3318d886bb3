// What one call carries from its frame to its work routine. Lives for exactly one native call, on
// one thread.
#pragma once

#include <cstdint>

#include "call/domain_settings.h"
#include "call/log.h"
#include "call/row.h"
#include "platform/platform.h"

namespace zorvan::call {

struct NativeHandler {
  NativeHandler(platform::Platform& callPlatform, LogSink& sink)
      : platform(callPlatform), log(sink) {}

  platform::Platform& platform;
  Log log;
  KeyTable keys;              // of every row that the call makes
  bool debugEnabled = false;  // recorded only: every line goes to Java, which filters
  DomainSettings settings;
  platform::CallObserver* observer = nullptr;  // where notices go; null in a call without one
  std::int32_t validDcCount = 0;               // controllers that answered: 0 or 1
};

// Whether the caller wants no more of this call.
inline bool IsCancelled(const NativeHandler& handler) {
  return handler.observer != nullptr && handler.observer->IsCancelled();
}

// Whether the call failed only because its caller cancelled it. Work routines add no error for such
// a result: the frame knows whether the caller had enough or was interrupted, and reports the
// interrupt.
inline bool EndedByCaller(const NativeHandler& handler, platform::HResult result) {
  return result == platform::kCancelled && IsCancelled(handler);
}

}  // namespace zorvan::call
