// One authenticated connection to a directory server, and what the adapter needs to know of that
// server.
//
// A connection belongs to one Platform (one call) and is reused by every bind of that call to the
// same server, port and identity. It is used by one thread at a time; any number of connections can
// be open in as many threads.
#pragma once

#include <ldap.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/directory.h"
#include "platform/posix/call_conditions.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

// Where to connect. Texts are UTF-8. Port 636 and 3269, or kUseEncryption in flags, mean TLS from
// the first byte.
struct Endpoint {
  std::string host;
  std::uint16_t port = 389;
};

// What the root of the server's directory says of itself.
struct ServerNames {
  std::string dnsHostName;  // "dc1.example.test"; empty when the server does not say
  std::string realm;        // "EXAMPLE.TEST"; empty when the server does not say
  std::string defaultNamingContext;
  std::string rootDomainNamingContext;
  std::string schemaNamingContext;
  std::string configurationNamingContext;
};

// What a connection was authenticated by.
enum class Authentication { kAnonymous, kKerberos, kNtlm, kProcessIdentity, kSimple };

struct ConnectionState;

class LdapConnection {
 public:
  // While one lives, a search of the connection is between its pages.
  class PagedSearchMark {
   public:
    explicit PagedSearchMark(LdapConnection& connection) : connection_(connection) {
      ++connection_.pagedSearches_;
    }
    ~PagedSearchMark() { --connection_.pagedSearches_; }
    PagedSearchMark(const PagedSearchMark&) = delete;
    PagedSearchMark& operator=(const PagedSearchMark&) = delete;

   private:
    LdapConnection& connection_;
  };
  bool hasPagedSearch() const { return pagedSearches_ != 0; }

  // Connects and authenticates.
  //
  // With kSecureAuthentication the bind is GSS-SPNEGO and everything after it is signed and sealed
  // (inside TLS it is not, since servers refuse that). It is by Kerberos; NTLM is used only where
  // what the caller gave rules Kerberos out, or the terms allow it (logon_plan.h). No user name
  // means the Kerberos identity of the process. Without kSecureAuthentication it is a simple bind,
  // anonymous without a user name, and a password is sent inside TLS only. An empty password with a
  // user name is refused without asking the server.
  //
  // On failure connection stays empty and error has the reason: kServerDown for a host that is
  // unknown, refuses, keeps silent, fails the TLS handshake or has no KDC that can be used;
  // kLogonFailure with the Win32 code of the reason (1331: disabled) for a refused logon;
  // kNoLogonSession when nobody is named and the process has no Kerberos identity; other results of
  // KerberosFailure (kerberos_failure.h).
  static HResult Open(const Endpoint& endpoint, const Credentials& credentials, std::uint32_t flags,
                      std::unique_ptr<LdapConnection>& connection, ExtendedError& error,
                      const CallConditions& conditions = {});
  explicit LdapConnection(std::unique_ptr<ConnectionState> state);  // for Open
  ~LdapConnection();

  LdapConnection(const LdapConnection&) = delete;
  LdapConnection& operator=(const LdapConnection&) = delete;

  // For sending requests and reading messages. Answers must be awaited with AwaitMessage: a request
  // may still be queued here, and the library's own waiting knows neither the queue nor the time
  // limit.
  LDAP* handle() const;
  // As the server gave them under the protection of the connection; what was said before the
  // log-on is not kept. Of an anonymous connection without TLS anybody can have written them.
  const ServerNames& names() const;
  Authentication authentication() const;

  // Stands for the forest and for who has proved that this server belongs to it: the Kerberos realm
  // of its service, or the certificate of its host, with the names of the forest's root and schema.
  // Two connections have the same key only when whatever the forest says holds for both. Where
  // nobody has proved anything (anonymous without TLS; NTLM, which any member of a domain can
  // answer), the key is that of this connection alone. Never empty.
  const std::string& forestKey() const;
  // Whether the key can come again, so that keeping something under it has a use.
  bool hasProvenForest() const;

  // Waits for the next message of a request (messageId, or LDAP_RES_ANY). all is LDAP_MSG_ONE,
  // LDAP_MSG_ALL or LDAP_MSG_RECEIVED. The caller frees the message with ldap_msgfree. Gives up
  // with kTimedOut when no whole message arrives within the idle limit or the call has lasted too
  // long, with kCancelled when the caller wants no more; ERROR_DS_OBJECT_RESULTS_TOO_LARGE means
  // that the server went beyond the limits on memory. failure() has the reason in words.
  HResult AwaitMessage(int messageId, int all, LDAPMessage*& message);
  const ExtendedError& failure() const;
  // Of the message that AwaitMessage gave last, or of the messages, in bytes.
  std::size_t messageSize() const;

  // kCancelled or kTimedOut, with the words for it, when the call is to end. To be asked from time
  // to time where a server never makes anybody wait.
  HResult CheckCall(ExtendedError& error) const;

  // Tells the server, if it can still be told, that the answer to a request is not wanted.
  void Abandon(int messageId);

  // From now on requests are waited for until then only; one that is not answered by then has timed
  // out, and the connection stays good for others.
  void LimitRequests(Deadline deadline);

  // True once the transport has failed: every later request would fail, so the connection is not
  // offered for reuse.
  bool broken() const;

 private:
  std::unique_ptr<ConnectionState> state_;
  std::size_t pagedSearches_ = 0;
};

// A limit for the requests that are made while this lives.
class RequestLimit {
 public:
  RequestLimit(LdapConnection& connection, Deadline deadline) : connection_(connection) {
    connection_.LimitRequests(deadline);
  }
  ~RequestLimit() { connection_.LimitRequests(Deadline::max()); }
  RequestLimit(const RequestLimit&) = delete;
  RequestLimit& operator=(const RequestLimit&) = delete;

 private:
  LdapConnection& connection_;
};

}  // namespace zorvan::platform::posix
