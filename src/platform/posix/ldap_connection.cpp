#include "platform/posix/ldap_connection.h"

#include <openldap.h>

#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/posix/connection_state.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/log_on.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/root_dse.h"
#include "platform/posix/tls_session.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kLdapsPort = 636;
constexpr std::uint16_t kGlobalCatalogLdapsPort = 3269;

// The first handle of a process sets up what all share, without a lock.
void PrepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    int version = 0;
    ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
  });
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

HResult MakeHandle(const Endpoint& endpoint, ConnectionState& state) {
  PrepareLibrary();
  const int result = ldap_init_fd(state.socket.descriptor(), LDAP_PROTO_EXT,
                                  UrlOf(endpoint).c_str(), state.handle.Put());
  if (result != LDAP_SUCCESS) return HResultFromLdap(result);
  SetOptions(state.handle.get());
  Sockbuf* layers = nullptr;
  ldap_get_option(state.handle.get(), LDAP_OPT_SOCKBUF, &layers);
  return state.socket.Attach(layers) ? kOk : kOutOfMemory;
}

HResult Connect(const Endpoint& endpoint, const CallConditions& conditions,
                std::unique_ptr<ConnectionState>& state, ExtendedError& error) {
  std::string reason;
  FileDescriptor connected =
      ConnectTcp(endpoint.host, endpoint.port, Clock::now() + conditions.terms.connect, reason);
  if (!connected) return ServerDown(reason, error);
  state = std::make_unique<ConnectionState>(std::move(connected), conditions);
  return MakeHandle(endpoint, *state);
}

// The names that count are read under the protection of the log-on, or of a certificate that was
// verified; before that they are asked for only where there is a use for them.
HResult OpenAs(ConnectionState& state, const Endpoint& endpoint, bool tls, bool secure,
               const Credentials& credentials, ExtendedError& error) {
  LogOn logOn(state, endpoint, tls, secure, error);
  const std::chrono::milliseconds limit = state.conditions.terms.connect;
  HResult result = kOk;
  if (logOn.NeedsServerNames()) result = ReadServerNames(state, limit, error);
  if (Succeeded(result)) result = logOn.Bind(credentials);
  if (Succeeded(result) && !tls) result = ReadServerNames(state, limit, error);
  return result;
}

}  // namespace

HResult ServerDown(std::string_view reason, ExtendedError& error) {
  error = {Bits(kServerDown) & 0xFFFFU, ToUtf16(reason)};
  return kServerDown;
}

// The waiting is done here, on the socket, and libldap only asked for what has arrived. So the
// limit starts anew with every byte.
HResult ConnectionState::Await(int messageId, int all, std::chrono::milliseconds limit,
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

HResult LdapConnection::Open(const Endpoint& endpoint, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<LdapConnection>& connection,
                             ExtendedError& error, const CallConditions& conditions) {
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
  const bool tls = (flags & kUseEncryption) != 0 || endpoint.port == kLdapsPort ||
                   endpoint.port == kGlobalCatalogLdapsPort;
  std::unique_ptr<ConnectionState> state;
  HResult result = Connect(endpoint, conditions, state, error);
  if (Succeeded(result) && tls) result = StartTls(*state, endpoint.host, error);
  if (Succeeded(result))
    result =
        OpenAs(*state, endpoint, tls, (flags & kSecureAuthentication) != 0, credentials, error);
  if (Failed(result)) return result;
  NameForest(*state);
  error = {};
  connection = std::make_unique<LdapConnection>(std::move(state));
  return kOk;
}

LdapConnection::LdapConnection(std::unique_ptr<ConnectionState> state) : state_(std::move(state)) {}
LdapConnection::~LdapConnection() = default;

LDAP* LdapConnection::handle() const { return state_->handle.get(); }
const ServerNames& LdapConnection::names() const { return state_->names; }
Authentication LdapConnection::authentication() const { return state_->authentication; }
const std::string& LdapConnection::forestKey() const { return state_->forestKey; }
bool LdapConnection::hasProvenForest() const { return !state_->provenBy.empty(); }
bool LdapConnection::broken() const { return state_->broken; }

HResult LdapConnection::AwaitMessage(int messageId, int all, LDAPMessage*& message) {
  return state_->Await(messageId, all, state_->conditions.terms.idle, message);
}

}  // namespace zorvan::platform::posix
