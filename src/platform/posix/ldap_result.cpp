#include "platform/posix/ldap_result.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

struct Mapping {
  int ldap;
  Win32Code win32;
};

// ERROR_DS_* and their like, as the directory's own client gives them.
constexpr std::array kMappings{
    Mapping{LDAP_OPERATIONS_ERROR, 0x2020},
    Mapping{LDAP_PROTOCOL_ERROR, 0x2021},
    Mapping{LDAP_TIMELIMIT_EXCEEDED, 0x2022},
    Mapping{LDAP_SIZELIMIT_EXCEEDED, 0x2023},
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
    Mapping{LDAP_INAPPROPRIATE_AUTH, 0x2029},
    Mapping{LDAP_INVALID_CREDENTIALS, 0x052E},
    Mapping{LDAP_INSUFFICIENT_ACCESS, 0x0005},
    Mapping{LDAP_BUSY, 0x200E},
    Mapping{LDAP_UNAVAILABLE, 0x200F},
    Mapping{LDAP_UNWILLING_TO_PERFORM, 0x2035},
    Mapping{LDAP_NAMING_VIOLATION, 0x2037},
    Mapping{LDAP_OBJECT_CLASS_VIOLATION, 0x2014},
    Mapping{LDAP_NOT_ALLOWED_ON_NONLEAF, 0x2015},
    Mapping{LDAP_NOT_ALLOWED_ON_RDN, 0x2016},
    Mapping{LDAP_ALREADY_EXISTS, 0x1392},
    Mapping{LDAP_NO_OBJECT_CLASS_MODS, 0x2017},
    Mapping{LDAP_SERVER_DOWN, 0x203A},
    Mapping{LDAP_CONNECT_ERROR, 0x203A},
    Mapping{LDAP_TIMEOUT, 0x05B4},
    Mapping{LDAP_FILTER_ERROR, 0x203E},
    Mapping{LDAP_USER_CANCELLED, 0x04C7},
};

constexpr Win32Code kGenericFailure = 0x2020;  // ERROR_DS_OPERATIONS_ERROR

// Codes that say no more than that something went wrong.
bool IsVague(int resultCode) {
  return resultCode == LDAP_OPERATIONS_ERROR || resultCode == LDAP_UNWILLING_TO_PERFORM ||
         resultCode == LDAP_OTHER;
}

// The directory begins its diagnostic text with a Win32 code of eight hexadecimal digits and a colon.
Win32Code CodeInText(std::string_view diagnostic) {
  constexpr std::size_t kDigits = 8;
  if (diagnostic.size() <= kDigits || diagnostic[kDigits] != ':') return 0;
  Win32Code code = 0;
  const auto parsed = std::from_chars(diagnostic.data(), diagnostic.data() + kDigits, code, 16);
  return parsed.ptr == diagnostic.data() + kDigits ? code : 0;
}

}  // namespace

HResult HResultFromLdap(int resultCode, std::string_view diagnostic) {
  if (resultCode == LDAP_SUCCESS) return kOk;
  if (IsVague(resultCode)) {
    if (const Win32Code code = CodeInText(diagnostic); code != 0) return HResultFromWin32(code);
  }
  const auto* found = std::find_if(kMappings.begin(), kMappings.end(),
                                   [&](const Mapping& mapping) { return mapping.ldap == resultCode; });
  return HResultFromWin32(found == kMappings.end() ? kGenericFailure : found->win32);
}

HResult ResultOf(LDAP* handle, LDAPMessage* message, ExtendedError& error) {
  int code = LDAP_SUCCESS;
  char* diagnostic = nullptr;
  if (message != nullptr) {
    const int parsed =
        ldap_parse_result(handle, message, &code, nullptr, &diagnostic, nullptr, nullptr, 0);
    if (parsed != LDAP_SUCCESS) code = parsed;
  } else {
    ldap_get_option(handle, LDAP_OPT_RESULT_CODE, &code);
    ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, &diagnostic);
  }
  const std::string_view text = diagnostic == nullptr ? std::string_view() : diagnostic;
  const HResult result = HResultFromLdap(code, text);
  if (Failed(result)) {
    error.code = CodeInText(text);
    error.text = ToUtf16(text.empty() ? std::string_view(ldap_err2string(code)) : text);
    while (!error.text.empty() && (error.text.back() == u'\n' || error.text.back() == u'\0')) {
      error.text.pop_back();
    }
  }
  ldap_memfree(diagnostic);
  return result;
}

}  // namespace zorvan::platform::posix
