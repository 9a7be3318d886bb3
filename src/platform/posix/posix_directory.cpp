#include "platform/posix/posix_directory.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "platform/posix/ldap_objects.h"
#include "platform/posix/search_request.h"
#include "platform/posix/secret_text.h"

namespace zorvan::platform::posix {
namespace {

// How many reads are sent ahead of their answers.
constexpr std::size_t kReadsInFlight = 256;

bool IsSame(const std::optional<SecretText>& kept,
            const std::optional<std::u16string_view>& given) {
  if (!kept || !given) return kept.has_value() == given.has_value();
  const SecretText text(*given);
  return kept->size() == text.size() && std::memcmp(kept->c_str(), text.c_str(), text.size()) == 0;
}

bool IsAnswerForTheCall(HResult failure) {
  return failure == kServerDown || failure == kLogonFailure || failure == kNoLogonSession ||
         failure == kTimedOut;
}

}  // namespace

// A connection of the call, or the failure to get one.
struct PosixDirectory::Slot {
  Slot(const Endpoint& server, const Credentials& credentials, std::uint32_t bits)
      : endpoint(server), flags(bits) {
    if (credentials.userName) userName.emplace(*credentials.userName);
    if (credentials.password) password.emplace(*credentials.password);
  }

  bool IsFor(const Endpoint& server, const Credentials& credentials, std::uint32_t bits) const {
    return endpoint.port == server.port && flags == bits &&
           strcasecmp(endpoint.host.c_str(), server.host.c_str()) == 0 &&
           userName.has_value() == credentials.userName.has_value() &&
           (!userName || *userName == *credentials.userName) &&
           IsSame(password, credentials.password);
  }

  Endpoint endpoint;
  std::optional<std::u16string> userName;
  std::optional<SecretText> password;
  std::uint32_t flags;
  std::shared_ptr<LdapConnection> connection;
  HResult failure = kOk;
  ExtendedError error;
};

PosixDirectory::PosixDirectory() : context_(std::make_shared<DirectoryContext>()) {}
PosixDirectory::~PosixDirectory() = default;

HResult PosixDirectory::Connect(const Endpoint& endpoint, const Credentials& credentials,
                                std::uint32_t flags, std::shared_ptr<LdapConnection>& connection) {
  const std::uint32_t bits = flags & (kSecureAuthentication | kUseEncryption);
  slots_.remove_if([](const Slot& slot) { return slot.connection && slot.connection->broken(); });
  const auto known = std::ranges::find_if(
      slots_, [&](const Slot& slot) { return slot.IsFor(endpoint, credentials, bits); });
  if (known != slots_.end()) {
    if (Failed(known->failure)) context_->lastError = known->error;
    connection = known->connection;
    return known->failure;
  }

  std::unique_ptr<LdapConnection> opened;
  const HResult result =
      LdapConnection::Open(endpoint, credentials, bits, opened, context_->lastError, conditions_);
  connection = std::move(opened);
  if (Succeeded(result) || IsAnswerForTheCall(result)) {
    Slot& slot = slots_.emplace_back(endpoint, credentials, bits);
    slot.connection = connection;
    slot.failure = result;
    slot.error = context_->lastError;
  }
  return result;
}

// A path without a server means any of the domain: one that this call already talks to.
std::string PosixDirectory::HostFor(const AdsPath& path) const {
  if (!path.host.empty()) return path.host;
  const auto live =
      std::ranges::find_if(slots_, [](const Slot& slot) { return slot.connection != nullptr; });
  return live == slots_.end() ? std::string() : live->endpoint.host;
}

HResult PosixDirectory::Locate(std::u16string_view path, const Credentials& credentials,
                               std::uint32_t flags, LdapTarget& target) {
  context_->lastError = {};
  AdsPath parsed;
  const HResult understood = ParseAdsPath(path, parsed);
  if (Failed(understood)) return understood;
  const Endpoint endpoint{HostFor(parsed), parsed.PortFor((flags & kUseEncryption) != 0)};
  if (endpoint.host.empty()) return kServerDown;
  const HResult connected = Connect(endpoint, credentials, flags, target.connection);
  if (Failed(connected)) return connected;

  target.dn = std::move(parsed.dn);
  target.rootDse = parsed.rootDse;
  target.pathPrefix = std::move(parsed.prefix);
  target.context = context_;
  // A server alone stands for its domain; a global catalog alone for everything that it holds.
  if (target.dn.empty() && !parsed.rootDse && parsed.provider == AdsProvider::kLdap) {
    target.dn = target.connection->names().defaultNamingContext;
  }
  return kOk;
}

HResult PosixDirectory::Open(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags, LdapTarget& target) {
  const HResult located = Locate(path, credentials, flags, target);
  if (Failed(located) || target.dn.empty() || (flags & kFastBind) != 0) return located;
  SearchRequest request;
  request.base = target.dn;
  request.attributes = {"objectClass"};
  Message chain;
  LDAPMessage* entry = nullptr;
  return ReadEntry(*target.connection, request, chain, entry, context_->lastError);
}

HResult PosixDirectory::OpenSearch(std::u16string_view path, const Credentials& credentials,
                                   std::uint32_t flags, std::unique_ptr<DirectorySearch>& search) {
  LdapTarget target;
  const HResult result = Open(path, credentials, flags, target);
  if (Succeeded(result)) search = std::make_unique<LdapSearch>(std::move(target));
  return result;
}

HResult PosixDirectory::OpenObject(std::u16string_view path, const Credentials& credentials,
                                   std::uint32_t flags, std::unique_ptr<DirectoryObject>& object) {
  LdapTarget target;
  const HResult result = Open(path, credentials, flags, target);
  if (Succeeded(result)) object = std::make_unique<LdapObject>(std::move(target));
  return result;
}

HResult PosixDirectory::OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                                           std::uint32_t flags,
                                           std::unique_ptr<PropertyObject>& object) {
  LdapTarget target;
  const HResult result = Open(path, credentials, flags, target);
  if (Succeeded(result)) object = std::make_unique<LdapPropertyObject>(std::move(target));
  return result;
}

void PosixDirectory::ReadObjects(
    std::span<const std::u16string> paths, const Credentials& credentials, std::uint32_t flags,
    std::span<const std::u16string_view> attributes,
    const std::function<void(std::size_t index, HResult result, AttributeSet& set)>& visit) {
  struct Sent {
    std::size_t index;
    std::shared_ptr<LdapConnection> connection;
    int messageId;
  };
  std::deque<Sent> inFlight;
  EntryDecoder decoder;
  const auto finish = [&](std::size_t index, HResult result, LdapConnection* connection,
                          LDAPMessage* entry) {
    AttributeSet set;
    if (Succeeded(result)) FillAttributeSet(*connection, entry, decoder, attributes, set);
    visit(index, result, set);
  };
  const auto receive = [&] {
    const Sent sent = std::move(inFlight.front());
    inFlight.pop_front();
    Message chain;
    LDAPMessage* entry = nullptr;
    const HResult result =
        AwaitEntry(*sent.connection, sent.messageId, chain, entry, context_->lastError);
    finish(sent.index, result, sent.connection.get(), entry);
  };

  SearchRequest request = ObjectRequest({}, attributes);
  for (std::size_t index = 0; index < paths.size(); ++index) {
    while (inFlight.size() >= kReadsInFlight) receive();
    LdapTarget target;
    HResult result = Locate(paths[index], credentials, flags, target);
    int messageId = 0;
    if (Succeeded(result)) {
      request.base = std::move(target.dn);
      result = SendSearch(*target.connection, request, messageId, context_->lastError);
    }
    if (Succeeded(result)) {
      inFlight.push_back({index, std::move(target.connection), messageId});
    } else {
      finish(index, result, nullptr, nullptr);
    }
  }
  while (!inFlight.empty()) receive();
}

ExtendedError PosixDirectory::LastError() { return context_->lastError; }

}  // namespace zorvan::platform::posix
