#include "platform/posix/tls_session.h"

#include <string>

namespace zorvan::platform::posix {
namespace {

// Where most systems keep the authorities that they trust, for a libldap that is not told of any.
constexpr const char* kSystemTrust = "/etc/ssl/certs/ca-certificates.crt";

// The certificate is verified whatever libldap is configured to let pass; the configuration chooses
// whom to trust. Each handle has a TLS context of its own, which shares nothing with other threads
// but must be told what the process-wide one is.
void DemandCertificate(LDAP* handle) {
  for (const int option :
       {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR, LDAP_OPT_X_TLS_CRLFILE,
        LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE, LDAP_OPT_X_TLS_CIPHER_SUITE}) {
    LdapText value;
    ldap_get_option(nullptr, option, value.Put());
    if (value) ldap_set_option(handle, option, value.get());
  }
  LdapText file;
  LdapText folder;
  ldap_get_option(handle, LDAP_OPT_X_TLS_CACERTFILE, file.Put());
  ldap_get_option(handle, LDAP_OPT_X_TLS_CACERTDIR, folder.Put());
  if (!file && !folder) ldap_set_option(handle, LDAP_OPT_X_TLS_CACERTFILE, kSystemTrust);
  const int demanded = LDAP_OPT_X_TLS_DEMAND;
  const int client = 0;
  ldap_set_option(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, &demanded);
  ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &client);
}

std::string DiagnosticOf(LDAP* handle) {
  LdapText text;
  ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, text.Put());
  return text ? text.get() : "";
}

}  // namespace

HResult StartTls(ConnectionState& connection, const std::string& host, ExtendedError& error) {
  LDAP* handle = connection.handle.get();
  DemandCertificate(handle);
  Patience patience = connection.OpeningPatience();
  connection.socket.ReadUntil(&patience);
  const int result = ldap_install_tls(handle);
  connection.socket.ReadUntil(nullptr);
  if (result == LDAP_SUCCESS) return kOk;
  if (Failed(patience.Verdict()))
    return ServerDown("TLS: the server did not answer within the time limit", error);
  // The library has words for failures of the handshake, but none for a certificate that it
  // refuses.
  const std::string text = DiagnosticOf(handle);
  if (!text.empty() && text.find("unknown error") == std::string::npos)
    return ServerDown("TLS: " + text, error);
  return ServerDown("TLS: the server's certificate is not trusted, or is not one for " + host,
                    error);
}

}  // namespace zorvan::platform::posix
