#include "platform/posix/ldap_connection.h"

#include <gssapi/gssapi_ext.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/posix/gss_handles.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/spnego_bind.h"
#include "platform/posix/tcp_connector.h"
#include "platform/posix/unicode.h"

extern "C" {
// Declared by OpenLDAP's own tools only: makes a handle over a socket that is already connected.
int ldap_init_fd(ber_socket_t descriptor, int protocol, const char* url, LDAP** handle);
}

namespace zorvan::platform::posix {
namespace {

constexpr int kTcpProtocol = 1;
constexpr std::uint16_t kLdapsPort = 636;
constexpr std::uint16_t kGlobalCatalogTlsPort = 3269;

struct Unbind {
  void operator()(LDAP* handle) const { ldap_unbind_ext(handle, nullptr, nullptr); }
};
using LdapHandle = std::unique_ptr<LDAP, Unbind>;

// UTF-8 of a secret, wiped when it goes.
class SecretText {
 public:
  explicit SecretText(std::u16string_view text) : text_(ToUtf8(text)) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  ~SecretText() { explicit_bzero(text_.data(), text_.size()); }
  std::string& text() { return text_; }

 private:
  std::string text_;
};

bool UsesTls(const Endpoint& endpoint, std::uint32_t flags) {
  return (flags & kUseEncryption) != 0 || endpoint.port == kLdapsPort ||
         endpoint.port == kGlobalCatalogTlsPort;
}

std::string UrlOf(const Endpoint& endpoint, bool tls) {
  const bool literal = endpoint.host.find(':') != std::string::npos;
  return std::string(tls ? "ldaps://" : "ldap://") + (literal ? "[" : "") + endpoint.host +
         (literal ? "]" : "") + ":" + std::to_string(endpoint.port);
}

// Reading gives up on a socket from which nothing comes, also in the middle of a message.
void SetTimeLimits(int descriptor) {
  timeval limit{};
  limit.tv_sec = kIdleTimeout.count();
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

// The first handle of a process sets up what all share, and must not race with another first one.
void InitializeLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    int version = 0;
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
  });
}

std::string LastDiagnostic(LDAP* handle) {
  char* text = nullptr;
  ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
  std::string result = text == nullptr ? "" : text;
  ldap_memfree(text);
  return result;
}

// The certificate and the name in it are verified against what libldap trusts (ldap.conf, LDAPTLS_CACERT).
bool StartTls(LDAP* handle, ExtendedError& error) {
  const int demand = LDAP_OPT_X_TLS_DEMAND;
  const int client = 0;
  ldap_set_option(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, &demand);
  ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &client);
  if (ldap_install_tls(handle) == LDAP_SUCCESS) return true;
  const std::string text = LastDiagnostic(handle);
  error = {0, u"TLS could not be started: " +
                  ToUtf16(text.empty() ? "the certificate cannot be verified" : text)};
  return false;
}

LdapHandle Connect(const Endpoint& endpoint, bool tls, ExtendedError& error) {
  InitializeLibrary();
  std::string reason;
  Socket socket = ConnectTcp(endpoint.host, endpoint.port, kConnectTimeout, reason);
  if (!socket) {
    error = {0, ToUtf16(reason)};
    return nullptr;
  }
  SetTimeLimits(socket.get());
  LDAP* made = nullptr;
  if (ldap_init_fd(socket.get(), kTcpProtocol, UrlOf(endpoint, tls).c_str(), &made) != LDAP_SUCCESS) {
    error = {0, u"the LDAP library refuses the connection"};
    return nullptr;
  }
  [[maybe_unused]] const int ownedByTheHandle = socket.Release();
  LdapHandle handle(made);
  const int version = LDAP_VERSION3;
  timeval limit{};
  limit.tv_sec = kConnectTimeout.count();
  ldap_set_option(made, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_option(made, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  ldap_set_option(made, LDAP_OPT_NETWORK_TIMEOUT, &limit);
  if (tls && !StartTls(made, error)) return nullptr;
  return handle;
}

struct FreeMessage {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};

std::string FirstValue(LDAP* handle, LDAPMessage* entry, const char* attribute) {
  berval** values = ldap_get_values_len(handle, entry, attribute);
  std::string value;
  if (values != nullptr && values[0] != nullptr) value.assign(values[0]->bv_val, values[0]->bv_len);
  ldap_value_free_len(values);
  return value;
}

// "example.test:dc1$@EXAMPLE.TEST" names the realm behind the "@".
std::string RealmIn(const std::string& serviceName) {
  const std::size_t at = serviceName.rfind('@');
  return at == std::string::npos ? std::string() : serviceName.substr(at + 1);
}

GssCredential NtlmCredential(const std::string& user, const std::string& password,
                             ExtendedError& error) {
  // The mechanism takes a suffix for a domain of its own unless a backslash stands in front.
  const bool principal = user.find('@') != std::string::npos && user.find('\\') == std::string::npos;
  const std::string name = principal ? "\\" + user : user;
  gss_buffer_desc nameText = {name.size(), const_cast<char*>(name.data())};
  gss_buffer_desc passwordText = {password.size(), const_cast<char*>(password.data())};
  gss_OID_set_desc mechanisms = {1, kNtlmMechanism};
  OM_uint32 minor = 0;
  GssName imported;
  GssCredential credential;
  OM_uint32 major = gss_import_name(&minor, &nameText, GSS_C_NT_USER_NAME, imported.out());
  if (!GSS_ERROR(major)) {
    major = gss_acquire_cred_with_password(&minor, imported.get(), &passwordText, GSS_C_INDEFINITE,
                                           &mechanisms, GSS_C_INITIATE, credential.out(), nullptr,
                                           nullptr);
  }
  if (GSS_ERROR(major)) error = {0, ToUtf16(GssText(major, minor, kNtlmMechanism))};
  return credential;
}

// The Win32 code that the directory gives with a refused bind: "..., data 52e, ...".
struct Refusal {
  std::string_view data;
  Win32Code code;
  std::u16string_view text;
};
constexpr std::array kRefusals{
    Refusal{"data 525", 1317, u"the user name or the password is wrong"},
    Refusal{"data 52e", 1326, u"the user name or the password is wrong"},
    Refusal{"data 530", 1328, u"the account may not log on at this hour"},
    Refusal{"data 531", 1329, u"the account may not log on at this workstation"},
    Refusal{"data 532", 1330, u"the password has expired"},
    Refusal{"data 533", 1331, u"the account is disabled"},
    Refusal{"data 701", 1793, u"the account has expired"},
    Refusal{"data 773", 1907, u"the password must be changed before the first logon"},
    Refusal{"data 775", 1909, u"the account is locked"},
};

void NameRefusal(ExtendedError& error) {
  const std::string text = ToUtf8(error.text);
  for (const Refusal& refusal : kRefusals) {
    if (text.find(refusal.data) == std::string::npos) continue;
    error = {refusal.code, std::u16string(refusal.text)};
    return;
  }
}

}  // namespace

struct LdapConnection::State {
  Endpoint endpoint;
  bool tls = false;
  ServerNames names;
  KerberosCredentials kerberos;  // outlives the handle's use of its tickets
  GssCredential ntlm;
  LdapHandle handle;
  bool broken = false;
};

LdapConnection::LdapConnection(std::unique_ptr<State> state) : state_(std::move(state)) {}
LdapConnection::~LdapConnection() = default;

LDAP* LdapConnection::handle() const { return state_->handle.get(); }
const ServerNames& LdapConnection::names() const { return state_->names; }
bool LdapConnection::broken() const { return state_->broken; }

HResult LdapConnection::AwaitMessage(int messageId, int all, LDAPMessage*& message) {
  timeval limit{};
  limit.tv_sec = kIdleTimeout.count();
  const int received = ldap_result(handle(), messageId, all, &limit, &message);
  if (received > 0) return kOk;
  message = nullptr;
  state_->broken = true;
  return HResultFromLdap(received == 0 ? LDAP_TIMEOUT : LDAP_SERVER_DOWN, {});
}

HResult LdapConnection::ReadServerNames() {
  const char* attributes[] = {"dnsHostName",         "ldapServiceName",
                              "defaultNamingContext", "rootDomainNamingContext",
                              "schemaNamingContext",  "configurationNamingContext",
                              nullptr};
  int messageId = 0;
  const int sent =
      ldap_search_ext(handle(), "", LDAP_SCOPE_BASE, "(objectClass=*)",
                      const_cast<char**>(attributes), 0, nullptr, nullptr, nullptr, 0, &messageId);
  if (sent != LDAP_SUCCESS) return kServerDown;
  LDAPMessage* received = nullptr;
  if (Failed(AwaitMessage(messageId, LDAP_MSG_ALL, received))) return kServerDown;
  const std::unique_ptr<LDAPMessage, FreeMessage> message(received);
  LDAPMessage* entry = ldap_first_entry(handle(), received);
  if (entry == nullptr) return kOk;  // a server that keeps its root to itself
  ServerNames& names = state_->names;
  names.dnsHostName = FirstValue(handle(), entry, "dnsHostName");
  names.realm = RealmIn(FirstValue(handle(), entry, "ldapServiceName"));
  names.defaultNamingContext = FirstValue(handle(), entry, "defaultNamingContext");
  names.rootDomainNamingContext = FirstValue(handle(), entry, "rootDomainNamingContext");
  names.schemaNamingContext = FirstValue(handle(), entry, "schemaNamingContext");
  names.configurationNamingContext = FirstValue(handle(), entry, "configurationNamingContext");
  return kOk;
}

HResult LdapConnection::BindAsProcess(ExtendedError& error) {
  SpnegoRequest request{.mechanism = kSpnegoMechanism,
                        .target = KerberosTarget(),
                        .targetIsPrincipal = true,
                        .protect = !state_->tls};
  return SpnegoBind(*this, request, error);
}

std::string LdapConnection::KerberosTarget() const {
  const ServerNames& names = state_->names;
  const std::string& host = names.dnsHostName.empty() ? state_->endpoint.host : names.dnsHostName;
  return "ldap/" + host + (names.realm.empty() ? "" : "@" + names.realm);
}

// Kerberos first. A password that it has judged is not tried again: a second wrong try would bring the account nearer to being
// locked, and NTLM takes the password before the last one too.
HResult LdapConnection::BindSecurely(const std::string& user, const std::string& password,
                                     ExtendedError& error) {
  const ServerNames& names = state_->names;
  if (!names.realm.empty() && !names.dnsHostName.empty()) {
    const KerberosRequest request{user, password, names.realm, state_->endpoint.host,
                                  "ldap/" + names.dnsHostName};
    switch (state_->kerberos.Acquire(request, error)) {
      case KerberosOutcome::kRefused:
        return kLogonFailure;
      case KerberosOutcome::kAcquired:
        return SpnegoBind(*this,
                          {.credential = state_->kerberos.credential(),
                           .mechanism = kSpnegoMechanism,
                           .target = KerberosTarget(),
                           .targetIsPrincipal = true,
                           .protect = !state_->tls},
                          error);
      case KerberosOutcome::kNotSpoken:
        break;
    }
  }
  state_->ntlm = NtlmCredential(user, password, error);
  if (state_->ntlm.get() == GSS_C_NO_CREDENTIAL) return kLogonFailure;
  return SpnegoBind(*this,
                    {.credential = state_->ntlm.get(),
                     .mechanism = kNtlmMechanism,
                     .target = "ldap@" + state_->endpoint.host,
                     .targetIsPrincipal = false,
                     .protect = !state_->tls},
                    error);
}

// Only inside TLS, where the password is not for everybody to read.
HResult LdapConnection::BindSimply(const std::string& user, const std::string& password,
                                   ExtendedError& error) {
  if (!state_->tls) {
    error = {0, u"a password is not sent without encryption"};
    return HResultFromLdap(LDAP_STRONG_AUTH_REQUIRED, {});
  }
  berval secret = {password.size(), const_cast<char*>(password.data())};
  int messageId = 0;
  ldap_sasl_bind(handle(), user.c_str(), LDAP_SASL_SIMPLE, &secret, nullptr, nullptr, &messageId);
  LDAPMessage* received = nullptr;
  const HResult waited = AwaitMessage(messageId, LDAP_MSG_ALL, received);
  if (Failed(waited)) return waited;
  const std::unique_ptr<LDAPMessage, FreeMessage> message(received);
  return ResultOf(handle(), received, error);
}

HResult LdapConnection::Bind(const Credentials& credentials, std::uint32_t flags,
                             ExtendedError& error) {
  if (!credentials.userName) return BindAsProcess(error);
  const std::string user = ToUtf8(*credentials.userName);
  SecretText password(credentials.password.value_or(std::u16string_view()));
  if (password.text().empty()) {
    // A server would take it for an anonymous bind, or a ticket at hand for the named user's.
    error = {1326, u"an empty password is no password"};
    return kLogonFailure;
  }
  return (flags & kSecureAuthentication) != 0 ? BindSecurely(user, password.text(), error)
                                              : BindSimply(user, password.text(), error);
}

HResult LdapConnection::Open(const Endpoint& endpoint, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<LdapConnection>& connection,
                             ExtendedError& error) {
  connection.reset();
  auto state = std::make_unique<State>();
  state->endpoint = endpoint;
  state->tls = UsesTls(endpoint, flags);
  state->handle = Connect(endpoint, state->tls, error);
  if (!state->handle) return kServerDown;
  std::unique_ptr<LdapConnection> opened(new LdapConnection(std::move(state)));
  HResult result = opened->ReadServerNames();
  if (Failed(result)) {
    error = {0, u"the server accepts connections but does not answer"};
    return result;
  }
  result = opened->Bind(credentials, flags, error);
  if (result == HResultFromLdap(LDAP_TIMEOUT, {})) result = kServerDown;
  if (Failed(result)) {
    NameRefusal(error);
    return result;
  }
  error = {};
  connection = std::move(opened);
  return kOk;
}

}  // namespace zorvan::platform::posix
