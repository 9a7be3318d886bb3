// Account settings, read from the directory.
#pragma once

#include <string>
#include <string_view>

#include "platform/accounts.h"
#include "platform/directory.h"
#include "platform/posix/terminal_services.h"

namespace zorvan::platform::posix {

class PosixAccounts final : public Accounts {
 public:
  explicit PosixAccounts(Directory& directory) : directory_(directory) {}

  // NERR_UserNotFound when the domain has no such user, ERROR_INVALID_DATA when the user's settings
  // are damaged. A user is read once for as many settings as are asked in a row.
  // What was said of a failure is given with the first of them.
  ExtendedError QueryUserConfig(std::u16string_view serverName, std::u16string_view namingContext,
                                const Credentials& credentials, std::u16string_view userName,
                                TerminalServicesClass setting,
                                TerminalServicesValue& value) override;

 private:
  ExtendedError ReadUser(std::u16string_view path, const Credentials& credentials,
                         std::u16string_view userName);

  Directory& directory_;
  // The user asked for last, "path|name", with what was found.
  std::u16string lastUser_;
  Win32Code lastResult_ = 0;
  TerminalServicesSettings lastSettings_;
};

}  // namespace zorvan::platform::posix
