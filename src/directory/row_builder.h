// From the current row of a search to a Row: the requested attributes in their order, with the
// values that are not the directory's own (primary group, members by primary group,
// terminal-services settings) filled in.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "call/native_handler.h"
#include "directory/linked_lookup.h"
#include "directory/value_conversion.h"
#include "platform/accounts.h"
#include "platform/directory.h"

namespace zorvan::directory {

// What an element of a linked attribute's list is.
enum class LinkForm {
  kNone,  // not a linked attribute: the value's text
  kRow,   // a row of distinguishedName, cn and objectGUID
  kName,  // the common name
};

// Made once per search.
class RowBuilder {
 public:
  RowBuilder(call::NativeHandler& handler, std::span<const std::u16string> attributes);

  // What the search must ask for: the attributes as named, and what the derived values are made
  // from.
  const std::vector<std::u16string_view>& requested() const { return requested_; }

  // Replaces the row by the search's current one.
  void getJNIColumnValues(platform::DirectorySearch& search, call::Row& row);

 private:
  struct Attribute {
    std::u16string_view name;
    call::KeyId key;
    ColumnConverter converter;
    LinkForm link = LinkForm::kNone;
    std::u16string_view alsoFrom = {};  // another attribute whose values join the list
    bool isMember = false;
    bool isMemberOf = false;
    bool isPrimaryGroup = false;
    std::optional<platform::TerminalServicesClass> terminalServices = std::nullopt;
  };

  Attribute Describe(std::u16string_view name);
  void RequestBesides(std::u16string_view name);

  void AddColumn(platform::DirectorySearch& search, Attribute& attribute, call::Row& row);
  // Reads a column of the current row; a failure other than its absence is logged. The first value
  // of one, likewise.
  bool GetColumn(platform::DirectorySearch& search, std::u16string_view attribute,
                 platform::Column& column);
  std::optional<platform::Value> FirstValue(platform::DirectorySearch& search,
                                            std::u16string_view attribute);
  bool GetValues(platform::DirectorySearch& search, const Attribute& attribute,
                 platform::Column& column);
  // Tells the caller that a row shows only the beginning of a list.
  void TellWhatIsCut(platform::DirectorySearch& search, std::u16string_view attribute,
                     const platform::Column& column);
  void AddValues(platform::DirectorySearch& search, Attribute& attribute,
                 const platform::Column& column, call::Row& row);
  void AddLinks(platform::DirectorySearch& search, const Attribute& attribute,
                const platform::Column& column, call::Row& row);
  void FetchLinks(platform::DirectorySearch& search, const Attribute& attribute,
                  std::span<const platform::Value> values);
  void AddLink(const Attribute& attribute, std::u16string_view distinguishedName, call::Row& row);
  void AddLinkedRow(std::u16string_view distinguishedName,
                    const std::optional<std::u16string>& commonName,
                    const std::optional<std::u16string>& guid, call::Row& row);
  const LinkedObject* GetPrimaryGroup(platform::DirectorySearch& search);
  void LogUnreadObject(std::u16string_view name, platform::HResult result,
                       const platform::ExtendedError& error = {});
  std::u16string RowName(platform::DirectorySearch& search);
  bool IsGroup(platform::DirectorySearch& search);
  void AddPrimaryGroup(platform::DirectorySearch& search, call::Row& row);
  void AddPrimaryGroupName(platform::DirectorySearch& search, const Attribute& attribute,
                           call::Row& row);
  void FillPrimaryGroupUsers(platform::DirectorySearch& search, std::size_t listed, call::Row& row);
  platform::HResult AddPrimaryGroupMembers(std::span<const std::byte> groupSid, std::size_t& listed,
                                           call::Row& row);
  void AddFoundObject(platform::DirectorySearch& search, call::Row& row);
  void AddTerminalServices(const Attribute& attribute, call::Row& row);

  call::NativeHandler& handler_;
  LinkedLookup links_;
  std::vector<Attribute> attributes_;
  std::vector<std::u16string_view> requested_;
  std::optional<call::KeyId> logonName_;  // the key of sAMAccountName, when that was requested
  call::KeyId distinguishedNameKey_;
  call::KeyId commonNameKey_;
  call::KeyId guidKey_;
};

}  // namespace zorvan::directory
