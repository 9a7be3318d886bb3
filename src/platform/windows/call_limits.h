// The limits of one call as far as they can be kept here: between two calls of the system, which
// itself waits as long as it likes.
#pragma once

#include <chrono>
#include <cstdint>

#include "platform/call_terms.h"
#include "platform/result.h"

namespace zorvan::platform::windows {

class CallLimits {
 public:
  // Without a call: no limits.
  CallLimits() = default;
  // The observer outlives this.
  CallLimits(const CallTerms& terms, CallObserver& observer);

  // kOk, kCancelled, or kTimedOut when the whole call has lasted too long. Asks the caller now and
  // then only.
  HResult Check();

  // How long the system may wait for an answer, in seconds; zero: as long as it likes.
  std::uint32_t idleSeconds() const { return idleSeconds_; }

 private:
  using Clock = std::chrono::steady_clock;

  CallObserver* observer_ = nullptr;
  Clock::time_point end_ = Clock::time_point::max();
  Clock::time_point nextQuestion_{};
  std::uint32_t idleSeconds_ = 0;
};

}  // namespace zorvan::platform::windows
