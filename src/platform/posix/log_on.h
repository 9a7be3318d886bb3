// The log-on of an LDAP connection: by which mechanism, for which service name, and what follows
// when one fails.
#pragma once

#include <string>
#include <vector>

#include "platform/posix/connection_state.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/spnego_bind.h"

namespace zorvan::platform::posix {

class LogOn {
 public:
  // tls: the connection is inside TLS. secure: kSecureAuthentication was asked for.
  LogOn(ConnectionState& connection, const Endpoint& endpoint, bool tls, bool secure,
        ExtendedError& error)
      : connection_(connection),
        handle_(connection.handle.get()),
        endpoint_(endpoint),
        error_(error),
        tls_(tls),
        secure_(secure) {}

  HResult Bind(const Credentials& credentials);

 private:
  HResult BindSecurely(const LogonName& name, const SecretText& password);
  HResult BindSimply(const LogonName& name, const SecretText& password);
  HResult BindAsThisProcess();
  HResult Conclude(SpnegoOutcome outcome, Authentication authentication);
  HResult ExchangeToken(std::string_view token, BindAnswer& answer, ExtendedError& error);
  std::vector<std::string> Services() const;
  std::string CertificateHolder() const;
  BindExchange exchange() {
    return [this](std::string_view token, BindAnswer& answer, ExtendedError& error) {
      return ExchangeToken(token, answer, error);
    };
  }

  ConnectionState& connection_;
  LDAP* handle_;
  const Endpoint& endpoint_;
  ExtendedError& error_;
  const bool tls_;
  const bool secure_;
};

}  // namespace zorvan::platform::posix
