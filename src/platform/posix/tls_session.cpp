#include "platform/posix/tls_session.h"

#include <sys/socket.h>

#include <utility>

#include "platform/posix/tls_settings.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

bool AttachTls(ConnectionState& connection, const std::string& host, const SystemTrust& system,
               std::string& reason) {
  TlsCredentials credentials;
  if (const int result = gnutls_certificate_allocate_credentials(credentials.Put()); result < 0) {
    reason = gnutls_strerror(result);
    return false;
  }
  TlsSettings settings;
  if (!LoadTrust(ToUtf8(connection.conditions.terms.trustedAuthorities), system, credentials.get(),
                 reason) ||
      !ReadTlsSettings(settings, reason) ||
      !ApplyTlsSettings(settings, credentials.get(), reason)) {
    return false;
  }
  Sockbuf* layers = nullptr;
  if (ldap_get_option(connection.handle.get(), LDAP_OPT_SOCKBUF, &layers) != LDAP_OPT_SUCCESS) {
    reason = "the connection has no layers";
    return false;
  }
  return connection.tls.emplace(std::move(credentials), host).Attach(layers, settings, reason);
}

// libldap takes leave of the server when it closes a connection. Not even that goes out in the
// clear.
HResult Fail(ConnectionState& connection, const std::string& reason, ExtendedError& error) {
  shutdown(connection.socket.descriptor(), SHUT_RDWR);
  return ServerDown("TLS: " + reason, error);
}

}  // namespace

HResult StartTls(ConnectionState& connection, const std::string& host, ExtendedError& error,
                 const SystemTrust& system) {
  std::string reason;
  if (!AttachTls(connection, host, system, reason)) return Fail(connection, reason, error);
  Patience patience = connection.OpeningPatience();
  connection.socket.ReadUntil(&patience);
  const bool established = connection.tls->Handshake(patience, reason);
  connection.socket.ReadUntil(nullptr);
  return established ? kOk : Fail(connection, reason, error);
}

}  // namespace zorvan::platform::posix
