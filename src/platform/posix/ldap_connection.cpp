#include "platform/posix/ldap_connection.h"

#include <openldap.h>

#include <algorithm>
#include <mutex>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/posix/connection_state.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/log_on.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/name_lookup.h"
#include "platform/posix/root_dse.h"
#include "platform/posix/tls_session.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

constexpr HResult kNothingYet = 1;                            // S_FALSE
constexpr HResult kResultsTooLarge = HResultFromWin32(8248);  // ERROR_DS_OBJECT_RESULTS_TOO_LARGE

// Answers that wait to be read after the log-on: several pages of large entries, while the linked
// objects of an earlier page are read.
constexpr std::size_t kMaxKept = std::size_t{256} << 20U;

constexpr std::uint16_t kLdapsPort = 636;
constexpr std::uint16_t kGlobalCatalogLdapsPort = 3269;

// The first handle of a process sets up what all share, without a lock. libldap then looks up the
// full name of this host, which a silent name server would make last, and which nobody needs.
void PrepareLibrary() {
  static std::once_flag once;
  std::call_once(once, [] {
    RunWithoutNameServers([] {
      int version = 0;
      ldap_get_option(nullptr, LDAP_OPT_PROTOCOL_VERSION, &version);
    });
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
  return state.socket.Attach(layers) && state.gate.Attach(layers) ? kOk : kOutOfMemory;
}

HResult Connect(const Endpoint& endpoint, const CallConditions& conditions,
                std::unique_ptr<ConnectionState>& state, ExtendedError& error) {
  std::string reason;
  const Deadline openingEnds = conditions.OpeningEnd();
  FileDescriptor connected =
      ConnectTcp(endpoint.host, endpoint.port, Patience(openingEnds, conditions.observer), reason);
  if (!connected) return ServerDown(reason, error);
  state = std::make_unique<ConnectionState>(std::move(connected), conditions, openingEnds);
  return MakeHandle(endpoint, *state);
}

// The names that count are read under the protection of the log-on, or of a certificate that was
// verified; before that they are asked for only where there is a use for them.
HResult OpenAs(ConnectionState& state, const Endpoint& endpoint, bool tls, bool secure,
               const Credentials& credentials, ExtendedError& error) {
  LogOn logOn(state, endpoint, tls, secure, error);
  HResult result = kOk;
  if (logOn.NeedsServerNames()) result = ReadServerNames(state, error);
  if (Succeeded(result)) result = logOn.Bind(credentials);
  if (Succeeded(result) && !tls) result = ReadServerNames(state, error);
  return result;
}

}  // namespace

ExtendedError EndOfCall(HResult ended) {
  return {Bits(ended) & 0xFFFFU, ended == kCancelled
                                     ? u"The caller ended the call."
                                     : u"The time limit of the whole call has passed."};
}

HResult ServerDown(std::string_view reason, ExtendedError& error) {
  error = {Bits(kServerDown) & 0xFFFFU, ToUtf16(reason)};
  return kServerDown;
}

// The waiting is done here, on the socket, and libldap only asked for what has arrived.
HResult ConnectionState::Await(int messageId, int all, LDAPMessage*& message) {
  // A request that has used up its own limit is over, also while messages of it keep coming.
  if (requestsEnd != Deadline::max() && Clock::now() >= requestsEnd) return GiveUp(kTimedOut);
  HResult result = TakeArrived(messageId, all, message);
  if (result != kNothingYet) return result;
  const auto idleEnd = [this] {
    return std::min({conditions.end, requestsEnd, Clock::now() + conditions.terms.idle});
  };
  if (opened) patience_.PutOff(idleEnd());
  std::uint64_t seen = gate.answers();
  for (;;) {
    // Only whole messages put off the limit, and only those that somebody asked for.
    if (opened && gate.answers() != seen) patience_.PutOff(idleEnd());
    seen = gate.answers();
    const HResult waited = HasMoreToRead() ? patience_.Check() : socket.Await(patience_);
    if (Failed(waited)) return GiveUp(waited);
    result = TakeArrived(messageId, all, message);
    if (result != kNothingYet) return result;
  }
}

HResult ConnectionState::TakeArrived(int messageId, int all, LDAPMessage*& message) {
  timeval atOnce{};
  message = nullptr;
  gate.Ration();
  const int type = ldap_result(handle.get(), messageId, all, &atOnce, &message);
  if (type == 0) return kNothingYet;
  if (type > 0) {
    messageSize = gate.Fetched(handle.get(), message);
    return kOk;
  }
  broken = true;
  int code = LDAP_SERVER_DOWN;
  ldap_get_option(handle.get(), LDAP_OPT_RESULT_CODE, &code);
  const bool excess = !gate.excess().empty();
  const HResult result = excess ? kResultsTooLarge : HResultFromLdap(code);
  failure = {Bits(result) & 0xFFFFU, ToUtf16(gate.excess())};
  return result;
}

bool ConnectionState::HasMoreToRead() const {
  Sockbuf* layers = nullptr;
  ldap_get_option(handle.get(), LDAP_OPT_SOCKBUF, &layers);
  return gate.usedUp() || ber_sockbuf_ctrl(layers, LBER_SB_OPT_DATA_READY, nullptr) > 0;
}

// A server that keeps silent is not asked again; one that its caller has enough of can be.
HResult ConnectionState::GiveUp(HResult ended) {
  const HResult call = conditions.ForTheCall().Verdict();
  if (Failed(call)) {
    failure = EndOfCall(call);
    return call;
  }
  broken = ended != kTimedOut || Clock::now() < requestsEnd;
  failure = {Bits(ended) & 0xFFFFU, u"The server sent no whole answer within the time limit."};
  return ended;
}

namespace {

// Where a stage of opening failed because of something that none of them knows of, this says so. A
// call that is over has no use for another controller, whatever the server did meanwhile.
HResult OpeningFailure(const ConnectionState* state, const CallConditions& conditions,
                       HResult result, ExtendedError& error) {
  const HResult call = conditions.ForTheCall().Verdict();
  if (Failed(call)) {
    error = EndOfCall(call);
    return call;
  }
  if (state == nullptr || state->gate.excess().empty()) return result;
  return ServerDown(state->gate.excess(), error);
}

}  // namespace

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
  if (Succeeded(result)) {
    const bool secure = (flags & kSecureAuthentication) != 0;
    result = OpenAs(*state, endpoint, tls, secure, credentials, error);
  }
  if (Failed(result)) return OpeningFailure(state.get(), conditions, result, error);
  NameForest(*state);
  error = {};
  state->opened = true;
  const std::size_t largest = conditions.terms.maxMessageBytes;
  state->gate.SetLimits({largest, std::max(largest, kMaxKept)});
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
void LdapConnection::LimitRequests(Deadline deadline) { state_->requestsEnd = deadline; }
bool LdapConnection::broken() const { return state_->IsBroken(); }
const ExtendedError& LdapConnection::failure() const { return state_->failure; }

std::size_t LdapConnection::messageSize() const { return state_->messageSize; }

HResult LdapConnection::CheckCall(ExtendedError& error) const {
  const HResult call = state_->conditions.ForTheCall().Verdict();
  if (Failed(call)) error = EndOfCall(call);
  return call;
}

void LdapConnection::Abandon(int messageId) {
  state_->gate.Forget(messageId);
  if (!broken()) ldap_abandon_ext(handle(), messageId, nullptr, nullptr);
}

HResult LdapConnection::AwaitMessage(int messageId, int all, LDAPMessage*& message) {
  return state_->Await(messageId, all, message);
}

}  // namespace zorvan::platform::posix
