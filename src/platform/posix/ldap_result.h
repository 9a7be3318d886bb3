// From LDAP result codes to the platform's result codes, in one table.
#pragma once

#include <ldap.h>

#include <string_view>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

// The HResult for an LDAP result code and the diagnostic text that came with it (may be empty). The code decides; where it says
// no more than "operations error", "unwilling" or "other", a Win32 code in the text ("0000202B: ...") is taken instead.
HResult HResultFromLdap(int resultCode, std::string_view diagnostic);

// Reads result code and diagnostic text of a finished request (or the handle's last error when message is null).
HResult ResultOf(LDAP* handle, LDAPMessage* message, ExtendedError& error);

}  // namespace zorvan::platform::posix
