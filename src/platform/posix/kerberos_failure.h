// What a failure of Kerberos that is no judgement on name and password means: a code of its own and
// words for each cause that somebody can do something about.
#pragma once

#include <krb5/krb5.h>

#include <string_view>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

inline constexpr HResult kTimeSkew = HResultFromWin32(1398);             // ERROR_TIME_SKEW
inline constexpr HResult kNoLogonServers = HResultFromWin32(1311);       // ERROR_NO_LOGON_SERVERS
inline constexpr HResult kBadConfiguration = HResultFromWin32(1610);     // ERROR_BAD_CONFIGURATION
inline constexpr HResult kTargetUnknown = MakeHResult(0x80090303U);      // SEC_E_TARGET_UNKNOWN
inline constexpr HResult kLogonDenied = MakeHResult(0x8009030CU);        // SEC_E_LOGON_DENIED
inline constexpr HResult kTicketExpired = MakeHResult(0x80090317U);      // SEC_E_CONTEXT_EXPIRED
inline constexpr HResult kAlgorithmMismatch = MakeHResult(0x80090331U);  // SEC_E_ALGORITHM_MISMATCH

// The Win32 code of a result, or all of its bits when it is none.
Win32Code CodeOf(HResult result);

// The result for a code of libkrb5, with words in error: the cause if it is known, then what the
// library says and the detail, which may be empty. kServerDown for whatever says that this key
// distribution centre cannot be used but another may: silence, nonsense, loops.
HResult KerberosFailure(krb5_context context, krb5_error_code code, std::string_view detail,
                        ExtendedError& error);

// The same for a code that GSSAPI gave on the way to a bind, with its words in error. kLogonDenied
// for what has no cause of its own; kBadConfiguration where the cause is a configuration that the
// process cannot read, whatever the code.
HResult KerberosBindFailure(krb5_error_code code, ExtendedError& error);

// Why the process has no identity that will do, looked up with its own configuration and ticket
// cache: an unreadable configuration, no ticket, an expired one. kOk when none of these is wrong.
HResult JudgeProcessIdentity(ExtendedError& error);

}  // namespace zorvan::platform::posix
