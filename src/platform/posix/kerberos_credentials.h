// Kerberos tickets for one service, got with a name and a password, or with the tickets of the
// process, and held in memory.
//
// The key distribution centre (KDC) is the directory server itself, spoken to by TCP at an address
// that the caller knows already; which requests are needed is libkrb5's business. No configuration
// file, ticket file, environment variable or DNS name has a say. The tickets are gone when the
// object is.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/call_terms.h"
#include "platform/directory.h"
#include "platform/posix/handles.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/tcp_connector.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

enum class KerberosOutcome {
  kReady,
  kRefused,    // name or password are wrong or the account may not log on; the result is
               // kLogonFailure. Final: the KDC has counted it
  kElsewhere,  // the process has no ticket cache, or is of another realm
  kFailed,     // no ticket, and no wrong password was counted; the result says what was wrong
};

struct KerberosLogon {
  LogonName name;
  const SecretText& password;
  std::string realm;                  // the server's, and the user's if the name states none
  std::vector<std::string> services;  // without realm, the first that the KDC knows is taken:
                                      // "ldap/dc1.example.test"
  SocketAddress kdc;
  Patience patience;  // for all questions together
  // There is something else to go on with, so a question to the KDC has kKdcPatience at most;
  // without it a KDC that answered lately has as long as there is.
  bool hasAlternative = false;
  bool allowRc4 = false;
};

class KerberosCredentials {
 public:
  KerberosCredentials();
  ~KerberosCredentials();
  KerberosCredentials(const KerberosCredentials&) = delete;
  KerberosCredentials& operator=(const KerberosCredentials&) = delete;

  // One of the two is to be called, once. Results as KerberosFailure gives them (kServerDown for a
  // KDC that is silent, talks nonsense or asks for more computing than kMaxKeyIterations). A name
  // that the realm does not know is refused, whatever domain it states and in whichever form: a
  // server that is asked by NTLM may take an unknown domain for its own.
  KerberosOutcome Acquire(const KerberosLogon& logon, HResult& result, ExtendedError& error);

  // The same for the identity of the process, with its configuration and a copy of its ticket
  // cache; name, password and allowRc4 have no say.
  KerberosOutcome AcquireAsProcess(const KerberosLogon& logon, HResult& result,
                                   ExtendedError& error);

  // The ticket cache as GSSAPI wants it named, and the service with its realm.
  const std::string& cacheName() const;
  const std::string& service() const;

 private:
  class Session;
  std::unique_ptr<Session> session_;
};

}  // namespace zorvan::platform::posix
