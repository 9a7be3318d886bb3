// The terminal-services settings of users as pseudo-attributes of a row.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "call/native_handler.h"
#include "platform/accounts.h"

namespace zorvan::directory {

// The setting behind a pseudo-attribute name such as "tsProfilePath" (ignoring case); absent for
// any other attribute.
std::optional<platform::TerminalServicesClass> TerminalServicesClassOf(
    std::u16string_view attribute);

// The setting of the user with this logon name: its text, or its number in decimal. Absent when the
// system does not say.
std::optional<std::u16string> FillTSString(call::NativeHandler& handler,
                                           std::u16string_view logonName,
                                           platform::TerminalServicesClass setting);

}  // namespace zorvan::directory
