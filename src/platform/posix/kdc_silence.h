// Remembers for the process which key distribution centres kept silent, so that one that is dead
// costs its waiting time once a minute and not once a log-on, and which answered, so that a busy
// one is not taken for a dead one.
#pragma once

#include <chrono>

#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

// How long one is waited for of which nobody knows that it lives, and how long is remembered what
// it did.
inline constexpr std::chrono::milliseconds kKdcPatience{2'000};
inline constexpr std::chrono::seconds kSilenceRemembered{60};

// Any thread may call. now is the present time. The latest of the two counts.
void RememberSilence(const SocketAddress& kdc, Deadline now);
void RememberAnswer(const SocketAddress& kdc, Deadline now);
bool WasSilent(const SocketAddress& kdc, Deadline now);
bool HasAnswered(const SocketAddress& kdc, Deadline now);

}  // namespace zorvan::platform::posix
