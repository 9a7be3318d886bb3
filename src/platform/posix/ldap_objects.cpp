#include "platform/posix/ldap_objects.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/ldap_result.h"
#include "platform/posix/unicode.h"
#include "platform/text.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::u16string_view kNameAttribute = u"distinguishedName";

AdsType TypeOf(const LdapTarget& target, std::string_view attribute) {
  return target.context->schemas.TypeOf(*target.connection, attribute).type;
}

void AddName(std::string_view dn, AttributeSet& attributes) {
  if (dn.empty() || attributes.Find(kNameAttribute) != nullptr) return;
  const std::u16string text = ToUtf16(dn);
  Value value;
  value.text = text;
  attributes.Add(kNameAttribute, Column{AdsType::kDnString, std::span(&value, 1)});
}

}  // namespace

SearchRequest ObjectRequest(const LdapTarget& target, std::span<const std::u16string_view> names) {
  SearchRequest request;
  request.base = target.dn;
  for (std::u16string_view name : names) {
    std::string attribute = ToUtf8(name);
    if (IsAttributeName(attribute)) request.attributes.push_back(std::move(attribute));
  }
  if (!names.empty() && request.attributes.empty()) request.attributes.emplace_back("1.1");
  if (names.empty() && target.rootDse) request.attributes = {"*", "+"};
  return request;
}

HResult ReadTarget(LdapTarget& target, SearchRequest request, Message& chain, LDAPMessage*& entry,
                   ExtendedError& error) {
  HResult result = ReadEntry(*target.connection, request, chain, entry, error);
  if (result != kReferral) return result;
  result = target.context->followReferral(target, error);
  if (Failed(result)) return result;
  request.base = target.dn;
  result = ReadEntry(*target.connection, request, chain, entry, error);
  // Says where the second one points to, and that it is not followed.
  return result == kReferral ? target.context->followReferral(target, error) : result;
}

void FillAttributeSet(const LdapTarget& target, LDAPMessage* message, EntryDecoder& entry,
                      std::span<const std::u16string_view> names, AttributeSet& attributes) {
  if (!entry.Reset(target.connection->handle(), message)) return;
  for (std::size_t index = 0; index < entry.count(); ++index) {
    const std::string_view name = entry.name(index);
    if (entry.Find(name, index) != index) continue;
    Column column;
    if (Failed(entry.Decode(index, TypeOf(target, name), column))) continue;
    attributes.Add(ToUtf16(name), column);
  }
  const bool named = std::ranges::any_of(
      names, [](std::u16string_view name) { return EqualsIgnoringCase(name, kNameAttribute); });
  if (named || names.empty()) AddName(entry.dn(), attributes);
}

LdapObject::LdapObject(LdapTarget target) : target_(std::move(target)) {}

HResult LdapObject::GetObjectAttributes(std::span<const std::u16string_view> names,
                                        AttributeSet& attributes) {
  attributes = AttributeSet();
  Message chain;
  LDAPMessage* entry = nullptr;
  ExtendedError error;
  const HResult result = ReadTarget(target_, ObjectRequest(target_, names), chain, entry, error);
  if (Failed(result)) return result;
  EntryDecoder decoder;
  FillAttributeSet(target_, entry, decoder, names, attributes);
  return kOk;
}

LdapPropertyObject::LdapPropertyObject(LdapTarget target) : target_(std::move(target)) {}

HResult LdapPropertyObject::GetInfo() {
  LDAPMessage* entry = nullptr;
  ExtendedError error;
  const HResult result = ReadTarget(target_, ObjectRequest(target_, {}), chain_, entry, error);
  if (Failed(result)) {
    chain_.reset();
    return result;
  }
  if (entry_.Reset(target_.connection->handle(), entry)) return kOk;
  chain_.reset();
  return HResultFromLdap(LDAP_DECODING_ERROR);
}

HResult LdapPropertyObject::Get(std::u16string_view attribute, AttributeSet& value) {
  value = AttributeSet();
  if (chain_ == nullptr) {
    const HResult result = GetInfo();
    if (Failed(result)) return result;
  }
  const std::string name = ToUtf8(attribute);
  const std::optional<std::size_t> index = entry_.FindOrPiece(name);
  if (!index) {
    if (EqualsIgnoringCase(attribute, kNameAttribute)) AddName(entry_.dn(), value);
    return value.Find(attribute) == nullptr ? kPropertyNotFound : kOk;
  }
  Column column;
  const HResult result = entry_.Decode(*index, TypeOf(target_, name), column);
  if (Failed(result)) return result;
  value.Add(attribute, column);
  return kOk;
}

HResult LdapPropertyObject::QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) {
  search = std::make_unique<LdapSearch>(target_);
  return kOk;
}

}  // namespace zorvan::platform::posix
