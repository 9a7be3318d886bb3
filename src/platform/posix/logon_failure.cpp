#include "platform/posix/logon_failure.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

namespace zorvan::platform::posix {
namespace {

struct Reason {
  std::uint32_t ntStatus;
  Win32Code code;
  std::u16string_view sentence;
};

constexpr std::u16string_view kWrong = u"The user name is unknown or the password is wrong.";

// STATUS_* of a logon with the ERROR_* that stands for it.
constexpr std::array kReasons{
    Reason{0xC000006D, kLogonFailureCode, kWrong},
    Reason{0xC000006A, kLogonFailureCode, kWrong},
    Reason{0xC0000064, kLogonFailureCode, kWrong},
    Reason{0xC000006E, 1327, u"A restriction of the account does not allow this logon."},
    Reason{0xC000006F, 1328, u"The account may not log on at this hour."},
    Reason{0xC0000070, 1329, u"The account may not log on at this computer."},
    Reason{0xC0000071, 1330, u"The password of the account has expired."},
    Reason{0xC0000072, 1331, u"The account is disabled."},
    Reason{0xC000015B, 1385, u"The account may not log on in this way."},
    Reason{0xC0000133, 1398, u"The clocks of this computer and the server differ too much."},
    Reason{0xC0000193, 1793, u"The account has expired."},
    Reason{0xC0000224, 1907,
           u"The password of the account must be changed before the first logon."},
    Reason{0xC0000234, 1909, u"The account is locked."},
};

}  // namespace

Win32Code LogonFailureFromStatus(std::uint32_t ntStatus) {
  const auto* found = std::ranges::find(kReasons, ntStatus, &Reason::ntStatus);
  return found == kReasons.end() ? kLogonFailureCode : found->code;
}

Win32Code LogonFailureFromDiagnostic(std::string_view diagnostic) {
  constexpr std::string_view kMark = ", data ";
  const std::size_t place = diagnostic.find(kMark);
  if (place == std::string_view::npos) return 0;
  const std::string_view digits = diagnostic.substr(place + kMark.size());
  Win32Code code = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  constexpr Win32Code kNoSuchUser = 1317;  // some servers tell it apart; who logs on need not know
  return code == kNoSuchUser ? kLogonFailureCode : code;
}

ExtendedError LogonFailure(Win32Code code) {
  const auto* found = std::ranges::find(kReasons, code, &Reason::code);
  if (found != kReasons.end()) return {code, std::u16string(found->sentence)};
  return {code, u"The server refused the logon."};
}

}  // namespace zorvan::platform::posix
