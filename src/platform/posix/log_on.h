// The log-on of an LDAP connection: by which mechanism, for which service name, and what follows
// when one fails.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

#include "platform/posix/connection_state.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/logon_plan.h"
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

  // Whether the names that the server tells before the log-on have a use for it.
  bool NeedsServerNames() const;

  HResult Bind(const Credentials& credentials);

 private:
  LogonPlan Plan(const LogonName& name) const;
  bool FindServices(LogonPlan& plan);
  HResult ServiceUnknown();
  KerberosLogon Questions(const LogonName& name, const SecretText& password,
                          const LogonPlan& plan) const;

  HResult BindSecurely(const LogonName& name, const SecretText& password);
  // final: nothing else is to be tried, whatever the result.
  HResult BindByKerberos(const LogonName& name, const SecretText& password, LogonPlan& plan,
                         bool& final);
  HResult BindByNtlm(const LogonName& name, const SecretText& password, const LogonPlan& plan,
                     const std::u16string& why);
  HResult BindSimply(const LogonName& name, const SecretText& password);
  HResult BindAsThisProcess();
  HResult Conclude(SpnegoOutcome outcome, Authentication authentication, const LogonPlan& plan);
  void Announce(Authentication authentication, const LogonPlan& plan,
                const std::string& service) const;
  void Notify(NoticeKind kind, std::u16string_view detail) const;
  HResult ExchangeToken(std::string_view token, BindAnswer& answer, ExtendedError& error);
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
