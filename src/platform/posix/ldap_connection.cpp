#include "platform/posix/ldap_connection.h"

#include <arpa/inet.h>
#include <openldap.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/posix/handles.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/sealed_transport.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/socket_transport.h"
#include "platform/posix/spnego_bind.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kLdapsPort = 636;
constexpr std::uint16_t kGlobalCatalogLdapsPort = 3269;
constexpr std::uint16_t kKerberosPort = 88;
constexpr HResult kTimedOut = HResultFromWin32(1460);
constexpr HResult kNoLogonServers = HResultFromWin32(1311);
constexpr HResult kStrongerAuthenticationRequired = HResultFromWin32(8232);

// The first handle of a process sets up what all share, without a lock.
void PrepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    int version = 0;
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
  });
}

bool IsAddress(const std::string& host) {
  in6_addr bytes{};
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &bytes) == 1;
}

// libldap takes the name to verify in the certificate from the URL.
std::string UrlOf(const Endpoint& endpoint) {
  constexpr std::string_view kHexDigits = "0123456789ABCDEF";
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_:";
  std::string host;
  for (const char character : endpoint.host) {
    if (kPlain.find(character) != std::string_view::npos) {
      host += character;
    } else {
      const auto byte = static_cast<unsigned char>(character);
      host += {'%', kHexDigits[byte >> 4], kHexDigits[byte & 15]};
    }
  }
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  return "ldap://" + host + ":" + std::to_string(endpoint.port);
}

// The host's configuration of the LDAP tools (ldap.conf) decides about trust, and about nothing
// else.
void SetOptions(LDAP* handle) {
  const int version = LDAP_VERSION3;
  const int none = 0;
  const int never = LDAP_DEREF_NEVER;
  ldap_set_option(handle, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(handle, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  ldap_set_option(handle, LDAP_OPT_RESTART, LDAP_OPT_ON);
  ldap_set_option(handle, LDAP_OPT_SIZELIMIT, &none);
  ldap_set_option(handle, LDAP_OPT_TIMELIMIT, &none);
  ldap_set_option(handle, LDAP_OPT_DEREF, &never);
  ldap_set_option(handle, LDAP_OPT_NETWORK_TIMEOUT, nullptr);
  ldap_set_option(handle, LDAP_OPT_TIMEOUT, nullptr);
}

// Where most systems keep the authorities that they trust, for a libldap that is not told of any.
constexpr const char* kSystemTrust = "/etc/ssl/certs/ca-certificates.crt";

// The certificate is verified whatever libldap is configured to let pass; the configuration chooses
// whom to trust. Each handle has a TLS context of its own, which shares nothing with other threads
// but must be told what the process-wide one is.
void DemandCertificate(LDAP* handle) {
  for (const int option :
       {LDAP_OPT_X_TLS_CACERTFILE, LDAP_OPT_X_TLS_CACERTDIR, LDAP_OPT_X_TLS_CRLFILE,
        LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE, LDAP_OPT_X_TLS_CIPHER_SUITE}) {
    LdapText value;
    ldap_get_option(nullptr, option, value.Put());
    if (value) ldap_set_option(handle, option, value.get());
  }
  LdapText file;
  LdapText folder;
  ldap_get_option(handle, LDAP_OPT_X_TLS_CACERTFILE, file.Put());
  ldap_get_option(handle, LDAP_OPT_X_TLS_CACERTDIR, folder.Put());
  if (!file && !folder) ldap_set_option(handle, LDAP_OPT_X_TLS_CACERTFILE, kSystemTrust);
  const int demanded = LDAP_OPT_X_TLS_DEMAND;
  const int client = 0;
  ldap_set_option(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, &demanded);
  ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &client);
}

std::string DiagnosticOf(LDAP* handle) {
  LdapText text;
  ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, text.Put());
  return text ? text.get() : "";
}

std::string FirstValue(LDAP* handle, LDAPMessage* entry, const char* attribute) {
  const BerValues values(ldap_get_values_len(handle, entry, attribute));
  if (!values || values.get()[0] == nullptr) return {};
  return {values.get()[0]->bv_val, values.get()[0]->bv_len};
}

// "example.test:dc1$@EXAMPLE.TEST" names the realm behind the "@".
std::string RealmOf(const std::string& serviceName) {
  const std::size_t at = serviceName.rfind('@');
  return at == std::string::npos ? std::string() : serviceName.substr(at + 1);
}

}  // namespace

struct LdapConnection::State {
  State(FileDescriptor descriptor, const TimeLimits& timeLimits)
      : socket(std::move(descriptor)), limits(timeLimits) {}

  HResult Await(int messageId, int all, std::chrono::milliseconds limit, LDAPMessage*& message);

  SocketTransport socket;
  std::optional<SealedTransport> sealed;
  LdapHandle handle;  // goes before the transports that it uses
  ServerNames names;
  TimeLimits limits;
  Authentication authentication = Authentication::kAnonymous;
  bool broken = false;
};

// The waiting is done here, on the socket, and libldap only asked for what has arrived. So the
// limit starts anew with every byte.
HResult LdapConnection::State::Await(int messageId, int all, std::chrono::milliseconds limit,
                                     LDAPMessage*& message) {
  Sockbuf* layers = nullptr;
  ldap_get_option(handle.get(), LDAP_OPT_SOCKBUF, &layers);
  for (;;) {
    timeval atOnce{};
    message = nullptr;
    const int type = ldap_result(handle.get(), messageId, all, &atOnce, &message);
    if (type > 0) return kOk;
    if (type < 0) {
      broken = true;
      int code = LDAP_SERVER_DOWN;
      ldap_get_option(handle.get(), LDAP_OPT_RESULT_CODE, &code);
      return HResultFromLdap(code);
    }
    if (ber_sockbuf_ctrl(layers, LBER_SB_OPT_DATA_READY, nullptr) > 0) continue;
    if (!socket.Await(Clock::now() + limit)) {
      broken = true;
      return kTimedOut;
    }
  }
}

// The steps of opening a connection.
class LdapConnection::Opening {
 public:
  Opening(const Endpoint& endpoint, std::uint32_t flags, const TimeLimits& limits,
          ExtendedError& error)
      : endpoint_(endpoint),
        limits_(limits),
        error_(error),
        tls_((flags & kUseEncryption) != 0 || endpoint.port == kLdapsPort ||
             endpoint.port == kGlobalCatalogLdapsPort),
        secure_((flags & kSecureAuthentication) != 0) {}

  HResult Connect();
  HResult ReadServerNames();
  HResult Bind(const Credentials& credentials);
  std::unique_ptr<State> Finish() { return std::move(state_); }

 private:
  LDAP* handle() const { return state_->handle.get(); }
  HResult Down(std::string_view reason);
  HResult MakeHandle();
  HResult StartTls();
  HResult BindSecurely(const LogonName& name, const SecretText& password);
  HResult BindSimply(const LogonName& name, const SecretText& password);
  HResult BindAsThisProcess();
  HResult Conclude(SpnegoOutcome outcome, Authentication authentication);
  HResult ExchangeToken(std::string_view token, BindAnswer& answer, ExtendedError& error);
  std::vector<std::string> Services() const;
  BindExchange exchange() {
    return [this](std::string_view token, BindAnswer& answer, ExtendedError& error) {
      return ExchangeToken(token, answer, error);
    };
  }

  const Endpoint& endpoint_;
  const TimeLimits& limits_;
  ExtendedError& error_;
  const bool tls_;
  const bool secure_;
  std::unique_ptr<State> state_;
};

HResult LdapConnection::Opening::Down(std::string_view reason) {
  error_ = {Bits(kServerDown) & 0xFFFFU, ToUtf16(reason)};
  return kServerDown;
}

HResult LdapConnection::Opening::Connect() {
  std::string reason;
  FileDescriptor connected =
      ConnectTcp(endpoint_.host, endpoint_.port, Clock::now() + limits_.connect, reason);
  if (!connected) return Down(reason);
  state_ = std::make_unique<State>(std::move(connected), limits_);
  const HResult made = MakeHandle();
  return Failed(made) || !tls_ ? made : StartTls();
}

HResult LdapConnection::Opening::MakeHandle() {
  PrepareLibrary();
  const int result = ldap_init_fd(state_->socket.descriptor(), LDAP_PROTO_EXT,
                                  UrlOf(endpoint_).c_str(), state_->handle.Put());
  if (result != LDAP_SUCCESS) return HResultFromLdap(result);
  SetOptions(handle());
  Sockbuf* layers = nullptr;
  ldap_get_option(handle(), LDAP_OPT_SOCKBUF, &layers);
  return state_->socket.Attach(layers) ? kOk : kOutOfMemory;
}

HResult LdapConnection::Opening::StartTls() {
  DemandCertificate(handle());
  const Deadline deadline = Clock::now() + limits_.connect;
  state_->socket.ReadUntil(&deadline);
  const int result = ldap_install_tls(handle());
  state_->socket.ReadUntil(nullptr);
  if (result == LDAP_SUCCESS) return kOk;
  if (Clock::now() >= deadline) return Down("TLS: the server did not answer within the time limit");
  // The library has words for failures of the handshake, but none for a certificate that it
  // refuses.
  const std::string text = DiagnosticOf(handle());
  if (!text.empty() && text.find("unknown error") == std::string::npos) return Down("TLS: " + text);
  return Down("TLS: the server's certificate is not trusted, or is not one for " + endpoint_.host);
}

// The first answer of the server; it belongs to reaching it, and is given no more time.
HResult LdapConnection::Opening::ReadServerNames() {
  constexpr std::array kAttributes{"dnsHostName",
                                   "ldapServiceName",
                                   "defaultNamingContext",
                                   "rootDomainNamingContext",
                                   "schemaNamingContext",
                                   "configurationNamingContext",
                                   static_cast<const char*>(nullptr)};
  int messageId = 0;
  int result = ldap_search_ext(handle(), "", LDAP_SCOPE_BASE, "(objectClass=*)",
                               const_cast<char**>(kAttributes.data()), 0, nullptr, nullptr, nullptr,
                               LDAP_NO_LIMIT, &messageId);
  if (result != LDAP_SUCCESS) return Down("the connection was closed");
  LdapMessage answer;
  const HResult awaited = state_->Await(messageId, LDAP_MSG_ALL, limits_.connect, *answer.Put());
  if (awaited == kTimedOut) return Down("the server accepts connections but does not answer");
  if (Failed(awaited)) return Down("the server closed the connection or speaks another protocol");
  LDAPMessage* entry = ldap_first_entry(handle(), answer.get());
  if (entry == nullptr) return kOk;  // a server that keeps its root to itself

  ServerNames& names = state_->names;
  names.dnsHostName = FirstValue(handle(), entry, "dnsHostName");
  names.realm = RealmOf(FirstValue(handle(), entry, "ldapServiceName"));
  names.defaultNamingContext = FirstValue(handle(), entry, "defaultNamingContext");
  names.rootDomainNamingContext = FirstValue(handle(), entry, "rootDomainNamingContext");
  names.schemaNamingContext = FirstValue(handle(), entry, "schemaNamingContext");
  names.configurationNamingContext = FirstValue(handle(), entry, "configurationNamingContext");
  return kOk;
}

// Inside TLS a password goes by simple bind: the only bind that servers accept there under every
// policy on signing and channel binding.
HResult LdapConnection::Opening::Bind(const Credentials& credentials) {
  if (!credentials.userName) return secure_ ? BindAsThisProcess() : kOk;  // else anonymous
  const LogonName name = LogonName::Parse(ToUtf8(*credentials.userName));
  const SecretText password(credentials.password.value_or(std::u16string_view()));
  return secure_ && !tls_ ? BindSecurely(name, password) : BindSimply(name, password);
}

HResult LdapConnection::Opening::BindAsThisProcess() {
  const MessageLayers layers = tls_ ? MessageLayers::kNone : MessageLayers::kSignedAndSealed;
  return Conclude(BindAsProcess(Services(), state_->names.realm, layers, exchange(), error_),
                  Authentication::kProcessIdentity);
}

// A name that the caller gave is what its ticket is asked for: who answers in the server's place
// could name any host.
std::vector<std::string> LdapConnection::Opening::Services() const {
  std::vector<std::string> services;
  if (!IsAddress(endpoint_.host)) services.push_back("ldap/" + endpoint_.host);
  const std::string& own = state_->names.dnsHostName;
  if (!own.empty() && own != endpoint_.host) services.push_back("ldap/" + own);
  return services;
}

// NTLM only where Kerberos gave no judgement on the password: a second try of a wrong one would
// bring the account to its lockout twice as fast, and NTLM accepts the password before the last one
// too. A server that refuses a good ticket may still accept NTLM, or says better why not.
HResult LdapConnection::Opening::BindSecurely(const LogonName& name, const SecretText& password) {
  const KerberosLogon logon{.name = name,
                            .password = password,
                            .realm = state_->names.realm,
                            .services = Services(),
                            .centre = PeerAddress(state_->socket.descriptor(), kKerberosPort),
                            .timeLimit = limits_.connect};
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
      if (state_->broken) {
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

HResult LdapConnection::Opening::Conclude(SpnegoOutcome outcome, Authentication authentication) {
  state_->authentication = authentication;
  if (Failed(outcome.result) || tls_) return outcome.result;
  // Whatever came unprotected behind the answer to the bind did not come from the server that was
  // bound to.
  if (state_->socket.hasInput()) return Down("the server sent data out of turn");
  state_->sealed.emplace(std::make_unique<GssProtection>(std::move(outcome.context)));
  Sockbuf* layers = nullptr;
  ldap_get_option(handle(), LDAP_OPT_SOCKBUF, &layers);
  return state_->sealed->Attach(layers) ? kOk : kOutOfMemory;
}

// Servers know names with their domain and distinguished names here; a bare name is completed to
// one of this domain.
HResult LdapConnection::Opening::BindSimply(const LogonName& name, const SecretText& password) {
  if (!tls_) {
    error_ = {8232, u"A password is not sent over a connection without TLS."};
    return kStrongerAuthenticationRequired;
  }
  std::string bindName = name.domain.empty() ? name.user : name.domain + "\\" + name.user;
  const bool bare = name.domain.empty() && name.user.find_first_of("@=") == std::string::npos;
  if (bare && !state_->names.realm.empty()) bindName += "@" + state_->names.realm;
  berval secret{password.size(), const_cast<char*>(password.c_str())};
  int messageId = 0;
  const int sent = ldap_sasl_bind(handle(), bindName.c_str(), LDAP_SASL_SIMPLE, &secret, nullptr,
                                  nullptr, &messageId);
  if (sent != LDAP_SUCCESS) return Down("the connection was closed");
  LdapMessage answer;
  const HResult awaited = state_->Await(messageId, LDAP_MSG_ALL, limits_.idle, *answer.Put());
  if (Failed(awaited)) return Down("the server did not answer the bind");
  state_->authentication = Authentication::kSimple;
  return ResultOf(handle(), answer.get(), error_);
}

HResult LdapConnection::Opening::ExchangeToken(std::string_view token, BindAnswer& answer,
                                               ExtendedError& error) {
  berval credentials{token.size(), const_cast<char*>(token.data())};
  int messageId = 0;
  int result =
      ldap_sasl_bind(handle(), "", "GSS-SPNEGO", &credentials, nullptr, nullptr, &messageId);
  LdapMessage message;
  HResult awaited = kServerDown;
  if (result == LDAP_SUCCESS) {
    awaited = state_->Await(messageId, LDAP_MSG_ALL, limits_.idle, *message.Put());
  }
  if (Failed(awaited)) {
    state_->broken = true;
    error = {Bits(kServerDown) & 0xFFFFU, u"the server did not answer the bind"};
    return kServerDown;
  }
  ldap_parse_sasl_bind_result(handle(), message.get(), answer.token.Put(), 0);
  result = LDAP_OTHER;
  ldap_parse_result(handle(), message.get(), &result, nullptr, nullptr, nullptr, nullptr, 0);
  answer.complete = result == LDAP_SUCCESS;
  if (answer.complete || result == LDAP_SASL_BIND_IN_PROGRESS) return kOk;
  return ResultOf(handle(), message.get(), error);
}

HResult LdapConnection::Open(const Endpoint& endpoint, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<LdapConnection>& connection,
                             ExtendedError& error, const TimeLimits& limits) {
  connection.reset();
  error = {};
  constexpr auto kHasNul = [](std::optional<std::u16string_view> text) {
    return text && text->find(u'\0') != std::u16string_view::npos;
  };
  if (endpoint.host.empty() || endpoint.host.find('\0') != std::string::npos) {
    error = {Bits(kServerDown) & 0xFFFFU, u"This is no name of a server."};
    return kServerDown;
  }
  // An empty password would make an anonymous bind of it.
  const bool named = credentials.userName.has_value();
  if (named && (credentials.userName->empty() || credentials.password.value_or(u"").empty() ||
                kHasNul(credentials.userName) || kHasNul(credentials.password))) {
    error = {kLogonFailureCode, u"A user name needs a password, and neither may be empty."};
    return kLogonFailure;
  }
  Opening opening(endpoint, flags, limits, error);
  HResult result = opening.Connect();
  if (Succeeded(result)) result = opening.ReadServerNames();
  if (Succeeded(result)) result = opening.Bind(credentials);
  if (Failed(result)) return result;
  error = {};
  connection = std::make_unique<LdapConnection>(opening.Finish());
  return kOk;
}

LdapConnection::LdapConnection(std::unique_ptr<State> state) : state_(std::move(state)) {}
LdapConnection::~LdapConnection() = default;

LDAP* LdapConnection::handle() const { return state_->handle.get(); }
const ServerNames& LdapConnection::names() const { return state_->names; }
Authentication LdapConnection::authentication() const { return state_->authentication; }
bool LdapConnection::broken() const { return state_->broken; }

HResult LdapConnection::AwaitMessage(int messageId, int all, LDAPMessage*& message) {
  return state_->Await(messageId, all, state_->limits.idle, message);
}

}  // namespace zorvan::platform::posix
