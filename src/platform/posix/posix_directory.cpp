#include "platform/posix/posix_directory.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "platform/posix/ldap_objects.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/search_request.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/unicode.h"

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

// Whatever a server was found to be like, it is for the whole call.
bool IsAnswerForTheCall(HResult failure) {
  return failure != kOutOfMemory && failure != kCancelled;
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

PosixDirectory::PosixDirectory() : context_(std::make_shared<DirectoryContext>()) {
  context_->followReferral = [this](LdapTarget& target, ExtendedError& error) {
    return FollowReferral(target, error);
  };
}

PosixDirectory::~PosixDirectory() {
  context_->followReferral = [](LdapTarget&, ExtendedError&) { return kReferral; };
}

HResult PosixDirectory::Connect(const Endpoint& endpoint, const Credentials& credentials,
                                std::uint32_t flags, const CallConditions& conditions,
                                std::shared_ptr<LdapConnection>& connection, ExtendedError& error) {
  const std::uint32_t bits = flags & (kSecureAuthentication | kUseEncryption);
  slots_.remove_if([](const Slot& slot) { return slot.connection && slot.connection->broken(); });
  const auto known = std::ranges::find_if(
      slots_, [&](const Slot& slot) { return slot.IsFor(endpoint, credentials, bits); });
  if (known != slots_.end()) {
    if (Failed(known->failure)) error = known->error;
    connection = known->connection;
    return known->failure;
  }

  std::unique_ptr<LdapConnection> opened;
  CallConditions terms = conditions;
  terms.hasAlternative = HasAlternative(conditions);
  const HResult result = LdapConnection::Open(endpoint, credentials, bits, opened, error, terms);
  connection = std::move(opened);
  if (Succeeded(result) || IsAnswerForTheCall(result)) {
    Slot& slot = slots_.emplace_back(endpoint, credentials, bits);
    slot.connection = connection;
    slot.failure = result;
    slot.error = error;
  }
  return result;
}

// While the caller walks over its controllers, each that failed leaves one fewer.
bool PosixDirectory::HasAlternative(const CallConditions& conditions) const {
  const bool found =
      std::ranges::any_of(slots_, [](const Slot& slot) { return slot.connection != nullptr; });
  return !found && slots_.size() + 1 < conditions.terms.controllers;
}

// A path without a server means any of the domain: one that this call already talks to.
std::string PosixDirectory::HostFor(const AdsPath& path) const {
  if (!path.host.empty()) return path.host;
  const auto live =
      std::ranges::find_if(slots_, [](const Slot& slot) { return slot.connection != nullptr; });
  return live == slots_.end() ? std::string() : live->endpoint.host;
}

// The log-on is that of the connection which the referral came by: the same identity, by the same
// flags, and inside TLS if that one is. So the host must prove to be who the referral says that it
// is, as every host whose name the caller gave.
HResult PosixDirectory::ConnectTo(const Referral& referral, const LdapConnection& from,
                                  LdapTarget& target, ExtendedError& error) {
  constexpr std::uint16_t kLdapPort = 389;
  constexpr std::uint16_t kLdapsPort = 636;
  constexpr std::uint16_t kGlobalCatalogLdapsPort = 3269;
  const auto slot = std::ranges::find_if(
      slots_, [&](const Slot& each) { return each.connection.get() == &from; });
  if (slot == slots_.end()) return kServerDown;
  const std::uint16_t port = slot->endpoint.port;
  const bool tls = referral.tls || (slot->flags & kUseEncryption) != 0 || port == kLdapsPort ||
                   port == kGlobalCatalogLdapsPort;
  const bool usualPort = referral.port == kLdapPort || referral.port == kLdapsPort;
  const Endpoint endpoint{referral.host, !usualPort ? referral.port : tls ? kLdapsPort : kLdapPort};
  std::optional<WideSecret> password;
  if (slot->password) password.emplace(*slot->password);
  Credentials credentials;
  const std::optional<std::u16string> userName = slot->userName;
  if (userName) credentials.userName = *userName;
  if (password) credentials.password = password->view();
  // Not by NTLM where the first was better.
  const bool ntlm = from.authentication() == Authentication::kNtlm;
  CallConditions conditions = context_->conditions;
  conditions.terms.allowNtlm = conditions.terms.allowNtlm && ntlm;
  const HResult result = Connect(endpoint, credentials, slot->flags | (tls ? kUseEncryption : 0),
                                 conditions, target.connection, error);
  if (Failed(result) || ntlm || target.connection->authentication() != Authentication::kNtlm) {
    return result;
  }
  error = {0, u"it can be logged on to by NTLM only."};
  return kServerDown;
}

HResult PosixDirectory::FollowReferral(LdapTarget& target, ExtendedError& error) {
  const auto referral = ReferralInForest(error.referrals, target.connection->names());
  const auto refuse = [&](std::u16string_view host, std::u16string_view why) {
    error = {Bits(kReferral) & 0xFFFFU,
             u"The directory refers to " + std::u16string(host) + u", " + std::u16string(why)};
    return kReferral;
  };
  if (!referral) {
    const std::u16string named = error.referrals.empty() ? u"no host" : error.referrals.front();
    return refuse(named, u"which is not known to belong to its forest.");
  }
  const std::u16string host = ToUtf16(referral->host);
  if (target.referred) return refuse(host, u"but one referral is followed only.");
  LdapTarget there = target;
  ExtendedError failure;
  const HResult result = ConnectTo(*referral, *target.connection, there, failure);
  if (result == kCancelled) return result;
  if (Failed(result)) return refuse(host, u"which could not be asked: " + failure.text);
  if (context_->conditions.observer != nullptr) {
    const std::u16string object = ToUtf16(target.dn);
    context_->conditions.observer->Notify({NoticeKind::kReferralFollowed, object, host});
  }
  if (!referral->dn.empty()) there.dn = referral->dn;
  there.referred = true;
  there.pathPrefix = u"LDAP://" + host + u"/";
  target = std::move(there);
  return kOk;
}

HResult PosixDirectory::Locate(std::u16string_view path, const Credentials& credentials,
                               std::uint32_t flags, LdapTarget& target) {
  context_->openError = {};
  AdsPath parsed;
  const HResult understood = ParseAdsPath(path, parsed);
  if (Failed(understood)) return understood;
  const Endpoint endpoint{HostFor(parsed), parsed.PortFor((flags & kUseEncryption) != 0)};
  if (endpoint.host.empty()) return kServerDown;
  const HResult connected = Connect(endpoint, credentials, flags, context_->conditions,
                                    target.connection, context_->openError);
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
  const std::size_t servers = slots_.size();
  const HResult located = Locate(path, credentials, flags, target);
  if (Failed(located) || target.dn.empty() || (flags & kFastBind) != 0) return located;
  if (slots_.size() > servers) return ProbeTarget(target);
  SearchRequest request;
  request.base = target.dn;
  request.attributes = {"objectClass"};
  Message chain;
  LDAPMessage* entry = nullptr;
  return ReadTarget(target, std::move(request), chain, entry, context_->openError);
}

// The first question behind a log-on shows whether the server works at all, and belongs to reaching
// it: one that takes log-ons and answers nothing is down.
HResult PosixDirectory::ProbeTarget(LdapTarget& target) {
  SearchRequest request;
  request.base = target.dn;
  request.attributes = {"objectClass"};
  Message chain;
  LDAPMessage* entry = nullptr;
  const std::shared_ptr<LdapConnection> connection = target.connection;
  const RequestLimit limit(*connection, context_->conditions.OpeningEnd());
  const HResult result = ReadTarget(target, std::move(request), chain, entry, context_->openError);
  ExtendedError ended;
  if (result != kTimedOut || Failed(connection->CheckCall(ended))) return result;
  context_->openError.code = Bits(kServerDown) & 0xFFFFU;
  return kServerDown;
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
    const std::function<void(std::size_t index, HResult result, AttributeSet& set,
                             const ExtendedError& error)>& visit) {
  struct Sent {
    std::size_t index;
    LdapTarget target;
    int messageId;
  };
  SearchRequest request = ObjectRequest({}, attributes);
  std::deque<Sent> inFlight;
  EntryDecoder decoder;
  const auto finish = [&](std::size_t index, HResult result, const LdapTarget& target,
                          LDAPMessage* entry, const ExtendedError& error) {
    AttributeSet set;
    if (Succeeded(result)) FillAttributeSet(target, entry, decoder, attributes, set);
    visit(index, result, set, error);
  };
  const auto receive = [&] {
    Sent sent = std::move(inFlight.front());
    inFlight.pop_front();
    Message chain;
    LDAPMessage* entry = nullptr;
    ExtendedError error;
    HResult result = AwaitEntry(*sent.target.connection, sent.messageId, chain, entry, error);
    if (result == kReferral) {
      result = context_->followReferral(sent.target, error);
      SearchRequest again = request;
      again.base = sent.target.dn;
      if (Succeeded(result)) result = ReadTarget(sent.target, again, chain, entry, error);
    }
    finish(sent.index, result, sent.target, entry, error);
  };

  for (std::size_t index = 0; index < paths.size(); ++index) {
    while (inFlight.size() >= kReadsInFlight) receive();
    LdapTarget target;
    HResult result = Locate(paths[index], credentials, flags, target);
    int messageId = 0;
    ExtendedError error = context_->openError;
    if (Succeeded(result)) {
      request.base = target.dn;
      result = SendSearch(*target.connection, request, messageId, error);
    }
    if (Succeeded(result)) {
      inFlight.push_back({index, std::move(target), messageId});
    } else {
      finish(index, result, target, nullptr, error);
    }
  }
  while (!inFlight.empty()) receive();
}

ExtendedError PosixDirectory::LastError() { return context_->openError; }

}  // namespace zorvan::platform::posix
