#include "platform/posix/posix_accounts.h"

#include <memory>

#include "platform/filter_value.h"

namespace zorvan::platform::posix {
namespace {

constexpr Win32Code kUserNotFound = 2221;  // NERR_UserNotFound
constexpr Win32Code kInvalidParameter = 87;
constexpr Win32Code kInvalidData = 13;
constexpr std::u16string_view kUserParameters[] = {u"userParameters"};

// The Win32 code inside an HResult; one from another facility passes as it is.
Win32Code Win32Of(HResult result) {
  const std::uint32_t bits = Bits(result);
  return (bits & 0xFFFF0000U) == 0x80070000U ? bits & 0xFFFFU : bits;
}

}  // namespace

ExtendedError PosixAccounts::QueryUserConfig(std::u16string_view serverName,
                                             std::u16string_view namingContext,
                                             const Credentials& credentials,
                                             std::u16string_view userName,
                                             TerminalServicesClass setting,
                                             TerminalServicesValue& value) {
  if (serverName.empty() || userName.empty()) return {kInvalidParameter, {}};
  std::u16string path = u"LDAP://" + std::u16string(serverName);
  if (!namingContext.empty()) (path += u'/') += namingContext;
  const std::u16string user = path + u'|' + std::u16string(userName);
  ExtendedError error{lastResult_, {}};
  if (user != lastUser_) {
    error = ReadUser(path, credentials, userName);
    lastResult_ = error.code;
    lastUser_ = user;
  }
  if (lastResult_ == 0) value = lastSettings_.Get(setting);
  return error;
}

ExtendedError PosixAccounts::ReadUser(std::u16string_view path, const Credentials& credentials,
                                      std::u16string_view userName) {
  lastSettings_ = TerminalServicesSettings();
  std::unique_ptr<DirectorySearch> search;
  HResult result =
      directory_.OpenSearch(path, credentials, kSecureAuthentication | kFastBind, search);
  if (Failed(result)) return {Win32Of(result), directory_.LastError().text};
  const std::u16string filter =
      u"(&(objectClass=user)(sAMAccountName=" + EscapeFilterValue(userName) + u"))";
  result = search->ExecuteSearch(filter, kUserParameters);
  if (Succeeded(result)) result = search->GetNextRow();
  if (result == kNoMoreRows) return {kUserNotFound, {}};
  if (Failed(result)) return {Win32Of(result), search->LastError().text};

  Column column;
  if (Failed(search->GetColumn(kUserParameters[0], column)) || column.values.empty()) return {};
  return {lastSettings_.Decode(column.values.front().text) ? 0 : kInvalidData, {}};
}

}  // namespace zorvan::platform::posix
