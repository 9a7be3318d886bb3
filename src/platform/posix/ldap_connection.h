// One authenticated connection to a directory server, and what the adapter needs to know of that server.
//
// A connection belongs to one Platform (one call) and is reused by every bind of that call to the same server, port and identity.
#pragma once

#include <ldap.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

inline constexpr std::chrono::seconds kConnectTimeout{10};
inline constexpr std::chrono::seconds kIdleTimeout{120};

// Where and as whom to connect. Texts are UTF-8. Port 636 and 3269, or kUseEncryption in flags, mean TLS from the first byte.
struct Endpoint {
  std::string host;
  std::uint16_t port = 389;
};

// What the root of the server's directory says of itself (readable before authentication).
struct ServerNames {
  std::string dnsHostName;           // "dc1.example.test"; empty when the server does not say
  std::string realm;                 // "EXAMPLE.TEST"; empty when the server does not say
  std::string defaultNamingContext;
  std::string rootDomainNamingContext;
  std::string schemaNamingContext;
  std::string configurationNamingContext;
};

class LdapConnection {
 public:
  // Connects and authenticates. On failure connection stays empty, the result says why and error holds the server's or the
  // library's own words. An empty password with a user name is refused without asking the server.
  static HResult Open(const Endpoint& endpoint, const Credentials& credentials, std::uint32_t flags,
                      std::unique_ptr<LdapConnection>& connection, ExtendedError& error);
  ~LdapConnection();

  LdapConnection(const LdapConnection&) = delete;
  LdapConnection& operator=(const LdapConnection&) = delete;

  LDAP* handle() const;
  const ServerNames& names() const;

  // Waits for the next message of a request (messageId, or LDAP_RES_ANY); gives up after kIdleTimeout without one. all is
  // LDAP_MSG_ONE, LDAP_MSG_ALL or LDAP_MSG_RECEIVED. The caller frees the message with ldap_msgfree.
  HResult AwaitMessage(int messageId, int all, LDAPMessage*& message);

  // True once the transport has failed: every later request would fail, so the connection is not offered for reuse.
  bool broken() const;

 private:
  struct State;
  explicit LdapConnection(std::unique_ptr<State> state);

  HResult ReadServerNames();
  HResult Bind(const Credentials& credentials, std::uint32_t flags, ExtendedError& error);
  HResult BindAsProcess(ExtendedError& error);
  HResult BindSecurely(const std::string& user, const std::string& password, ExtendedError& error);
  HResult BindSimply(const std::string& user, const std::string& password, ExtendedError& error);
  std::string KerberosTarget() const;

  std::unique_ptr<State> state_;
};

}  // namespace zorvan::platform::posix
