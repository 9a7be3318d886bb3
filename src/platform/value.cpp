#include "platform/value.h"

#include "platform/ranged_name.h"
#include "platform/text.h"

namespace zorvan::platform {

void AttributeSet::Add(std::u16string_view name, const Column& column) {
  Entry& entry = entries_.emplace_back();
  entry.name = name;
  entry.values.reserve(column.values.size());
  for (Value value : column.values) {
    if (!value.text.empty()) value.text = texts_.emplace_back(value.text);
    if (!value.octets.empty()) {
      value.octets = octets_.emplace_back(value.octets.begin(), value.octets.end());
    }
    entry.values.push_back(value);
  }
  entry.column = column;
  entry.column.values = entry.values;
  if (const auto range = RangeOf(entry.name)) {
    entry.column.ranged = true;
    entry.column.cut = !range->last;
  }
}

const Column* AttributeSet::Find(std::u16string_view name) const {
  const Column* found = nullptr;
  for (const Entry& entry : entries_) {
    if (EqualsIgnoringCase(entry.name, name)) found = &entry.column;
    if (found != nullptr && !found->values.empty()) return found;
  }
  for (const Entry& entry : entries_) {
    if (IsPieceOf(entry.name, name)) return &entry.column;
  }
  return found;
}

}  // namespace zorvan::platform
