// What the root of a server's directory says of the server.
#pragma once

#include "platform/posix/connection_state.h"

namespace zorvan::platform::posix {

// The failure of a server whose answer was awaited in vain, in words; awaited is what Await gave.
HResult NoAnswer(HResult awaited, ExtendedError& error);

// Reads the names into connection.names, in place of those that were there. Before the log-on, or
// a verified certificate, anybody can have written the answer.
HResult ReadServerNames(ConnectionState& connection, ExtendedError& error);

// Sets connection.forestKey from the names and from who has proved to be the server.
void NameForest(ConnectionState& connection);

}  // namespace zorvan::platform::posix
