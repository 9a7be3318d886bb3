// Searches with a filter of the caller's own.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "call/native_handler.h"

namespace zorvan::objects {

// Streams every object under the container that the filter matches. Failures are logged; searches
// add no error entries.
void GetObjects(call::NativeHandler& handler, const std::optional<std::u16string>& container,
                const std::optional<std::u16string>& filter,
                std::span<const std::u16string> attributes, call::RowListener& listener);

}  // namespace zorvan::objects
