// Account settings that are not plain directory attributes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "platform/directory.h"
#include "platform/result.h"

namespace zorvan::platform {

// WTS_CONFIG_CLASS; the numbers are the platform's.
enum class TerminalServicesClass : std::uint32_t {
  kInitialProgram = 0,
  kWorkingDirectory = 1,
  kInheritInitialProgram = 2,
  kAllowLogon = 3,
  kTimeoutConnections = 4,     // milliseconds
  kTimeoutDisconnections = 5,  // milliseconds
  kTimeoutIdle = 6,            // milliseconds
  kDeviceClientDrives = 7,
  kDeviceClientPrinters = 8,
  kDeviceClientDefaultPrinter = 9,
  kBrokenTimeout = 10,
  kReconnect = 11,
  kModemCallback = 12,
  kModemCallbackNumber = 13,
  kShadowing = 14,
  kProfilePath = 15,
  kHomeDirectory = 16,
  kHomeDirectoryDrive = 17,
  kRemoteHomeDirectory = 18,
};

using TerminalServicesValue = std::variant<std::u16string, std::uint32_t>;

class Accounts {
 public:
  virtual ~Accounts() = default;

  // WTSQueryUserConfigW: one terminal-services setting of a user by logon name (sAMAccountName).
  // Code zero, or a Win32 code with what was said of the failure. The domain (its naming context)
  // and the credentials serve platforms that read the settings from the directory; where the system
  // has a call of its own it asks as the thread's identity. A setting that was never made has the
  // system's default.
  virtual ExtendedError QueryUserConfig(std::u16string_view serverName,
                                        std::u16string_view namingContext,
                                        const Credentials& credentials,
                                        std::u16string_view userName, TerminalServicesClass setting,
                                        TerminalServicesValue& value) = 0;
};

}  // namespace zorvan::platform
