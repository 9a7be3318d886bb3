#include "platform/posix/ldap_search.h"

#include <algorithm>
#include <utility>

#include "platform/posix/ads_path.h"
#include "platform/posix/ldap_result.h"
#include "platform/posix/search_filter.h"
#include "platform/posix/unicode.h"
#include "platform/text.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::u16string_view kPathColumn = u"ADsPath";
constexpr std::u16string_view kNameColumn = u"distinguishedName";
// RFC 4511: no attributes at all. An empty list would mean all of them.
constexpr const char* kNoAttributes = "1.1";

}  // namespace

bool IsAttributeName(std::string_view name) {
  return !name.empty() && std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("-.;=_*+").find(c) != std::string_view::npos;
  });
}

LdapSearch::LdapSearch(LdapTarget target) : target_(std::move(target)) {
  preferences_.base = target_.dn;
  preferences_.scope = target_.rootDse ? SearchScope::kBase : SearchScope::kSubtree;
}

HResult LdapSearch::SetSearchPreference(std::span<const SearchPreference> preferences) {
  for (const SearchPreference& preference : preferences) {
    switch (preference.id) {
      case SearchPreferenceId::kSearchScope:
        if (preference.value > static_cast<std::uint32_t>(SearchScope::kSubtree)) {
          return kInvalidArgument;
        }
        preferences_.scope = static_cast<SearchScope>(preference.value);
        break;
      case SearchPreferenceId::kPageSize:
        if (preference.value > INT32_MAX) return kInvalidArgument;
        preferences_.pageSize = preference.value;
        break;
      case SearchPreferenceId::kTombstone:
        preferences_.deletedObjects = preference.value != 0;
        break;
      default:
        return kInvalidArgument;
    }
  }
  return kOk;
}

HResult LdapSearch::ExecuteSearch(std::u16string_view filter,
                                  std::span<const std::u16string_view> attributes) {
  search_.reset();
  error_ = {};
  onRow_ = false;
  hadRows_ = false;
  refused_ = false;
  requested_.clear();
  nameRequested_ = false;

  request_ = preferences_;
  const HResult understood = NormalizeFilter(filter, request_.filter);
  if (Failed(understood)) return understood;
  for (std::u16string_view attribute : attributes) {
    const Requested& requested = RequestedColumn(attribute);
    // The name of an object comes with every entry; asking for it again would only send it twice.
    nameRequested_ |= requested.source == Source::kEntryName;
    if (requested.source == Source::kEntry && IsAttributeName(requested.attribute)) {
      request_.attributes.push_back(requested.attribute);
    }
  }
  if (request_.attributes.empty()) request_.attributes.emplace_back(kNoAttributes);
  return Start();
}

HResult LdapSearch::Start() {
  search_ = std::make_unique<PagedSearch>(*target_.connection, request_);
  return search_->Start(error_);
}

// Searches at the server that the directory refers to.
HResult LdapSearch::FollowReferral() {
  LdapTarget there = target_;
  const HResult followed = target_.context->followReferral(there, error_);
  if (Failed(followed)) return followed;
  search_.reset();  // before its connection
  target_ = std::move(there);
  request_.base = target_.dn;
  preferences_.base = target_.dn;
  error_ = {};
  HResult result = Start();
  if (Succeeded(result)) result = search_->Next(error_);
  // Says where the second one points to, and that it is not followed.
  return result == kReferral ? target_.context->followReferral(target_, error_) : result;
}

HResult LdapSearch::GetNextRow() {
  onRow_ = false;
  if (search_ == nullptr) return kUnexpected;
  HResult result = refused_ ? kReferral : search_->Next(error_);
  if (result == kReferral && !hadRows_ && !refused_) {
    result = FollowReferral();
    refused_ = result == kReferral;
  }
  if (result != kOk) return result;
  hadRows_ = true;
  if (!row_.Reset(target_.connection->handle(), search_->current())) {
    return HResultFromLdap(LDAP_DECODING_ERROR);
  }
  onRow_ = true;
  name_.clear();
  path_.clear();
  return kOk;
}

// Callers go through their columns in the same order for every row, so the next one is the first
// guess.
LdapSearch::Requested& LdapSearch::RequestedColumn(std::u16string_view name) {
  for (std::size_t step = 1; step <= requested_.size(); ++step) {
    const std::size_t index = (lastRequested_ + step) % requested_.size();
    if (requested_[index].name == name) {
      lastRequested_ = index;
      return requested_[index];
    }
  }
  Requested& requested = requested_.emplace_back();
  lastRequested_ = requested_.size() - 1;
  requested.name = name;
  requested.attribute = ToUtf8(name);
  if (EqualsIgnoringCase(name, kPathColumn)) requested.source = Source::kPath;
  if (EqualsIgnoringCase(name, kNameColumn)) requested.source = Source::kEntryName;
  return requested;
}

AdsType LdapSearch::TypeOf(Requested& requested) {
  if (!requested.type) {
    const auto typed = target_.context->schemas.TypeOf(*target_.connection, requested.attribute);
    if (!typed.settled) return typed.type;
    requested.type = typed.type;
  }
  return *requested.type;
}

HResult LdapSearch::GetColumn(std::u16string_view attribute, Column& column) {
  if (!onRow_) return kUnexpected;
  Requested& requested = RequestedColumn(attribute);
  if (requested.source != Source::kEntry) return GetNameColumn(requested, column);
  const std::optional<std::size_t> place = row_.FindOrPiece(requested.attribute, requested.place);
  if (!place) return kColumnNotSet;
  requested.place = *place;
  return row_.Decode(*place, TypeOf(requested), column);
}

HResult LdapSearch::GetNameColumn(const Requested& requested, Column& column) {
  const bool path = requested.source == Source::kPath;
  if (!path && (!nameRequested_ || row_.dn().empty())) return kColumnNotSet;
  if (name_.empty()) AppendUtf16(name_, row_.dn());
  if (path && path_.empty()) AppendAdsPath(path_, target_.pathPrefix, name_);
  nameValue_.text = name_;
  pathValue_.text = path_;
  column.type = path ? AdsType::kCaseIgnoreString : AdsType::kDnString;
  column.values = std::span(path ? &pathValue_ : &nameValue_, 1);
  return kOk;
}

void LdapSearch::ForEachReceivedText(std::u16string_view attribute,
                                     const std::function<void(std::u16string_view)>& visit) {
  if (search_ == nullptr) return;
  Requested& requested = RequestedColumn(attribute);
  if (requested.source != Source::kEntry) return;
  const auto visitEntry = [&](EntryDecoder& entry) {
    const auto place = entry.FindOrPiece(requested.attribute, requested.place);
    Column column;
    if (!place || Failed(entry.Decode(*place, TypeOf(requested), column))) return;
    for (const Value& value : column.values) {
      if (!value.text.empty()) visit(value.text);
    }
  };
  if (onRow_) visitEntry(row_);
  for (const Message& message : search_->ahead()) {
    if (rowAhead_.Reset(target_.connection->handle(), message.get())) visitEntry(rowAhead_);
  }
}

}  // namespace zorvan::platform::posix
