// The SASL bind GSS-SPNEGO, leg by leg, with the credential of the connection.
#pragma once

#include <gssapi/gssapi.h>

#include <string>

#include "platform/posix/gss_handles.h"
#include "platform/posix/ldap_connection.h"

namespace zorvan::platform::posix {

// What is spoken to whom.
struct SpnegoRequest {
  gss_cred_id_t credential = GSS_C_NO_CREDENTIAL;  // none: the process's own
  gss_OID mechanism;      // kSpnegoMechanism, or kNtlmMechanism for its tokens without a wrapping
  std::string target;     // "ldap/host@REALM", or "ldap@host" for NTLM
  bool targetIsPrincipal;
  bool protect = true;  // sign and seal what follows; not inside TLS
};

// Authenticates the connection and, when asked to protect, puts the sealed transport under it. error tells why not.
HResult SpnegoBind(LdapConnection& connection, const SpnegoRequest& request, ExtendedError& error);

}  // namespace zorvan::platform::posix
