#include "directory/linked_lookup.h"

#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using support::Call;

class LinkedLookupTest : public support::CallFixture {
 protected:
  LinkedLookup links{handler};
};

TEST_F(LinkedLookupTest, RemembersObjectsAndFailuresWithinTheCall) {
  script.Add(u"CN=Ann,DC=example,DC=com").Texts(u"cn", {u"Ann"});
  const LinkedObject* ann = links.Find(u"CN=Ann,DC=example,DC=com");
  ASSERT_NE(ann, nullptr);
  EXPECT_EQ(ann->commonName, u"Ann");
  EXPECT_EQ(ann->guid, std::nullopt);
  EXPECT_EQ(links.Find(u"cn=ann,dc=EXAMPLE,dc=com"), ann);
  EXPECT_EQ(links.Find(u"CN=gone,DC=example,DC=com")->result, platform::kNoSuchObject);
  EXPECT_EQ(links.Find(u"CN=gone,DC=example,DC=com")->result, platform::kNoSuchObject);
  EXPECT_EQ(script.batches.size(), 2U);
}

TEST_F(LinkedLookupTest, LeavesNamesOfOtherDomainsAlone) {
  EXPECT_EQ(links.Find(u"CN=Ann,DC=other,DC=com"), nullptr);
  EXPECT_FALSE(links.Wants(u"CN=Ann,DC=other,DC=com"));
  EXPECT_TRUE(links.Wants(u"CN=Ann,DC=Example,DC=Com"));
  EXPECT_TRUE(script.batches.empty());
}

TEST_F(LinkedLookupTest, AsksForABatchAtOnceUnderPathsOfTheConnection) {
  script.Add(u"CN=R/D,DC=example,DC=com").Texts(u"cn", {u"R/D"});
  script.Add(u"CN=b,DC=example,DC=com").Texts(u"cn", {u"b"});
  links.Fetch({u"CN=R/D,DC=example,DC=com", u"CN=b,DC=example,DC=com"});
  const std::vector<std::u16string> paths = {u"LDAP://dc1.example.com/CN=R\\/D,DC=example,DC=com",
                                             u"LDAP://dc1.example.com/CN=b,DC=example,DC=com"};
  ASSERT_EQ(script.batches.size(), 1U);
  EXPECT_EQ(script.batches[0], paths);
  for (const support::RecordedBind& bind : script.binds) {
    EXPECT_EQ(bind.userName, u"EXAMPLE\\admin");
    EXPECT_EQ(bind.password, u"secret");
    EXPECT_EQ(bind.flags, 1U);
  }
  EXPECT_EQ(links.Find(u"CN=R/D,DC=example,DC=com")->commonName, u"R/D");
  EXPECT_EQ(links.Find(u"CN=b,DC=example,DC=com")->commonName, u"b");
  EXPECT_EQ(script.batches.size(), 1U);
}

TEST_F(LinkedLookupTest, FindsGroupsBySid) {
  script.Add(u"CN=Domain Users,DC=example,DC=com")
      .Texts(u"cn", {u"Domain Users"})
      .Binary(u"objectSid", support::DomainSid(513));
  const LinkedObject& group = links.FindBySid(support::DomainSid(513));
  EXPECT_EQ(group.result, platform::kOk);
  EXPECT_EQ(group.distinguishedName, u"CN=Domain Users,DC=example,DC=com");
  EXPECT_EQ(group.commonName, u"Domain Users");
  links.FindBySid(support::DomainSid(513));
  EXPECT_EQ(script.batches.size(), 1U);
  EXPECT_EQ(script.batches[0][0],
            u"LDAP://dc1.example.com/"
            u"<SID=01050000000000051500000001000000020000000300000001020000>");
  EXPECT_EQ(links.FindBySid(support::DomainSid(999)).result, platform::kNoSuchObject);
}

TEST_F(LinkedLookupTest, ForgetsEverythingBeforeItRemembersTooMuch) {
  const auto name = [](std::size_t i) {
    const std::string number = std::to_string(i);
    return u"CN=" + std::u16string(number.begin(), number.end()) + u",DC=example,DC=com";
  };
  for (std::size_t i = 0; i < LinkedLookup::kMostRemembered; ++i) links.Find(name(i));
  EXPECT_FALSE(links.Wants(name(0)));
  links.Find(name(LinkedLookup::kMostRemembered));
  EXPECT_TRUE(links.Wants(name(0)));
  EXPECT_FALSE(links.Wants(name(LinkedLookup::kMostRemembered)));
}

}  // namespace
}  // namespace zorvan::directory
