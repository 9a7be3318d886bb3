// NTLM's library asks winbind for the name of this computer before its first message, inside the
// process: without a time limit of use (five minutes), and through a library that keeps its state
// without a lock. So that leg is taken in a thread of its own, one at a time, and left behind when
// it takes too long.
#pragma once

#include <chrono>
#include <functional>

#include "platform/call_terms.h"
#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

// winbind answers from memory; one that needs longer is as good as dead.
inline constexpr std::chrono::milliseconds kWinbindPatience{2'000};

// Runs the work and waits for it. False when it was not begun or has not ended by the deadline, or
// the observer (may be null) wants no more. Begun work then goes on alone, so it must own whatever
// it touches; until it ends no other is begun, and everybody is told so at once.
bool RunBesideWinbind(std::function<void()> work, Deadline deadline, CallObserver* observer);

}  // namespace zorvan::platform::posix
