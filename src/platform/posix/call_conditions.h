// The terms of the call that a connection is made for, and whom to ask while waiting.
#pragma once

#include <algorithm>

#include "platform/call_terms.h"
#include "platform/posix/patience.h"

namespace zorvan::platform::posix {

// Shared by everything that one call opens. The defaults serve callers without a call.
struct CallConditions {
  CallTerms terms;
  CallObserver* observer = nullptr;  // may be null; outlives whoever holds this
  Deadline end = Deadline::max();    // of the whole call
  // The caller will go on to another controller when this one is slow.
  bool hasAlternative = false;

  // By when a connection that is begun now must have its log-on behind it.
  Deadline OpeningEnd() const {
    return std::min(end, std::chrono::steady_clock::now() + terms.connect);
  }
  Patience ForTheCall() const { return {end, observer}; }
};

}  // namespace zorvan::platform::posix
