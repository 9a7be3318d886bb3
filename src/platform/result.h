// Result codes as the platform gives them. An HResult below zero is a failure; the named ones steer
// behaviour somewhere in the library, all others are passed on as they came.
#pragma once

#include <cstdint>

namespace zorvan::platform {

using HResult = std::int32_t;
using Win32Code = std::uint32_t;

constexpr HResult MakeHResult(std::uint32_t bits) { return static_cast<HResult>(bits); }
constexpr HResult HResultFromWin32(Win32Code code) {
  return code == 0 ? 0 : MakeHResult(0x80070000U | (code & 0xFFFFU));
}
constexpr std::uint32_t Bits(HResult result) { return static_cast<std::uint32_t>(result); }
constexpr bool Failed(HResult result) { return result < 0; }
constexpr bool Succeeded(HResult result) { return result >= 0; }

inline constexpr HResult kOk = 0;
inline constexpr HResult kNoMoreRows = 0x00005012;     // S_ADS_NOMORE_ROWS
inline constexpr HResult kNoMoreColumns = 0x00005013;  // S_ADS_NOMORE_COLUMNS
inline constexpr HResult kUnexpected = MakeHResult(0x8000FFFFU);
inline constexpr HResult kNotSupported = MakeHResult(0x80004001U);      // E_NOTIMPL
inline constexpr HResult kNoInterface = MakeHResult(0x80004002U);       // E_NOINTERFACE
inline constexpr HResult kFailure = MakeHResult(0x80004005U);           // E_FAIL
inline constexpr HResult kInvalidArgument = MakeHResult(0x80070057U);   // E_INVALIDARG
inline constexpr HResult kOutOfMemory = MakeHResult(0x8007000EU);       // E_OUTOFMEMORY
inline constexpr HResult kBadPathname = MakeHResult(0x80005000U);       // E_ADS_BAD_PATHNAME
inline constexpr HResult kPropertyNotFound = MakeHResult(0x8000500DU);  // E_ADS_PROPERTY_NOT_FOUND
inline constexpr HResult kColumnNotSet = MakeHResult(0x80005010U);      // E_ADS_COLUMN_NOT_SET
inline constexpr HResult kInvalidFilter = MakeHResult(0x80005014U);     // E_ADS_INVALID_FILTER
inline constexpr HResult kAccessDenied = MakeHResult(0x80070005U);
inline constexpr HResult kCancelled = MakeHResult(0x800704C7U);       // ERROR_CANCELLED
inline constexpr HResult kTimedOut = MakeHResult(0x800705B4U);        // ERROR_TIMEOUT
inline constexpr HResult kNoLogonSession = MakeHResult(0x80070520U);  // ERROR_NO_SUCH_LOGON_SESSION
inline constexpr HResult kLogonFailure = MakeHResult(0x8007052EU);
inline constexpr HResult kServerDown = MakeHResult(0x8007203AU);
inline constexpr HResult kNoReadPermission = MakeHResult(0x8007200AU);
inline constexpr HResult kNoSuchObject = MakeHResult(0x80072030U);

}  // namespace zorvan::platform
