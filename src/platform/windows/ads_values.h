// The directory interface's values as the port's: ADSVALUE from searches and objects, VARIANT from
// the property cache.
#pragma once

#include <string_view>
#include <vector>

#include "platform/value.h"
#include "platform/windows/handles.h"

namespace zorvan::platform::windows {

// Replaces values by views into the column's, which must outlive them. A type that the port has no
// member for keeps its number and its count of values, each of them empty.
Column ReadAdsValues(ADSTYPE type, const ADSVALUE* first, DWORD count, std::vector<Value>& values);

// Copies what the property cache gave for an attribute into the set. A kind of VARIANT that no
// attribute comes as adds an attribute of AdsType::kUnknown without a value.
void AddVariant(std::u16string_view name, const VARIANT& variant, AttributeSet& attributes);

}  // namespace zorvan::platform::windows
