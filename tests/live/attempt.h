// What the tests that log on themselves share.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/ldap_connection.h"
#include "platform/posix/unicode.h"
#include "test_domain.h"

namespace zorvan::live {

// One try to open a connection, and what came of it.
struct Attempt {
  platform::HResult result = platform::kUnexpected;
  platform::ExtendedError error;
  std::unique_ptr<platform::posix::LdapConnection> connection;
  std::string words() const { return platform::posix::ToUtf8(error.text); }
};

// What the server's own database says of the wrong passwords that the reader gave.
inline std::vector<std::string> WrongPasswords() {
  return TestDomain::Get().Stored("(sAMAccountName=reader)", "badPwdCount");
}

}  // namespace zorvan::live
