#include "directory/linked_lookup.h"

#include "directory/bind.h"
#include "directory/value_conversion.h"
#include "platform/distinguished_name.h"

namespace zorvan::directory {
namespace {

using platform::AttributeSet;
using platform::Failed;
using platform::HResult;

std::optional<std::u16string> TextOf(const AttributeSet& attributes, std::u16string_view name) {
  const platform::Column* column = attributes.Find(name);
  if (column == nullptr || column->values.empty()) return std::nullopt;
  ColumnConverter converter(name);
  const auto text = converter.Convert(column->type, column->values.front());
  return text ? std::optional<std::u16string>(*text) : std::nullopt;
}

LinkedObject ToLinkedObject(HResult result, const AttributeSet& attributes,
                            const platform::ExtendedError& error) {
  if (Failed(result)) return {result, std::nullopt, std::nullopt, std::nullopt, error};
  return {result, TextOf(attributes, u"distinguishedName"), TextOf(attributes, u"cn"),
          TextOf(attributes, u"objectGUID")};
}

}  // namespace

bool LinkedLookup::InDomain(std::u16string_view distinguishedName) const {
  return platform::IsInDomain(distinguishedName, handler_.settings.defaultNamingContext);
}

bool LinkedLookup::Wants(std::u16string_view distinguishedName) const {
  return InDomain(distinguishedName) && !known_.contains(distinguishedName);
}

void LinkedLookup::MakeRoomFor(std::size_t count) {
  if (known_.size() + count > kMaxRemembered) known_.clear();
}

void LinkedLookup::Read(const std::vector<std::u16string>& keys) {
  if (keys.empty()) return;
  MakeRoomFor(keys.size());
  std::vector<std::u16string> paths;
  paths.reserve(keys.size());
  for (const std::u16string& key : keys) paths.push_back(ObjectPath(handler_.settings, key));
  handler_.platform.directory().ReadObjects(
      paths, handler_.settings.credentials(), platform::kSecureAuthentication,
      kLinkedObjectAttributes,
      [&](std::size_t index, HResult result, AttributeSet& attributes,
          const platform::ExtendedError& error) {
        known_.insert_or_assign(keys[index], ToLinkedObject(result, attributes, error));
      });
}

const LinkedObject* LinkedLookup::Find(std::u16string_view distinguishedName) {
  if (!InDomain(distinguishedName)) return nullptr;
  const auto found = known_.find(distinguishedName);
  if (found != known_.end()) return &found->second;
  Read({std::u16string(distinguishedName)});
  return &known_[std::u16string(distinguishedName)];
}

const LinkedObject& LinkedLookup::FindBySid(std::span<const std::byte> sid) {
  const std::u16string key = u"<SID=" + HexText(sid) + u">";
  if (const auto found = known_.find(key); found != known_.end()) return found->second;
  Read({key});
  return known_[key];
}

}  // namespace zorvan::directory
