// What the root of a server's directory says of the server.
#pragma once

#include <chrono>

#include "platform/posix/connection_state.h"

namespace zorvan::platform::posix {

// Reads the names into connection.names. Before the log-on anybody can have written the answer.
HResult ReadServerNames(ConnectionState& connection, std::chrono::milliseconds limit,
                        ExtendedError& error);

}  // namespace zorvan::platform::posix
