#include "platform/windows/win32_accounts.h"

#include <cstring>
#include <cwchar>

#include "platform/windows/handles.h"
#include "platform/windows/native_text.h"

namespace zorvan::platform::windows {
namespace {

bool IsText(TerminalServicesClass setting) {
  switch (setting) {
    case TerminalServicesClass::kInitialProgram:
    case TerminalServicesClass::kWorkingDirectory:
    case TerminalServicesClass::kModemCallbackNumber:
    case TerminalServicesClass::kProfilePath:
    case TerminalServicesClass::kHomeDirectory:
    case TerminalServicesClass::kHomeDirectoryDrive:
      return true;
    default:
      return false;
  }
}

}  // namespace

ExtendedError Win32Accounts::QueryUserConfig(std::u16string_view serverName, std::u16string_view,
                                             const Credentials&, std::u16string_view userName,
                                             TerminalServicesClass setting,
                                             TerminalServicesValue& value) {
  if (!IsTellable(serverName) || !IsTellable(userName)) return {ERROR_INVALID_PARAMETER, {}};
  NativeText server(serverName);
  NativeText user(userName);
  WtsMemory<wchar_t> answer;
  DWORD bytes = 0;
  if (!WTSQueryUserConfigW(server.get(), user.get(), static_cast<WTS_CONFIG_CLASS>(setting),
                           answer.Out(), &bytes)) {
    const DWORD code = GetLastError();
    return {code != ERROR_SUCCESS ? code : ERROR_GEN_FAILURE, {}};
  }
  if (IsText(setting)) {
    const std::size_t capacity = answer ? bytes / sizeof(wchar_t) : 0;
    value = std::u16string(TextView(answer.get(), wcsnlen(answer.get(), capacity)));
    return {};
  }
  std::uint32_t number = 0;
  if (!answer || bytes < sizeof(number)) return {ERROR_INVALID_DATA, {}};
  std::memcpy(&number, answer.get(), sizeof(number));
  value = number;
  return {};
}

}  // namespace zorvan::platform::windows
