// Why a logon was refused, in the words and numbers of the platform.
//
// Servers tell the reason as a Win32 code in the text of a refused bind ("data 533"), key
// distribution centres as an NTSTATUS.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

inline constexpr Win32Code kLogonFailureCode = 1326;

// The Win32 code for an NTSTATUS of a logon, kLogonFailureCode for one that is not in the table.
Win32Code LogonFailureFromStatus(std::uint32_t ntStatus);

// The Win32 code behind "data" in the diagnostic text of a refused bind, zero when there is none.
Win32Code LogonFailureFromDiagnostic(std::string_view diagnostic);

// Code and sentence for a refused logon.
ExtendedError LogonFailure(Win32Code code);

}  // namespace zorvan::platform::posix
