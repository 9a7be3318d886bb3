#include "platform/windows/call_limits.h"

namespace zorvan::platform::windows {

CallLimits::CallLimits(const CallTerms& terms, CallObserver& observer)
    : observer_(&observer),
      idleSeconds_(
          static_cast<std::uint32_t>(std::chrono::ceil<std::chrono::seconds>(terms.idle).count())) {
  if (terms.call.count() != 0) end_ = Clock::now() + terms.call;
}

HResult CallLimits::Check() {
  constexpr std::chrono::milliseconds kBetweenQuestions{100};
  if (observer_ == nullptr) return kOk;
  const Clock::time_point now = Clock::now();
  if (now >= nextQuestion_) {
    if (observer_->IsCancelled()) return kCancelled;
    nextQuestion_ = now + kBetweenQuestions;
  }
  return now >= end_ ? kTimedOut : kOk;
}

}  // namespace zorvan::platform::windows
