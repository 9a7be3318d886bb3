// The terms of the call that a connection is made for, and whom to ask while waiting.
#pragma once

#include "platform/call_terms.h"
#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

// Shared by everything that one call opens. The defaults serve callers without a call.
struct CallConditions {
  CallTerms terms;
  CallObserver* observer = nullptr;  // may be null; outlives whoever holds this
  Deadline end = Deadline::max();    // of the whole call
};

}  // namespace zorvan::platform::posix
