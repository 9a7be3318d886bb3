// How long an operation may wait: up to a moment, and only while the caller of the call still wants
// its result.
#pragma once

#include <poll.h>

#include <chrono>
#include <span>

#include "platform/call_terms.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

using Deadline = std::chrono::steady_clock::time_point;

// A value: a copy has the same deadline and the same caller.
class Patience {
 public:
  // Not explicit: a deadline alone is the patience of an operation that nobody can cancel.
  Patience(Deadline deadline, CallObserver* observer = nullptr);

  // kOk while the operation may go on, else kTimedOut or kCancelled. Asks the caller now and then
  // only, so that it can stand in a loop over small pieces.
  HResult Check();

  // The same, asking the caller at once: what a wait that failed has failed of.
  HResult Verdict() const;

  // Waits until one of the descriptors is ready for its events: kOk, kTimedOut or kCancelled. Time
  // that is over is over even if something is ready, or a trickle of bytes would stretch it.
  HResult Await(std::span<pollfd> descriptors);

  // This patience, but no longer than that.
  Patience Until(Deadline sooner) const;
  // The same caller, with another deadline.
  void PutOff(Deadline deadline) { deadline_ = deadline; }

  Deadline deadline() const { return deadline_; }

 private:
  Deadline deadline_;
  CallObserver* observer_;
  Deadline nextQuestion_;
};

}  // namespace zorvan::platform::posix
