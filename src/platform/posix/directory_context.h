// What the objects that were opened in one call share, and where each of them is.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/directory.h"
#include "platform/posix/call_conditions.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/schema.h"

namespace zorvan::platform::posix {

struct DirectoryContext;

// An object that was opened: where it is, and how the paths of its like begin.
struct LdapTarget {
  std::shared_ptr<LdapConnection> connection;
  std::string dn;
  bool rootDse = false;
  bool referred = false;  // a referral led here; it is not followed further
  std::u16string pathPrefix;
  std::shared_ptr<DirectoryContext> context;
};

struct DirectoryContext {
  CallConditions conditions;
  CallSchemas schemas{conditions};
  ExtendedError openError;

  // Makes the target the object at the server that a referral (the error of a request to the
  // target) names: connected and logged on as its own connection is. Otherwise the target stays as
  // it is, and error says in words where the referral pointed and why it was not followed. Absent
  // once the directory is closed.
  std::function<HResult(LdapTarget& target, ExtendedError& error)> followReferral;
};

}  // namespace zorvan::platform::posix
