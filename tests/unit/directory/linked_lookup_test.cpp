#include "directory/linked_lookup.h"

#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

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
  EXPECT_EQ(links.Find(u"CN=Ann,DC=other,DC=com"), nullptr) << "of another domain";
  EXPECT_FALSE(links.Wants(u"CN=Ann,DC=other,DC=com"));
  EXPECT_EQ(links.Find(u"CN=Ann,DC=child,DC=example,DC=com"), nullptr);
  EXPECT_EQ(script.batches.size(), 2U);
}

TEST_F(LinkedLookupTest, AsksForABatchAtOnceUnderPathsOfTheConnection) {
  links.Fetch({u"CN=R/D,DC=example,DC=com", u"CN=b,DC=example,DC=com"});
  links.FindBySid(support::DomainSid(513));
  links.FindBySid(support::DomainSid(513));
  const std::u16string root(support::kRootPath);
  const std::vector<std::vector<std::u16string>> batches = {
      {root + u"CN=R\\/D,DC=example,DC=com", root + u"CN=b,DC=example,DC=com"},
      {root + u"<SID=01050000000000051500000001000000020000000300000001020000>"}};
  EXPECT_EQ(script.batches, batches);
  EXPECT_EQ(script.binds.at(0).password, u"secret");
  EXPECT_EQ(script.binds.at(0).flags, 1U);
}

TEST_F(LinkedLookupTest, ForgetsEverythingBeforeItRemembersTooMuch) {
  const auto name = [](std::size_t i) {
    const std::string number = std::to_string(i);
    return u"CN=" + std::u16string(number.begin(), number.end()) + u",DC=example,DC=com";
  };
  for (std::size_t i = 0; i < LinkedLookup::kMaxRemembered; ++i) links.Find(name(i));
  EXPECT_FALSE(links.Wants(name(0)));
  links.Find(name(LinkedLookup::kMaxRemembered));
  EXPECT_TRUE(links.Wants(name(0)));
  EXPECT_FALSE(links.Wants(name(LinkedLookup::kMaxRemembered)));
}

}  // namespace
}  // namespace zorvan::directory
