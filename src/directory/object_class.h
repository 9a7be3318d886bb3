// The classes of a search's current row.
#pragma once

#include <string_view>

#include "platform/directory.h"

namespace zorvan::directory {

// Asked for by whoever wants to know the classes.
inline constexpr std::u16string_view kObjectClass = u"objectClass";

// Whether the row's object has the class: kOk and has, or why its classes cannot be read
// (kColumnNotSet when the server does not show them).
platform::HResult HasClass(platform::DirectorySearch& search, std::u16string_view name, bool& has);

}  // namespace zorvan::directory
