#include "platform/posix/patience.h"

#include <algorithm>
#include <cerrno>

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Twice as often as the caller was promised.
constexpr milliseconds kBetweenQuestions{100};
constexpr milliseconds::rep kMaxWait = 86400000;  // a day; poll takes an int

}  // namespace

Patience::Patience(Deadline deadline, CallObserver* observer)
    : deadline_(deadline), observer_(observer), nextQuestion_(Clock::now() + kBetweenQuestions) {}

HResult Patience::Check() {
  const Deadline now = Clock::now();
  if (observer_ != nullptr && now >= nextQuestion_) {
    if (observer_->IsCancelled()) return kCancelled;
    nextQuestion_ = Clock::now() + kBetweenQuestions;
  }
  return now >= deadline_ ? kTimedOut : kOk;
}

HResult Patience::Verdict() const {
  if (observer_ != nullptr && observer_->IsCancelled()) return kCancelled;
  return Clock::now() >= deadline_ ? kTimedOut : kOk;
}

HResult Patience::Await(std::span<pollfd> descriptors) {
  for (;;) {
    const HResult ended = Check();
    if (Failed(ended)) return ended;
    const Deadline until = observer_ == nullptr ? deadline_ : std::min(deadline_, nextQuestion_);
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
    const auto wait = static_cast<int>(std::clamp<milliseconds::rep>(left, 0, kMaxWait));
    const int ready = poll(descriptors.data(), descriptors.size(), wait);
    if (ready > 0) return kOk;
    if (ready < 0 && errno != EINTR) return kFailure;
  }
}

Patience Patience::Until(Deadline sooner) const {
  Patience shorter = *this;
  shorter.deadline_ = std::min(deadline_, sooner);
  return shorter;
}

}  // namespace zorvan::platform::posix
