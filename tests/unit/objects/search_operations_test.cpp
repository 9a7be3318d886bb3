#include "objects/search_operations.h"

#include "support/call_fixture.h"

namespace zorvan::objects {
namespace {

using support::Call;

class SearchOperationsTest : public support::CallFixture {};

TEST_F(SearchOperationsTest, FailuresAreToldToTheLogAlone) {
  const std::vector<std::u16string> attributes = {u"cn"};
  const auto search = [&](const char16_t* container) {
    GetObjects(handler, container, u"(cn=*)", attributes, listener);
    EXPECT_EQ(script.openInterfaces, 0U);
  };
  search(u"OU=gone,DC=example,DC=com");
  EXPECT_EQ(log.Count(u"Error Occured while Binding to the LDAP Object "
                      u"LDAP://dc1.example.com/OU=gone,DC=example,DC=com and the error code is : "
                      u"80072030"),
            1U);
  script.Fail(Call::kQuerySearch, platform::kNoInterface, {}, 1);
  search(u"");
  EXPECT_EQ(log.Count(u"80004002"), 1U);
  script.Fail(Call::kExecute, platform::kInvalidFilter, {}, 1);
  search(u"");
  EXPECT_EQ(log.Count(u"80005014"), 1U);
  EXPECT_TRUE(listener.rows.empty());
}

}  // namespace
}  // namespace zorvan::objects
