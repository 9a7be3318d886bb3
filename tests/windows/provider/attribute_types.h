// Which ADSTYPE an attribute has, by its syntax in the directory's schema.
#pragma once

#include <string>

#include "platform/windows/windows_headers.h"
#include "provider/ldap_session.h"

namespace zorvan::windows_test {

// Asks the server's schema the first time and remembers. An attribute that the schema does not know
// is ADSTYPE_PROV_SPECIFIC.
ADSTYPE AttributeType(LdapSession& session, const std::wstring& name);

}  // namespace zorvan::windows_test
