#include "reports/report_selection.h"

#include "directory/object_class.h"

namespace zorvan::reports {
namespace {

using call::LogMessage;
using call::LogMessageW;
using call::NativeHandler;
using platform::Bits;
using platform::Failed;
using platform::HResult;

constexpr std::u16string_view kDistinguishedName = u"distinguishedName";
constexpr std::u16string_view kUserAccountControl = u"userAccountControl";

void LogUnreadClass(NativeHandler& handler, platform::DirectorySearch& search, HResult result) {
  platform::Column column;
  const bool named =
      !Failed(search.GetColumn(kDistinguishedName, column)) && !column.values.empty();
  LogMessageW(
      handler, call::kMilestone,
      "The class of the deleted object %ws cannot be read, so it is not listed, error code: "
      "%x",
      named ? column.values[0].text : std::u16string_view(), Bits(result));
}

// A deleted object keeps its classes but loses its category, and a computer's classes include the
// user's: so a user is what is no computer. An object whose classes cannot be read is neither.
directory::RowSelection DeletedClassSelection(NativeHandler& handler, bool computers) {
  const auto keep = [&handler, computers](platform::DirectorySearch& search) {
    bool user = false;
    bool computer = false;
    HResult result = directory::HasClass(search, u"user", user);
    if (!Failed(result)) result = directory::HasClass(search, u"computer", computer);
    if (Failed(result)) LogUnreadClass(handler, search, result);
    return !Failed(result) && user && computer == computers;
  };
  return {{directory::kObjectClass}, keep};
}

}  // namespace

directory::RowSelection AccountFlagSelection(NativeHandler& handler, std::uint32_t mask) {
  LogMessage(handler, call::kDetail, "Getting AccountStatus QueryValues");
  const auto keep = [&handler, mask](platform::DirectorySearch& search) {
    platform::Column column;
    const HResult result = search.GetColumn(kUserAccountControl, column);
    if (Failed(result) || column.values.empty()) {
      LogMessage(handler, call::kMilestone,
                 "Error in getting the User Attributes while account status based users and the "
                 "error code is %x",
                 Bits(result));
      return false;
    }
    return (static_cast<std::uint32_t>(column.values[0].number) & mask) != 0;
  };
  return {{kUserAccountControl}, keep};
}

directory::RowSelection KeepDeletedUsers(NativeHandler& handler) {
  return DeletedClassSelection(handler, false);
}

directory::RowSelection KeepDeletedComputers(NativeHandler& handler) {
  return DeletedClassSelection(handler, true);
}

}  // namespace zorvan::reports
