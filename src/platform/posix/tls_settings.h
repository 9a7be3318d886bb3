// What the host's configuration of the LDAP tools (ldap.conf, .ldaprc, LDAPTLS_* in the
// environment) adds to TLS.
//
// It may only make TLS stricter. Whom to trust, and whether a certificate is verified, is not its
// business.
#pragma once

#include <string>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {

struct TlsSettings {
  int oldestVersion = 0;        // TLS_PROTOCOL_MIN, as libldap counts: 0x303 is TLS 1.2
  std::string revoked;          // TLS_CRLFILE
  std::string certificateFile;  // TLS_CERT, for servers that ask for one of the client
  std::string keyFile;          // TLS_KEY
  std::string cipherSuite;      // TLS_CIPHER_SUITE, where libldap writes it as GnuTLS does
};

// False with the reason when libldap does not tell a setting, or when one cannot be kept to: TLS
// must not go on then.
bool ReadTlsSettings(TlsSettings& settings, std::string& reason);
bool ApplyTlsSettings(const TlsSettings& settings, gnutls_certificate_credentials_t credentials,
                      std::string& reason);

// The algorithms and versions to offer: those that the system's defaults and the settings both
// allow.
bool RestrictAlgorithms(const TlsSettings& settings, gnutls_session_t session, std::string& reason);

}  // namespace zorvan::platform::posix
