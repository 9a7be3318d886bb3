// Kerberos tickets for one service, got with a name and a password and held in memory.
//
// The key distribution centre is the directory server itself, spoken to by TCP at an address that
// the caller knows already; which requests are needed is libkrb5's business. No configuration file,
// ticket file, environment variable or DNS name has a say. The tickets are gone when the object is.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/directory.h"
#include "platform/posix/handles.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

enum class KerberosOutcome {
  kReady,
  kRefused,  // name or password are wrong or the account may not log on; error says why. Final: the
             // centre has counted it
  kUnavailable,  // Kerberos cannot be spoken here, and no wrong password was counted; error says
                 // why
};

struct KerberosLogon {
  LogonName name;
  const SecretText& password;
  std::string realm;                  // the server's
  std::vector<std::string> services;  // names of the service, the first that the centre knows is
                                      // taken: "ldap/dc1.example.test"
  SocketAddress centre;
  std::chrono::milliseconds timeLimit;  // for each question to the centre
};

class KerberosCredentials {
 public:
  KerberosCredentials();
  ~KerberosCredentials();
  KerberosCredentials(const KerberosCredentials&) = delete;
  KerberosCredentials& operator=(const KerberosCredentials&) = delete;

  // To be called once.
  KerberosOutcome Acquire(const KerberosLogon& logon, ExtendedError& error);

  // The ticket cache as GSSAPI wants it named, and the service with its realm.
  const std::string& cacheName() const;
  const std::string& service() const;

 private:
  class Session;
  std::unique_ptr<Session> session_;
};

}  // namespace zorvan::platform::posix
