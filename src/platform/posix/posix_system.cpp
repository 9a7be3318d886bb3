#include "platform/posix/posix_system.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string_view>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

struct MessageText {
  std::uint32_t code;
  std::string_view text;
};

// Win32 codes, those of the 0x8007xxxx results among them.
constexpr MessageText kWin32Texts[] = {
    {0, "The operation succeeded."},
    {2, "The file was not found."},
    {3, "The path was not found."},
    {5, "Access is denied."},
    {6, "The handle is not valid."},
    {8, "There is not enough memory for this request."},
    {13, "The data is not valid."},
    {14, "There is not enough memory for this operation."},
    {31, "The server reports a failure that has no meaning of its own here."},
    {50, "The request is not supported."},
    {53, "The network path was not found."},
    {64, "The network name is no longer available."},
    {67, "The network name was not found."},
    {86, "The network password is not correct."},
    {87, "A parameter is not correct."},
    {122, "The data area passed to a call is too small."},
    {123, "The name, directory name or volume label is written wrongly."},
    {183, "The file exists already."},
    {234, "More data is available."},
    {259, "No more data is available."},
    {1008, "A token that does not exist was referred to."},
    {1056, "The service runs already."},
    {1060, "No such service is installed."},
    {1062, "The service has not been started."},
    {1168, "The element was not found."},
    {1203, "No network provider accepted the path."},
    {1219, "There is already a connection to this server under another user name."},
    {1223, "The operation was given up by the user."},
    {1225, "The remote computer refused the connection."},
    {1311, "No domain controller is available to process the logon."},
    {1312, "This process has no logon session that the server accepts."},
    {1314, "The client lacks a privilege that this needs."},
    {1317, "The account does not exist."},
    {1323, "The password cannot be changed: the current one is not correct."},
    {1325, "The password does not meet the length, history or complexity rules of the domain."},
    {1326, "The user name or the password is wrong."},
    {1327, "Restrictions of the account prevent this user from logging on."},
    {1328, "The user may not log on at this time."},
    {1329, "The user may not log on to this computer."},
    {1330, "The password has expired."},
    {1331, "The account is disabled."},
    {1332, "Some names could not be translated to security identifiers."},
    {1337, "The security identifier is not valid."},
    {1338, "The security descriptor is not valid."},
    {1355, "The domain does not exist or could not be contacted."},
    {1376, "The local group does not exist."},
    {1377, "The account is not a member of the group."},
    {1378, "The account is a member of the group already."},
    {1379, "The local group exists already."},
    {1385, "The user has not been granted this type of logon."},
    {1398, "The clocks of client and server differ too much."},
    {1460, "The operation timed out."},
    {1610, "The configuration data of this computer is damaged."},
    {1722, "The RPC server is unavailable."},
    {1772, "The list of RPC servers has been used up."},
    {1792, "A logon was attempted without a network logon service."},
    {1793, "The account has expired."},
    {1907, "The password must be changed before the first logon."},
    {1909, "The account is locked out."},
    {2202, "The user name is not valid."},
    {2220, "The group name was not found."},
    {2221, "The user name was not found."},
    {2245, "The password does not meet the rules of the domain."},
    {2453, "No domain controller was found for this domain."},
    {5010, "The object is in the list already."},
    {8202, "The directory service refused the operation: the attribute or value is not there."},
    {8203, "The syntax of the attribute is not valid."},
    {8204, "The attribute type is not defined."},
    {8205, "The attribute or value exists already."},
    {8206, "The directory service is busy."},
    {8207, "The directory service is unavailable."},
    {8212, "The directory service could not meet a rule of the object's class."},
    {8213, "The operation is allowed on leaf objects only."},
    {8214, "The relative name of an object cannot be changed this way."},
    {8215, "The class of an object cannot be changed."},
    {8217, "No global catalog is available."},
    {8224, "The directory service reports an operations error."},
    {8225, "The directory service reports a protocol error."},
    {8226, "The time limit of the request was exceeded."},
    {8227, "The size limit of the request was exceeded."},
    {8228, "The administrative limit of the request was exceeded."},
    {8229, "The comparison was false."},
    {8230, "The comparison was true."},
    {8231, "The server does not support this authentication method."},
    {8232, "A stronger authentication is required."},
    {8233, "This authentication method is not suitable."},
    {8234, "The authentication mechanism is unknown."},
    {8235, "The server answered with a referral to another one."},
    {8236, "A critical extension is not available."},
    {8237, "Confidentiality is required: the connection must be encrypted."},
    {8238, "The matching rule is not suitable for the attribute."},
    {8239, "A constraint is violated."},
    {8240, "There is no such object on the server."},
    {8241, "There is a problem with an alias."},
    {8242, "The distinguished name is written wrongly."},
    {8243, "The object is a leaf object."},
    {8244, "An alias could not be followed."},
    {8245, "The server is unwilling to process the request."},
    {8246, "A loop was found."},
    {8247, "The request is against the naming rules."},
    {8248, "The result is too large."},
    {8249, "The request affects several objects that are not on the same server."},
    {8250, "The server is not operational."},
    {8251, "The client reports a local error."},
    {8252, "A value could not be encoded."},
    {8253, "The answer of the server could not be decoded."},
    {8254, "The search filter was not recognised."},
    {8255, "A parameter of the request is not valid."},
    {8256, "The operation is not supported by the server."},
    {8257, "The server returned no result."},
    {8258, "The control was not found."},
    {8259, "A loop was found on the client."},
    {8260, "Too many referrals had to be followed."},
    {8341, "A directory service error has occurred."},
    {8344, "The user's rights do not suffice for this operation."},
};

// Results of other facilities, whole.
constexpr MessageText kResultTexts[] = {
    {0x00005011, "Errors occurred during the operation."},
    {0x00005012, "There are no more rows."},
    {0x00005013, "There are no more columns for this row."},
    {0x80004001, "This is not available on this system."},
    {0x80004002, "The object does not have this interface."},
    {0x80004005, "The operation failed for a reason that is not known more closely."},
    {0x80005000, "The path of the directory object is written wrongly."},
    {0x80005008, "A parameter of the directory call is not valid."},
    {0x8000500C, "A value of the directory could not be converted to its type."},
    {0x8000500D, "The property was not found."},
    {0x8000500E, "The object exists already."},
    {0x80005010, "The column is not set in this row."},
    {0x80005014, "The search filter is written wrongly."},
    {0x8000FFFF, "Something unexpected happened."},
    {0x80090303, "The domain knows no server of this name."},
    {0x8009030C, "The logon was denied."},
    {0x80090317, "The ticket or session has expired."},
    {0x80090331, "Client and server have no encryption algorithm in common."},
};

static_assert(std::ranges::is_sorted(kWin32Texts, {}, &MessageText::code));
static_assert(std::ranges::is_sorted(kResultTexts, {}, &MessageText::code));

template <std::size_t size>
const MessageText* FindText(const MessageText (&texts)[size], std::uint32_t code) {
  const auto* found = std::ranges::lower_bound(texts, code, {}, &MessageText::code);
  return found != std::end(texts) && found->code == code ? found : nullptr;
}

}  // namespace

std::int64_t PosixSystem::CurrentFileTime() {
  constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
  using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<Ticks>(now).count() + kSecondsFrom1601To1970 * 10'000'000;
}

Win32Code PosixSystem::FormatMessageText(std::uint32_t code, std::u16string& text) {
  const bool fromWin32 = (code & 0xFFFF0000U) == 0x80070000U;
  const MessageText* found = FindText(kResultTexts, code);
  if (found == nullptr) found = FindText(kWin32Texts, fromWin32 ? code & 0xFFFFU : code);
  constexpr Win32Code kMessageNotFound = 317;  // ERROR_MR_MID_NOT_FOUND
  if (found == nullptr) return kMessageNotFound;
  text = ToUtf16(found->text);
  return 0;
}

}  // namespace zorvan::platform::posix
