#include "directory/object_class.h"

#include <algorithm>

#include "platform/text.h"

namespace zorvan::directory {

using platform::HResult;

HResult HasClass(platform::DirectorySearch& search, std::u16string_view name, bool& has) {
  has = false;
  platform::Column column;
  const HResult result = search.GetColumn(kObjectClass, column);
  if (platform::Failed(result)) return result;
  if (column.values.empty()) return platform::kColumnNotSet;
  has = std::ranges::any_of(column.values, [&](const platform::Value& value) {
    return platform::EqualsIgnoringCase(value.text, name);
  });
  return platform::kOk;
}

}  // namespace zorvan::directory
