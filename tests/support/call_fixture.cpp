#include "support/call_fixture.h"

namespace zorvan::support {

CallFixture::CallFixture() {
  call::DomainSettings& settings = handler.settings;
  settings.domainName = u"example.com";
  settings.userDomainName = u"EXAMPLE";
  settings.serverName = u"dc1.example.com";
  settings.userName = u"admin";
  settings.userDistinguishedName = u"CN=admin,CN=Users,DC=example,DC=com";
  settings.logonName = u"EXAMPLE\\admin";
  settings.password = u"secret";
  settings.defaultNamingContext = kNamingContext;
  settings.ldapRootPath = kRootPath;
}

}  // namespace zorvan::support
