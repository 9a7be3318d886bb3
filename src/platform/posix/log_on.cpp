#include "platform/posix/log_on.h"

#include <arpa/inet.h>

#include <memory>
#include <string_view>
#include <utility>

#include "platform/posix/channel_binding.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::uint16_t kKerberosPort = 88;
constexpr HResult kNoLogonServers = HResultFromWin32(1311);
constexpr HResult kStrongerAuthenticationRequired = HResultFromWin32(8232);

bool IsAddress(const std::string& host) {
  in6_addr bytes{};
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &bytes) == 1;
}

}  // namespace

// Inside TLS a password goes by simple bind: the only bind that servers accept there under every
// policy on signing and channel binding.
HResult LogOn::Bind(const Credentials& credentials) {
  if (!credentials.userName) return secure_ ? BindAsThisProcess() : kOk;  // else anonymous
  const LogonName name = LogonName::Parse(ToUtf8(*credentials.userName));
  const SecretText password(credentials.password.value_or(std::u16string_view()));
  return secure_ && !tls_ ? BindSecurely(name, password) : BindSimply(name, password);
}

HResult LogOn::BindAsThisProcess() {
  const MessageLayers layers = tls_ ? MessageLayers::kNone : MessageLayers::kSignedAndSealed;
  std::string binding;
  if (connection_.tls) binding = ServerEndPointBinding(connection_.tls->ServerCertificate());
  return Conclude(
      BindAsProcess(Services(), connection_.names.realm, layers, binding, exchange(), error_),
      Authentication::kProcessIdentity);
}

// A name that the caller gave is what its ticket is asked for: who answers in the server's place
// could name any host.
std::vector<std::string> LogOn::Services() const {
  std::vector<std::string> services;
  if (!IsAddress(endpoint_.host)) services.push_back("ldap/" + endpoint_.host);
  const std::string& own = connection_.names.dnsHostName;
  if (!own.empty() && own != endpoint_.host) services.push_back("ldap/" + own);
  return services;
}

// NTLM only where Kerberos gave no judgement on the password: a second try of a wrong one would
// bring the account to its lockout twice as fast, and NTLM accepts the password before the last one
// too. A server that refuses a good ticket may still accept NTLM, or says better why not.
HResult LogOn::BindSecurely(const LogonName& name, const SecretText& password) {
  const KerberosLogon logon{.name = name,
                            .password = password,
                            .realm = connection_.names.realm,
                            .services = Services(),
                            .centre = PeerAddress(connection_.socket.descriptor(), kKerberosPort),
                            .timeLimit = connection_.conditions.terms.connect};
  ExtendedError withoutKerberos{0, u"The server does not name its Kerberos realm."};
  if (!logon.realm.empty()) {
    KerberosCredentials tickets;
    const KerberosOutcome outcome = tickets.Acquire(logon, withoutKerberos);
    if (outcome == KerberosOutcome::kRefused) {
      error_ = std::move(withoutKerberos);
      return kLogonFailure;
    }
    if (outcome == KerberosOutcome::kReady) {
      SpnegoOutcome bound = BindWithTicket(tickets, exchange(), withoutKerberos);
      if (Succeeded(bound.result)) return Conclude(std::move(bound), Authentication::kKerberos);
      if (connection_.broken) {
        error_ = std::move(withoutKerberos);
        return bound.result;
      }
    }
  }
  SpnegoOutcome bound = BindWithNtlm(name, password, endpoint_.host, exchange(), error_);
  if (Failed(bound.result) && bound.nothingSent) {
    error_ = {1311, withoutKerberos.text + u" NTLM: " + error_.text};
    return kNoLogonServers;
  }
  return Conclude(std::move(bound), Authentication::kNtlm);
}

HResult LogOn::Conclude(SpnegoOutcome outcome, Authentication authentication) {
  connection_.authentication = authentication;
  if (Failed(outcome.result) || tls_) return outcome.result;
  // Whatever came unprotected behind the answer to the bind did not come from the server that was
  // bound to.
  if (connection_.socket.hasInput()) return ServerDown("the server sent data out of turn", error_);
  connection_.sealed.emplace(std::make_unique<GssProtection>(std::move(outcome.context)));
  Sockbuf* layers = nullptr;
  ldap_get_option(handle_, LDAP_OPT_SOCKBUF, &layers);
  return connection_.sealed->Attach(layers) ? kOk : kOutOfMemory;
}

// Servers know names with their domain and distinguished names here; a bare name is completed to
// one of this domain.
HResult LogOn::BindSimply(const LogonName& name, const SecretText& password) {
  if (!tls_) {
    error_ = {8232, u"A password is not sent over a connection without TLS."};
    return kStrongerAuthenticationRequired;
  }
  std::string bindName = name.domain.empty() ? name.user : name.domain + "\\" + name.user;
  const bool bare = name.domain.empty() && name.user.find_first_of("@=") == std::string::npos;
  if (bare && !connection_.names.realm.empty()) bindName += "@" + connection_.names.realm;
  berval secret{password.size(), const_cast<char*>(password.c_str())};
  int messageId = 0;
  const int sent = ldap_sasl_bind(handle_, bindName.c_str(), LDAP_SASL_SIMPLE, &secret, nullptr,
                                  nullptr, &messageId);
  if (sent != LDAP_SUCCESS) return ServerDown("the connection was closed", error_);
  LdapMessage answer;
  const HResult awaited =
      connection_.Await(messageId, LDAP_MSG_ALL, connection_.conditions.terms.idle, *answer.Put());
  if (Failed(awaited)) return ServerDown("the server did not answer the bind", error_);
  connection_.authentication = Authentication::kSimple;
  return ResultOf(handle_, answer.get(), error_);
}

HResult LogOn::ExchangeToken(std::string_view token, BindAnswer& answer, ExtendedError& error) {
  berval credentials{token.size(), const_cast<char*>(token.data())};
  int messageId = 0;
  int result =
      ldap_sasl_bind(handle_, "", "GSS-SPNEGO", &credentials, nullptr, nullptr, &messageId);
  LdapMessage message;
  HResult awaited = kServerDown;
  if (result == LDAP_SUCCESS) {
    awaited = connection_.Await(messageId, LDAP_MSG_ALL, connection_.conditions.terms.idle,
                                *message.Put());
  }
  if (Failed(awaited)) {
    connection_.broken = true;
    error = {Bits(kServerDown) & 0xFFFFU, u"the server did not answer the bind"};
    return kServerDown;
  }
  ldap_parse_sasl_bind_result(handle_, message.get(), answer.token.Put(), 0);
  result = LDAP_OTHER;
  ldap_parse_result(handle_, message.get(), &result, nullptr, nullptr, nullptr, nullptr, 0);
  answer.complete = result == LDAP_SUCCESS;
  if (answer.complete || result == LDAP_SASL_BIND_IN_PROGRESS) return kOk;
  return ResultOf(handle_, message.get(), error);
}

}  // namespace zorvan::platform::posix
