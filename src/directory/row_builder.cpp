#include "directory/row_builder.h"

#include <algorithm>
#include <array>

#include "call/decimal_text.h"
#include "call/notice.h"
#include "directory/bind.h"
#include "directory/object_class.h"
#include "directory/paged_search.h"
#include "directory/terminal_services.h"
#include "platform/text.h"

namespace zorvan::directory {
namespace {

using call::LogMessage;
using call::LogMessageW;
using call::Row;
using platform::Bits;
using platform::Column;
using platform::DirectorySearch;
using platform::EqualsIgnoringCase;
using platform::Failed;
using platform::HResult;
using platform::Succeeded;

struct LinkedAttribute {
  std::u16string_view name;
  LinkForm form;
  std::u16string_view alsoFrom;
};

constexpr std::array kLinkedAttributes{
    LinkedAttribute{u"memberOf", LinkForm::kRow, {}},
    LinkedAttribute{u"member", LinkForm::kRow, {}},
    LinkedAttribute{u"managedBy", LinkForm::kRow, {}},
    LinkedAttribute{u"authOrig", LinkForm::kRow, u"dLMemSubmitPerms"},
    LinkedAttribute{u"unauthOrig", LinkForm::kRow, u"dLMemRejectPerms"},
    LinkedAttribute{u"publicDelegates", LinkForm::kName, {}},
    LinkedAttribute{u"altRecipient", LinkForm::kName, {}},
    LinkedAttribute{u"manager", LinkForm::kName, {}},
};

constexpr std::u16string_view kObjectSid = u"objectSid";
constexpr std::u16string_view kPrimaryGroupId = u"primaryGroupID";
constexpr std::u16string_view kDistinguishedName = u"distinguishedName";

// The octets of a SID whose last number is replaced.
std::vector<std::byte> WithRelativeId(std::span<const std::byte> sid, std::uint32_t relativeId) {
  std::vector<std::byte> result(sid.begin(), sid.end());
  for (std::size_t i = 0; i < 4; ++i) {
    result[result.size() - 4 + i] = static_cast<std::byte>(relativeId >> (8 * i) & 0xFF);
  }
  return result;
}

std::uint32_t RelativeId(std::span<const std::byte> sid) {
  std::uint32_t result = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    result |= std::to_integer<std::uint32_t>(sid[sid.size() - 4 + i]) << (8 * i);
  }
  return result;
}

// Accounts and groups of a domain have S-1-5-21-...; built-in groups cannot be primary groups.
bool IsDomainSid(std::span<const std::byte> sid) {
  constexpr std::array<std::byte, 6> kNtAuthority = {std::byte{0}, std::byte{0}, std::byte{0},
                                                     std::byte{0}, std::byte{0}, std::byte{5}};
  return sid.size() >= 16 &&
         std::equal(kNtAuthority.begin(), kNtAuthority.end(), sid.begin() + 2) &&
         RelativeId(sid.subspan(8, 4)) == 21;
}

}  // namespace

RowBuilder::RowBuilder(call::NativeHandler& handler, std::span<const std::u16string> attributes)
    : handler_(handler),
      links_(handler),
      distinguishedNameKey_(handler.keys.Intern(u"distinguishedName")),
      commonNameKey_(handler.keys.Intern(u"cn")),
      guidKey_(handler.keys.Intern(u"objectGUID")) {
  for (const std::u16string& name : attributes) {
    attributes_.push_back(Describe(name));
    requested_.push_back(name);
  }
  for (const Attribute& attribute : attributes_) {
    if (!attribute.alsoFrom.empty()) RequestBesides(attribute.alsoFrom);
    if (attribute.isMember || attribute.isMemberOf || attribute.isPrimaryGroup) {
      RequestBesides(kObjectSid);
    }
    if (attribute.isMemberOf) RequestBesides(kPrimaryGroupId);
    if (attribute.isMember) RequestBesides(kObjectClass);
  }
}

RowBuilder::Attribute RowBuilder::Describe(std::u16string_view name) {
  Attribute attribute{.name = name,
                      .key = handler_.keys.Intern(name),
                      .converter = ColumnConverter(name),
                      .isMember = EqualsIgnoringCase(name, u"member"),
                      .isMemberOf = EqualsIgnoringCase(name, u"memberOf"),
                      .isPrimaryGroup = EqualsIgnoringCase(name, kPrimaryGroupId),
                      .terminalServices = TerminalServicesClassOf(name)};
  for (const LinkedAttribute& linked : kLinkedAttributes) {
    if (!EqualsIgnoringCase(linked.name, name)) continue;
    attribute.link = linked.form;
    attribute.alsoFrom = linked.alsoFrom;
  }
  if (EqualsIgnoringCase(name, u"sAMAccountName")) logonName_ = attribute.key;
  return attribute;
}

void RowBuilder::RequestBesides(std::u16string_view name) {
  const bool present = std::any_of(requested_.begin(), requested_.end(), [&](auto requested) {
    return EqualsIgnoringCase(requested, name);
  });
  if (!present) requested_.push_back(name);
}

void RowBuilder::getJNIColumnValues(DirectorySearch& search, Row& row) {
  LogMessage(handler_, call::kDetail, "Getting JNIColumnValues");
  row.Clear();
  for (Attribute& attribute : attributes_) {
    if (attribute.terminalServices) {
      AddTerminalServices(attribute, row);
    } else if (attribute.isPrimaryGroup) {
      AddPrimaryGroupName(search, attribute, row);
    } else {
      AddColumn(search, attribute, row);
    }
  }
  LogMessage(handler_, call::kDetail, "Finish getJNIColumnValues");
}

bool RowBuilder::GetColumn(DirectorySearch& search, std::u16string_view attribute, Column& column) {
  const HResult result = search.GetColumn(attribute, column);
  if (Succeeded(result)) return true;
  if (result != platform::kColumnNotSet) {
    LogMessageW(handler_, call::kMilestone,
                "Error in getting the column %ws and the error code : %x", attribute, Bits(result));
  }
  return false;
}

std::optional<platform::Value> RowBuilder::FirstValue(DirectorySearch& search,
                                                      std::u16string_view attribute) {
  Column column;
  if (!GetColumn(search, attribute, column) || column.values.empty()) return std::nullopt;
  return column.values.front();
}

bool RowBuilder::GetValues(DirectorySearch& search, const Attribute& attribute, Column& column) {
  if (!GetColumn(search, attribute.name, column)) return false;
  if (attribute.isMember && column.ranged) {
    LogMessage(handler_, call::kDetail, "This is group with more members");
  }
  TellWhatIsCut(search, attribute.name, column);
  return true;
}

void RowBuilder::TellWhatIsCut(DirectorySearch& search, std::u16string_view attribute,
                               const Column& column) {
  if (!column.cut) return;
  const std::u16string name = RowName(search);
  call::Notify(handler_, {call::NoticeKind::kListCut, name, attribute, column.values.size()});
}

std::u16string RowBuilder::RowName(DirectorySearch& search) {
  const auto name = FirstValue(search, kDistinguishedName);
  return name ? std::u16string(name->text) : std::u16string();
}

void RowBuilder::AddColumn(DirectorySearch& search, Attribute& attribute, Row& row) {
  Column column;
  const std::size_t before = row.tokens().size();
  row.BeginList(attribute.key);
  const std::size_t begun = row.tokens().size();
  const bool has = GetValues(search, attribute, column);
  if (has) AddValues(search, attribute, column, row);
  if (!attribute.alsoFrom.empty() && GetColumn(search, attribute.alsoFrom, column)) {
    TellWhatIsCut(search, attribute.alsoFrom, column);
    AddValues(search, attribute, column, row);
  }
  if (attribute.isMemberOf) AddPrimaryGroup(search, row);
  if (attribute.isMember) FillPrimaryGroupUsers(search, has ? column.values.size() : 0, row);
  if (!has && row.tokens().size() == begun) {
    row.Truncate(before);  // nothing to tell of an attribute that the object does not have
    return;
  }
  row.EndList();
}

void RowBuilder::AddValues(DirectorySearch& search, Attribute& attribute, const Column& column,
                           Row& row) {
  if (attribute.link != LinkForm::kNone) {
    AddLinks(search, attribute, column, row);
    return;
  }
  for (const platform::Value& value : column.values) {
    if (const auto text = attribute.converter.Convert(column.type, value)) row.AddText(*text);
  }
}

void RowBuilder::AddLinks(DirectorySearch& search, const Attribute& attribute, const Column& column,
                          Row& row) {
  LogMessage(handler_, call::kDetail, "Getting Common Name.");
  std::span<const platform::Value> values = column.values;
  while (!values.empty()) {
    const auto batch = values.first(std::min(values.size(), LinkedLookup::kMaxInBatch));
    FetchLinks(search, attribute, batch);
    for (const platform::Value& value : batch) AddLink(attribute, value.text, row);
    values = values.subspan(batch.size());
  }
  LogMessage(handler_, call::kDetail, "Returned from Getting Common Name.");
}

// Reads the objects behind these values, and with the same request those that the rows to come
// refer to.
void RowBuilder::FetchLinks(DirectorySearch& search, const Attribute& attribute,
                            std::span<const platform::Value> values) {
  const auto isWanted = [&](const platform::Value& value) { return links_.Wants(value.text); };
  if (std::none_of(values.begin(), values.end(), isWanted)) return;
  links_.MakeRoomFor(values.size() + LinkedLookup::kMaxInBatch);
  std::vector<std::u16string> names;
  for (const platform::Value& value : values) {
    if (isWanted(value)) names.emplace_back(value.text);
  }
  const std::size_t most = names.size() + LinkedLookup::kMaxInBatch;
  for (const Attribute& linked : attributes_) {
    // Members are not shared between groups the way groups and managers are between users.
    if (linked.link == LinkForm::kNone || (linked.isMember && &linked != &attribute)) continue;
    search.ForEachReceivedText(linked.name, [&](std::u16string_view text) {
      if (names.size() < most && links_.Wants(text)) names.emplace_back(text);
    });
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  links_.Fetch(names);
}

void RowBuilder::AddLink(const Attribute& attribute, std::u16string_view distinguishedName,
                         Row& row) {
  const LinkedObject* object = links_.Find(distinguishedName);
  const bool read = object != nullptr && Succeeded(object->result);
  if (!read) {
    LogMessageW(handler_, call::kMilestone,
                "Object Bind Failed GetCommanName error:%x columnName:%ws columnValue:%ws",
                object == nullptr ? 0U : Bits(object->result), attribute.name, distinguishedName);
    if (object != nullptr) LogWhatWasSaid(handler_, object->error);
  }
  if (attribute.link == LinkForm::kName) {
    row.AddText(read && object->commonName ? std::u16string_view(*object->commonName)
                                           : distinguishedName);
  } else if (read) {
    AddLinkedRow(distinguishedName, object->commonName, object->guid, row);
  } else {
    AddLinkedRow(distinguishedName, std::u16string(distinguishedName), std::nullopt, row);
  }
}

void RowBuilder::AddLinkedRow(std::u16string_view distinguishedName,
                              const std::optional<std::u16string>& commonName,
                              const std::optional<std::u16string>& guid, Row& row) {
  row.BeginRow();
  row.PutText(distinguishedNameKey_, distinguishedName);
  if (commonName) row.PutText(commonNameKey_, *commonName);
  if (guid) row.PutText(guidKey_, *guid);
  row.EndRow();
}

// The primary group of the row's account; null when the row is no account or its group cannot be
// read.
const LinkedObject* RowBuilder::GetPrimaryGroup(DirectorySearch& search) {
  const auto groupId = FirstValue(search, kPrimaryGroupId);
  if (!groupId) return nullptr;
  const auto relativeId = static_cast<std::uint32_t>(groupId->number);
  const auto sid = FirstValue(search, kObjectSid);
  if (!sid || !IsDomainSid(sid->octets)) return nullptr;
  const auto groupSid = WithRelativeId(sid->octets, relativeId);
  const LinkedObject& group = links_.FindBySid(groupSid);
  if (Failed(group.result)) {
    LogUnreadObject(u"<SID=" + HexText(groupSid) + u">", group.result, group.error);
  }
  return Succeeded(group.result) && group.distinguishedName ? &group : nullptr;
}

void RowBuilder::LogUnreadObject(std::u16string_view name, HResult result,
                                 const platform::ExtendedError& error) {
  LogMessageW(handler_, call::kMilestone, "\nObject Bind Failed.error code %x,path %ws",
              Bits(result), ObjectPath(handler_.settings, name));
  LogWhatWasSaid(handler_, error);
}

void RowBuilder::AddPrimaryGroup(DirectorySearch& search, Row& row) {
  const LinkedObject* group = GetPrimaryGroup(search);
  if (group == nullptr) return;
  AddLinkedRow(*group->distinguishedName, group->commonName, group->guid, row);
}

void RowBuilder::AddPrimaryGroupName(DirectorySearch& search, const Attribute& attribute,
                                     Row& row) {
  const LinkedObject* group = GetPrimaryGroup(search);
  if (group == nullptr || !group->commonName) return;
  row.BeginList(attribute.key);
  row.AddText(*group->commonName);
  row.EndList();
}

void RowBuilder::FillPrimaryGroupUsers(DirectorySearch& search, std::size_t listed, Row& row) {
  LogMessage(handler_, call::kDetail, "Filling Primary Group Users.");
  const auto sid = FirstValue(search, kObjectSid);
  if (sid && IsDomainSid(sid->octets) && IsGroup(search) &&
      Failed(AddPrimaryGroupMembers(sid->octets, listed, row)) && !call::IsCancelled(handler_)) {
    const std::u16string name = RowName(search);
    call::Notify(handler_, {call::NoticeKind::kListCut, name, u"member", listed});
  }
  LogMessage(handler_, call::kDetail, "Returned from filling Primary Group Users.");
}

bool RowBuilder::IsGroup(DirectorySearch& search) {
  bool group = false;
  const HResult result = HasClass(search, u"group", group);
  if (Failed(result)) {
    LogMessageW(handler_, call::kMilestone,
                "The classes of %ws cannot be read, so it is not asked for members by primary "
                "group, error code: %x",
                RowName(search), Bits(result));
  }
  return group;
}

// Fails when members may be missing; listed counts what is in the list so far.
HResult RowBuilder::AddPrimaryGroupMembers(std::span<const std::byte> groupSid, std::size_t& listed,
                                           Row& row) {
  std::unique_ptr<DirectorySearch> search;
  const std::u16string& root = handler_.settings.defaultNamingContext;
  HResult result = BindObject(handler_, ObjectPath(handler_.settings, root), search);
  if (Failed(result)) {
    LogUnreadObject(root, result);
    return result;
  }
  std::u16string filter = u"(&(primaryGroupID=";
  filter.append(call::DecimalText(RelativeId(groupSid))).append(u")(!sAMAccountType=805306370))");
  result = SetStandardPreferences(*search, platform::SearchScope::kSubtree, false);
  if (Succeeded(result)) result = search->ExecuteSearch(filter, kLinkedObjectAttributes);
  while (Succeeded(result) && (result = search->GetNextRow()) == platform::kOk) {
    AddFoundObject(*search, row);
    ++listed;
  }
  if (Failed(result)) {
    LogMessageW(handler_, call::kMilestone, "The search failed, filter: %ws, error code: %x",
                filter, Bits(result));
    LogWhatWasSaid(handler_, search->LastError());
  }
  return result;
}

void RowBuilder::AddFoundObject(DirectorySearch& search, Row& row) {
  const auto name = FirstValue(search, kDistinguishedName);
  if (!name) return;
  std::optional<std::u16string> commonName;
  std::optional<std::u16string> guid;
  if (const auto value = FirstValue(search, u"cn")) commonName = value->text;
  if (const auto value = FirstValue(search, u"objectGUID")) guid = GuidText(value->octets);
  AddLinkedRow(name->text, commonName, guid, row);
}

void RowBuilder::AddTerminalServices(const Attribute& attribute, Row& row) {
  const auto logonName = logonName_ ? row.FirstText(*logonName_) : std::nullopt;
  if (!logonName) return;  // sAMAccountName must come before these names in the list
  const auto text = FillTSString(handler_, *logonName, *attribute.terminalServices);
  if (!text) return;
  row.BeginList(attribute.key);
  row.AddText(*text);
  row.EndList();
}

}  // namespace zorvan::directory
