// TLS on an LDAP connection: whom to trust, and the handshake.
#pragma once

#include <string>

#include "platform/posix/connection_state.h"
#include "platform/posix/tls_trust.h"

namespace zorvan::platform::posix {

// Makes TLS the lowest layer but the socket of a connection on which nothing was said yet. The
// server's certificate is verified for host. On failure error says why, and nothing can be sent any
// more.
HResult StartTls(ConnectionState& connection, const std::string& host, ExtendedError& error,
                 const SystemTrust& system = KnownSystemTrust());

}  // namespace zorvan::platform::posix
