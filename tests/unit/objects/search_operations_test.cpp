#include "objects/search_operations.h"

#include "support/call_fixture.h"

namespace zorvan::objects {
namespace {

using support::Call;

class SearchOperationsTest : public support::CallFixture {
 protected:
  SearchOperationsTest() {
    for (const auto name : {u"a", u"b"}) {
      script.Add(u"CN=" + std::u16string(name) + u",OU=Sales,DC=example,DC=com")
          .Texts(u"cn", {name});
    }
  }

  void Search(const std::optional<std::u16string>& container,
              const std::optional<std::u16string>& filter = u"(cn=*)") {
    GetObjects(handler, container, filter, attributes, listener);
    EXPECT_EQ(script.openInterfaces, 0U);
  }

  std::vector<std::u16string> attributes = {u"cn"};
};

TEST_F(SearchOperationsTest, StreamsWhatTheFilterFindsUnderTheContainer) {
  const std::u16string filter = u"(&(objectClass=user)(!mail=*)(cn=\\2a))";
  Search(u"OU=Sales,DC=example,DC=com", filter);
  ASSERT_EQ(listener.rows.size(), 2U);
  EXPECT_EQ(listener.rows[0].at(u"cn"), support::Texts({u"a"}));
  EXPECT_EQ(script.searches.at(0).path, u"LDAP://dc1.example.com/OU=Sales,DC=example,DC=com");
  EXPECT_EQ(script.searches.at(0).filter, filter);
  EXPECT_EQ(script.binds.at(0).flags, 1U);
  EXPECT_EQ(log.Count(u"Search String is : " + filter), 1U);
}

TEST_F(SearchOperationsTest, TheFirstAnswerOfTheListenerIsNotUsed) {
  listener.completeAfter = 0;
  Search(u"OU=Sales,DC=example,DC=com");
  EXPECT_EQ(listener.rows.size(), 1U);
}

TEST_F(SearchOperationsTest, FailuresAreToldToTheLogAlone) {
  Search(u"OU=gone,DC=example,DC=com");
  EXPECT_EQ(log.Count(u"Error Occured while Binding to the LDAP Object "
                      u"LDAP://dc1.example.com/OU=gone,DC=example,DC=com and the error code is : "
                      u"80072030"),
            1U);
  script.Fail(Call::kQueryDirectorySearch, platform::kNoInterface, {}, 1);
  Search(u"OU=Sales,DC=example,DC=com");
  EXPECT_EQ(log.CountContaining(u"80004002"), 1U);
  script.Fail(Call::kExecuteSearch, platform::kInvalidFilter, {}, 1);
  Search(u"OU=Sales,DC=example,DC=com", u"((");
  EXPECT_EQ(log.CountContaining(u"80005014"), 1U);
  EXPECT_TRUE(listener.rows.empty());
}

TEST_F(SearchOperationsTest, MissingContainerAndFilterAreEmptyOnes) {
  Search(std::nullopt, std::nullopt);
  EXPECT_EQ(script.binds.at(0).path, u"LDAP://dc1.example.com/");
  EXPECT_EQ(script.searches.at(0).filter, u"");
}

}  // namespace
}  // namespace zorvan::objects
