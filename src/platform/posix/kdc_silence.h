// Remembers for the process which key distribution centres kept silent, so that one that is dead
// costs its waiting time once a minute and not once a log-on.
#pragma once

#include <chrono>

#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

// How long one is waited for when there is another, and how long its silence is remembered.
inline constexpr std::chrono::milliseconds kKdcPatience{2'000};
inline constexpr std::chrono::seconds kSilenceRemembered{60};

// Any thread may call. now is the present time.
void RememberSilence(const SocketAddress& kdc, Deadline now);
bool WasSilent(const SocketAddress& kdc, Deadline now);

}  // namespace zorvan::platform::posix
