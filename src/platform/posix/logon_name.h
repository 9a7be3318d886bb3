// The forms in which a user is named: "DOMAIN\user", "user@suffix" and "user".
#pragma once

#include <string>
#include <string_view>

namespace zorvan::platform::posix {

struct LogonName {
  std::string domain;  // flat or DNS name; empty when none was given
  std::string user;    // with its suffix when it is a principal name
  bool isPrincipalName = false;

  static LogonName Parse(std::string_view text) {
    LogonName name;
    const std::size_t backslash = text.find('\\');
    if (backslash != std::string_view::npos) {
      name.domain = text.substr(0, backslash);
      text.remove_prefix(backslash + 1);
    } else {
      name.isPrincipalName = text.find('@') != std::string_view::npos;
    }
    name.user = text;
    return name;
  }

  // What the name says of the user's domain, before a backslash or behind an "@"; empty when it
  // says nothing.
  std::string_view StatedDomain() const {
    if (!isPrincipalName) return domain;
    const std::string_view whole = user;
    return whole.substr(whole.rfind('@') + 1);
  }
};

}  // namespace zorvan::platform::posix
