// Account settings through Win32.
#pragma once

#include "platform/accounts.h"

namespace zorvan::platform::windows {

class Win32Accounts : public Accounts {
 public:
  // Asks as the thread's identity: the call takes no credentials.
  ExtendedError QueryUserConfig(std::u16string_view serverName, std::u16string_view namingContext,
                                const Credentials& credentials, std::u16string_view userName,
                                TerminalServicesClass setting,
                                TerminalServicesValue& value) override;
};

}  // namespace zorvan::platform::windows
