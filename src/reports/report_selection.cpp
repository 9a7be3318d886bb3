#include "reports/report_selection.h"

#include <algorithm>

#include "platform/text.h"

namespace zorvan::reports {
namespace {

using call::LogMessage;
using call::NativeHandler;
using platform::Bits;
using platform::Failed;
using platform::HResult;

constexpr std::u16string_view kObjectClass = u"objectClass";
constexpr std::u16string_view kUserAccountControl = u"userAccountControl";

bool HasClass(platform::DirectorySearch& search, std::u16string_view name) {
  platform::Column column;
  if (Failed(search.GetColumn(kObjectClass, column))) return false;
  return std::any_of(column.values.begin(), column.values.end(), [&](const platform::Value& value) {
    return platform::EqualsIgnoringCase(value.text, name);
  });
}

// A deleted object keeps its classes but loses its category, and a computer's classes include the
// user's: so a user is what is no computer.
directory::RowSelection DeletedClassSelection(bool computers) {
  const auto keep = [computers](platform::DirectorySearch& search) {
    return HasClass(search, u"user") && HasClass(search, u"computer") == computers;
  };
  return {{kObjectClass}, keep};
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

directory::RowSelection KeepDeletedUsers(NativeHandler&) { return DeletedClassSelection(false); }

directory::RowSelection KeepDeletedComputers(NativeHandler&) { return DeletedClassSelection(true); }

}  // namespace zorvan::reports
