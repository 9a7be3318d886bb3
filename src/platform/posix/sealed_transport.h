// The signed and sealed transport below an LDAP connection: from the bind on, everything travels in wrapped tokens, each behind its
// length in four bytes, most significant first (RFC 4752's security layer as SPNEGO negotiates it).
#pragma once

#include <gssapi/gssapi.h>
#include <lber.h>

#include "platform/posix/gss_handles.h"

namespace zorvan::platform::posix {

// Puts the layer above the socket's raw bytes. The layer owns the context from then on and goes with the connection. seal tells
// whether what is sent is encrypted or signed only. False when libldap refuses the layer.
bool InstallSealedTransport(Sockbuf* socket, GssContext context, bool seal);

}  // namespace zorvan::platform::posix
