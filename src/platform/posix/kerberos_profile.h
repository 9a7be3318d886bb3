// The Kerberos configuration of an explicit log-on, held in memory: no file has a say.
#pragma once

#include <krb5/krb5.h>

#include <span>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {

// The types of tickets and keys, in the order of preference: AES, and RC4-HMAC if allowed.
std::span<const krb5_enctype> KeyTypes(bool allowRc4);

// A context that offers and takes keys of these types only and looks nothing up by DNS.
krb5_error_code MakeKerberosContext(bool allowRc4, KerberosContext& context);

}  // namespace zorvan::platform::posix
