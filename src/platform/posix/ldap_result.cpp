#include "platform/posix/ldap_result.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

struct Mapping {
  int ldap;
  Win32Code win32;
};

// Directory servers send these; LDAPv3 has no name for the first.
constexpr int kResultsTooLarge = 70;
constexpr int kAffectsMultipleServers = 71;

constexpr std::array kMappings{
    Mapping{LDAP_SUCCESS, 0},
    Mapping{LDAP_OPERATIONS_ERROR, 0x2020},
    Mapping{LDAP_PROTOCOL_ERROR, 0x2021},
    Mapping{LDAP_TIMELIMIT_EXCEEDED, 0x2022},
    Mapping{LDAP_SIZELIMIT_EXCEEDED, 0x2023},
    Mapping{LDAP_COMPARE_FALSE, 0x2025},
    Mapping{LDAP_COMPARE_TRUE, 0x2026},
    Mapping{LDAP_AUTH_METHOD_NOT_SUPPORTED, 0x2027},
    Mapping{LDAP_STRONG_AUTH_REQUIRED, 0x2028},
    Mapping{LDAP_PARTIAL_RESULTS, 0x00EA},
    Mapping{LDAP_REFERRAL, 0x202B},
    Mapping{LDAP_ADMINLIMIT_EXCEEDED, 0x2024},
    Mapping{LDAP_UNAVAILABLE_CRITICAL_EXTENSION, 0x202C},
    Mapping{LDAP_CONFIDENTIALITY_REQUIRED, 0x202D},
    Mapping{LDAP_NO_SUCH_ATTRIBUTE, 0x200A},
    Mapping{LDAP_UNDEFINED_TYPE, 0x200C},
    Mapping{LDAP_INAPPROPRIATE_MATCHING, 0x202E},
    Mapping{LDAP_CONSTRAINT_VIOLATION, 0x202F},
    Mapping{LDAP_TYPE_OR_VALUE_EXISTS, 0x200D},
    Mapping{LDAP_INVALID_SYNTAX, 0x200B},
    Mapping{LDAP_NO_SUCH_OBJECT, 0x2030},
    Mapping{LDAP_ALIAS_PROBLEM, 0x2031},
    Mapping{LDAP_INVALID_DN_SYNTAX, 0x2032},
    Mapping{LDAP_IS_LEAF, 0x2033},
    Mapping{LDAP_ALIAS_DEREF_PROBLEM, 0x2034},
    Mapping{LDAP_INAPPROPRIATE_AUTH, 0x2029},
    Mapping{LDAP_INVALID_CREDENTIALS, 0x052E},
    Mapping{LDAP_INSUFFICIENT_ACCESS, 0x0005},
    Mapping{LDAP_BUSY, 0x200E},
    Mapping{LDAP_UNAVAILABLE, 0x200F},
    Mapping{LDAP_UNWILLING_TO_PERFORM, 0x2035},
    Mapping{LDAP_LOOP_DETECT, 0x2036},
    Mapping{LDAP_NAMING_VIOLATION, 0x2037},
    Mapping{LDAP_OBJECT_CLASS_VIOLATION, 0x2014},
    Mapping{LDAP_NOT_ALLOWED_ON_NONLEAF, 0x2015},
    Mapping{LDAP_NOT_ALLOWED_ON_RDN, 0x2016},
    Mapping{LDAP_ALREADY_EXISTS, 0x1392},
    Mapping{LDAP_NO_OBJECT_CLASS_MODS, 0x2017},
    Mapping{kResultsTooLarge, 0x2038},
    Mapping{kAffectsMultipleServers, 0x2039},
    Mapping{LDAP_OTHER, 0x001F},
    // The library's own.
    Mapping{LDAP_SERVER_DOWN, 0x203A},
    Mapping{LDAP_LOCAL_ERROR, 0x203B},
    Mapping{LDAP_ENCODING_ERROR, 0x203C},
    Mapping{LDAP_DECODING_ERROR, 0x203D},
    Mapping{LDAP_TIMEOUT, 0x05B4},
    Mapping{LDAP_AUTH_UNKNOWN, 0x202A},
    Mapping{LDAP_FILTER_ERROR, 0x203E},
    Mapping{LDAP_USER_CANCELLED, 0x04C7},
    Mapping{LDAP_PARAM_ERROR, 0x203F},
    Mapping{LDAP_NO_MEMORY, 0x0008},
    Mapping{LDAP_CONNECT_ERROR, 0x04C9},
    Mapping{LDAP_NOT_SUPPORTED, 0x2040},
    Mapping{LDAP_CONTROL_NOT_FOUND, 0x2042},
    Mapping{LDAP_NO_RESULTS_RETURNED, 0x2041},
    Mapping{LDAP_MORE_RESULTS_TO_RETURN, 0x00EA},
    Mapping{LDAP_CLIENT_LOOP, 0x2043},
    Mapping{LDAP_REFERRAL_LIMIT_EXCEEDED, 0x2044},
};

Win32Code Win32FromLdap(int resultCode) {
  const auto* found = std::ranges::find(kMappings, resultCode, &Mapping::ldap);
  constexpr Win32Code kGeneralFailure = 0x001F;
  return found == kMappings.end() ? kGeneralFailure : found->win32;
}

// The directory begins its text with a code in eight hexadecimal digits: a Win32 code, or an
// HRESULT of the security interface, which is none.
Win32Code CodeInFront(std::string_view diagnostic) {
  constexpr std::size_t kDigits = 8;
  constexpr Win32Code kLargest = 0xFFFF;
  if (diagnostic.size() <= kDigits || diagnostic[kDigits] != ':') return 0;
  Win32Code code = 0;
  const char* end = diagnostic.data() + kDigits;
  return std::from_chars(diagnostic.data(), end, code, 16).ptr == end && code <= kLargest ? code
                                                                                          : 0;
}

std::u16string TextOf(int resultCode, std::string_view diagnostic) {
  while (!diagnostic.empty() && (diagnostic.back() == '\n' || diagnostic.back() == '\0')) {
    diagnostic.remove_suffix(1);
  }
  if (!diagnostic.empty()) return ToUtf16(diagnostic);
  if (resultCode == LDAP_OTHER) return u"The server failed for a reason that it does not name.";
  // The library's own codes are negative and all have names.
  const bool named =
      resultCode < 0 || std::ranges::find(kMappings, resultCode, &Mapping::ldap) != kMappings.end();
  return ToUtf16(named ? ldap_err2string(resultCode)
                       : "The server answered with the result code " + std::to_string(resultCode) +
                             ", which has no meaning here.");
}

}  // namespace

HResult HResultFromLdap(int resultCode) { return HResultFromWin32(Win32FromLdap(resultCode)); }

ExtendedError ExtendedErrorFromLdap(int resultCode, std::string_view diagnostic) {
  if (resultCode == LDAP_INVALID_CREDENTIALS) {
    const Win32Code reason = LogonFailureFromDiagnostic(diagnostic);
    return LogonFailure(reason == 0 ? kLogonFailureCode : reason);
  }
  const Win32Code told = CodeInFront(diagnostic);
  return {told == 0 ? Win32FromLdap(resultCode) : told, TextOf(resultCode, diagnostic)};
}

HResult ResultOf(LDAP* handle, LDAPMessage* message, ExtendedError& error) {
  int code = LDAP_SUCCESS;
  LdapText diagnostic;
  LdapTexts referrals;
  if (message != nullptr) {
    const int parsed = ldap_parse_result(handle, message, &code, nullptr, diagnostic.Put(),
                                         referrals.Put(), nullptr, 0);
    if (parsed != LDAP_SUCCESS) code = parsed;
  } else {
    ldap_get_option(handle, LDAP_OPT_RESULT_CODE, &code);
    ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, diagnostic.Put());
  }
  const HResult result = HResultFromLdap(code);
  if (!Failed(result)) return result;
  error = ExtendedErrorFromLdap(code, diagnostic ? diagnostic.get() : "");
  for (char** url = referrals.get(); url != nullptr && *url != nullptr; ++url) {
    error.referrals.push_back(ToUtf16(*url));
  }
  return result;
}

}  // namespace zorvan::platform::posix
