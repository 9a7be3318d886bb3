// A Kerberos credential for one service, got with a name and a password and kept in memory only.
//
// No configuration is read and no ticket file is written: the key distribution centre is the directory server itself, which the
// library's own profile says, and the tickets are gone when this object is.
#pragma once

#include <krb5/krb5.h>

#include <memory>
#include <string>

#include "platform/directory.h"
#include "platform/posix/gss_handles.h"

namespace zorvan::platform::posix {

// Whose password is tried where.
struct KerberosRequest {
  std::string user;      // "name", "DOMAIN\name" or "name@suffix"
  std::string password;  // never empty
  std::string realm;     // the server's
  std::string server;    // name or address of the key distribution centre
  std::string service;   // "ldap/dc1.example.test"
};

enum class KerberosOutcome {
  kAcquired,
  kRefused,    // the password was tried and found wrong, or the account may not log on: final
  kNotSpoken,  // the password was not judged: another way may be tried
};

class KerberosCredentials {
 public:
  KerberosCredentials();
  ~KerberosCredentials();
  KerberosCredentials(const KerberosCredentials&) = delete;
  KerberosCredentials& operator=(const KerberosCredentials&) = delete;

  // On failure error tells why, with the Win32 code when the account's state is the reason.
  KerberosOutcome Acquire(const KerberosRequest& request, ExtendedError& error);

  // For initiating a SPNEGO context; valid while this object lives.
  gss_cred_id_t credential() const { return credential_.get(); }

 private:
  struct Session;
  std::unique_ptr<Session> session_;
  GssCredential credential_;
};

}  // namespace zorvan::platform::posix
