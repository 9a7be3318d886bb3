#include "platform/posix/log_on.h"

#include <gssapi/gssapi_krb5.h>

#include <memory>
#include <string_view>
#include <utility>

#include "platform/posix/channel_binding.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/kerberos_failure.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/root_dse.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::uint16_t kKerberosPort = 88;
constexpr HResult kStrongerAuthenticationRequired = HResultFromWin32(8232);

// The service whose key the server had, with its realm. NTLM knows none: whoever a controller talks
// to about passwords can answer it.
std::string ServiceOf(const GssContext& context) {
  OM_uint32 minor = 0;
  GssName target;
  gss_OID mechanism = GSS_C_NO_OID;
  if (GSS_ERROR(gss_inquire_context(&minor, context.get(), nullptr, target.Put(), nullptr,
                                    &mechanism, nullptr, nullptr, nullptr)) ||
      !target || !gss_oid_equal(mechanism, gss_mech_krb5)) {
    return {};
  }
  GssBuffer name;
  if (GSS_ERROR(gss_display_name(&minor, target.get(), name.Put(), nullptr))) return {};
  return {static_cast<const char*>(name.data()), name.size()};
}

// A ticket is no password that could be wrong; what else the server has against the account counts.
void JudgeRejectedTicket(HResult& result, ExtendedError& error) {
  if (result != kLogonFailure || error.code != kLogonFailureCode) return;
  result = kLogonDenied;
  error = {CodeOf(kLogonDenied), u"The server rejected the Kerberos ticket."};
}

}  // namespace

// Inside TLS a password goes by simple bind: the only bind that servers accept there under every
// policy on signing and channel binding.
HResult LogOn::Bind(const Credentials& credentials) {
  if (tls_) connection_.provenBy = CertificateHolder();
  if (!credentials.userName) return secure_ ? BindAsThisProcess() : kOk;  // else anonymous
  const LogonName name = LogonName::Parse(ToUtf8(*credentials.userName));
  const SecretText password(credentials.password.value_or(std::u16string_view()));
  return secure_ && !tls_ ? BindSecurely(name, password) : BindSimply(name, password);
}

LogonPlan LogOn::Plan(const LogonName& name) const {
  const CallTerms& terms = connection_.conditions.terms;
  return PlanLogon({.host = endpoint_.host,
                    .domainName = ToUtf8(terms.domainName),
                    .user = name,
                    .hostFromDns = terms.controllersFromDns,
                    .allowNtlm = terms.allowNtlm});
}

bool LogOn::NeedsServerNames() const { return tls_ || (secure_ && Plan({}).takesToldName); }

// With a server given as an address, or as its domain, the one service is that of the name that it
// told.
bool LogOn::FindServices(LogonPlan& plan) {
  if (!plan.takesToldName) return true;
  const std::string service =
      ServiceOfTold(connection_.names.dnsHostName, ToUtf8(connection_.conditions.terms.domainName));
  if (!service.empty()) plan.services = {service};
  return !service.empty();
}

HResult LogOn::ServiceUnknown() {
  error_ = {CodeOf(kTargetUnknown),
            u"The server was given without its name and does not tell it, so that there is none to "
            u"ask a Kerberos ticket for."};
  return kTargetUnknown;
}

HResult LogOn::BindAsThisProcess() {
  LogonPlan plan = Plan({});
  if (!FindServices(plan)) return ServiceUnknown();
  if (plan.services.empty()) {
    error_ = {CodeOf(kNoLogonSession), u"Kerberos cannot be used: " + plan.whyNotKerberos + u"."};
    return kNoLogonSession;
  }
  const MessageLayers layers = tls_ ? MessageLayers::kNone : MessageLayers::kSignedAndSealed;
  std::string binding;
  if (connection_.tls) binding = ServerEndPointBinding(connection_.tls->ServerCertificate());
  const SecretText nobodys(u"");
  KerberosCredentials tickets;
  HResult result = kOk;
  KerberosOutcome outcome = KerberosOutcome::kElsewhere;
  if (!plan.realm.empty())
    outcome = tickets.AcquireAsProcess(Questions({}, nobodys, plan), result, error_);
  if (outcome == KerberosOutcome::kFailed) return result;
  SpnegoOutcome bound =
      outcome == KerberosOutcome::kReady
          ? BindWithTicket(tickets, layers, binding, exchange(), error_)
          : BindAsProcess(plan.services, plan.realm, layers, binding, exchange(), error_);
  JudgeRejectedTicket(bound.result, error_);
  return Conclude(std::move(bound), Authentication::kProcessIdentity, plan);
}

KerberosLogon LogOn::Questions(const LogonName& name, const SecretText& password,
                               const LogonPlan& plan) const {
  return {.name = name,
          .password = password,
          .realm = plan.realm,
          .services = plan.services,
          .kdc = PeerAddress(connection_.socket.descriptor(), kKerberosPort),
          .patience = connection_.OpeningPatience(),
          .hasAlternative = connection_.conditions.hasAlternative || plan.ntlmAllowed,
          .allowRc4 = connection_.conditions.terms.allowRc4};
}

HResult LogOn::BindSecurely(const LogonName& name, const SecretText& password) {
  LogonPlan plan = Plan(name);
  if (!plan.whyNotKerberos.empty())
    return BindByNtlm(name, password, plan, u"Kerberos cannot be used: " + plan.whyNotKerberos);
  bool final = true;
  const HResult result = BindByKerberos(name, password, plan, final);
  if (final) return result;
  if (plan.ntlmAllowed) return BindByNtlm(name, password, plan, std::exchange(error_, {}).text);
  error_.text += u" NTLM is not allowed in its place.";
  return result;
}

// A judgement on the password is final: a second try of a wrong one would bring the account to its
// lockout twice as fast, and NTLM accepts the password before the last one too.
HResult LogOn::BindByKerberos(const LogonName& name, const SecretText& password, LogonPlan& plan,
                              bool& final) {
  final = false;
  if (!FindServices(plan)) return ServiceUnknown();
  KerberosCredentials tickets;
  HResult result = kOk;
  const KerberosOutcome outcome = tickets.Acquire(Questions(name, password, plan), result, error_);
  final = outcome == KerberosOutcome::kRefused;
  if (outcome != KerberosOutcome::kReady) return result;
  SpnegoOutcome bound =
      BindWithTicket(tickets, MessageLayers::kSignedAndSealed, {}, exchange(), error_);
  JudgeRejectedTicket(bound.result, error_);
  final = Succeeded(bound.result) || connection_.broken;
  return Conclude(std::move(bound), Authentication::kKerberos, plan);
}

HResult LogOn::BindByNtlm(const LogonName& name, const SecretText& password, const LogonPlan& plan,
                          const std::u16string& why) {
  SpnegoOutcome bound = BindWithNtlm(name, password, endpoint_.host, connection_.openingEnds,
                                     connection_.conditions.observer, exchange(), error_);
  if (Failed(bound.result) && bound.nothingSent) {
    error_ = {CodeOf(kNoLogonServers), why + u" NTLM: " + error_.text};
    return kNoLogonServers;
  }
  const HResult result = Conclude(std::move(bound), Authentication::kNtlm, plan);
  if (Succeeded(result)) Notify(NoticeKind::kNtlmUsed, why);
  return result;
}

// Tells the log how the connection was logged on.
void LogOn::Announce(Authentication authentication, const LogonPlan& plan,
                     const std::string& service) const {
  switch (authentication) {
    case Authentication::kKerberos:
      Notify(NoticeKind::kLoggedOn, u"Kerberos, with the password, for " + ToUtf16(service));
      break;
    case Authentication::kProcessIdentity:
      Notify(NoticeKind::kLoggedOn, u"Kerberos, as this process, for " + ToUtf16(service));
      break;
    case Authentication::kSimple:
      Notify(NoticeKind::kLoggedOn, u"simple bind inside TLS");
      break;
    default:
      return;
  }
  if (plan.isAddress && !service.empty())
    Notify(NoticeKind::kServiceNameFromServer, ToUtf16(service));
}

void LogOn::Notify(NoticeKind kind, std::u16string_view detail) const {
  if (connection_.conditions.observer == nullptr) return;
  const std::u16string subject = ToUtf16(endpoint_.host);
  connection_.conditions.observer->Notify({.kind = kind, .subject = subject, .detail = detail});
}

HResult LogOn::Conclude(SpnegoOutcome outcome, Authentication authentication,
                        const LogonPlan& plan) {
  connection_.authentication = authentication;
  if (Failed(outcome.result)) return outcome.result;
  const std::string service = ServiceOf(outcome.context);
  Announce(authentication, plan, service);
  if (tls_) return kOk;
  const std::size_t at = service.rfind('@');
  if (at != std::string::npos) connection_.provenBy = "realm " + service.substr(at + 1);
  // Whatever came unprotected behind the answer to the bind did not come from the server that was
  // bound to.
  if (connection_.socket.hasInput()) return ServerDown("the server sent data out of turn", error_);
  connection_.sealed.emplace(std::make_unique<GssProtection>(std::move(outcome.context)));
  Sockbuf* layers = nullptr;
  ldap_get_option(handle_, LDAP_OPT_SOCKBUF, &layers);
  return connection_.sealed->Attach(layers) ? kOk : kOutOfMemory;
}

// Trust in the certificate was the caller's choice, so it goes with the host.
std::string LogOn::CertificateHolder() const {
  return "host " + endpoint_.host + "\n" + ToUtf8(connection_.conditions.terms.trustedAuthorities);
}

// Servers know names with their domain and distinguished names here; a bare name is completed to
// one of this domain.
HResult LogOn::BindSimply(const LogonName& name, const SecretText& password) {
  if (!tls_) {
    error_ = {8232, u"A password is not sent over a connection without TLS."};
    return kStrongerAuthenticationRequired;
  }
  if (connection_.conditions.terms.controllersFromDns) {
    error_ = {8232,
              u"The server was found in the DNS, and a certificate does not prove that it is a "
              u"controller of the domain, so it gets no password. Name the server."};
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
  const HResult awaited = connection_.Await(messageId, LDAP_MSG_ALL, *answer.Put());
  if (Failed(awaited)) return NoAnswer(awaited, error_);
  connection_.authentication = Authentication::kSimple;
  const HResult result = ResultOf(handle_, answer.get(), error_);
  if (Succeeded(result)) Announce(Authentication::kSimple, {}, {});
  return result;
}

HResult LogOn::ExchangeToken(std::string_view token, BindAnswer& answer, ExtendedError& error) {
  berval credentials{token.size(), const_cast<char*>(token.data())};
  int messageId = 0;
  int result =
      ldap_sasl_bind(handle_, "", "GSS-SPNEGO", &credentials, nullptr, nullptr, &messageId);
  LdapMessage message;
  HResult awaited = kServerDown;
  if (result == LDAP_SUCCESS) {
    awaited = connection_.Await(messageId, LDAP_MSG_ALL, *message.Put());
  }
  if (Failed(awaited)) {
    connection_.broken = true;
    return NoAnswer(awaited, error);
  }
  ldap_parse_sasl_bind_result(handle_, message.get(), answer.token.Put(), 0);
  result = LDAP_OTHER;
  ldap_parse_result(handle_, message.get(), &result, nullptr, nullptr, nullptr, nullptr, 0);
  answer.complete = result == LDAP_SUCCESS;
  if (answer.complete || result == LDAP_SASL_BIND_IN_PROGRESS) return kOk;
  return ResultOf(handle_, message.get(), error);
}

}  // namespace zorvan::platform::posix
