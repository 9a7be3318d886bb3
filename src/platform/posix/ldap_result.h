// From LDAP result codes to the platform's result codes, in one table.
#pragma once

#include <ldap.h>

#include <string_view>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

// The HResult for an LDAP result code, the library's own (negative) ones included. The code alone
// decides, as on the platform; what a server adds in the text is for ExtendedError.
HResult HResultFromLdap(int resultCode);

inline constexpr HResult kReferral = HResultFromWin32(0x202B);  // ERROR_DS_REFERRAL

// Reads the result of a finished request (or the handle's last error when message is null). On
// failure error has the diagnostic text and the Win32 code that it names: the reason of a refused
// logon, the code in front ("0000202B: ..."), or else that of the result itself. A referral has its
// URLs there.
HResult ResultOf(LDAP* handle, LDAPMessage* message, ExtendedError& error);

// What ResultOf puts into error.
ExtendedError ExtendedErrorFromLdap(int resultCode, std::string_view diagnostic);

}  // namespace zorvan::platform::posix
