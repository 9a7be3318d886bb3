#include "platform/value.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/text.h"
#include "support/scripted_platform.h"

namespace zorvan::platform {
namespace {

TEST(AttributeSet, OwnsWhatItsColumnsReferToAlsoWhenMoved) {
  AttributeSet attributes;
  {
    const std::u16string text = u"a text that is too long to be kept inside a string";
    const support::Octets octets = support::OctetsOf({1, 0, 255});
    const std::vector<Value> texts = {support::TextValue(text), support::TextValue(u"")};
    const std::vector<Value> binaries = {support::OctetsValue(octets)};
    attributes.Add(u"description", {AdsType::kCaseIgnoreString, texts});
    attributes.Add(u"objectSid", {AdsType::kOctetString, binaries});
  }
  const AttributeSet moved = std::move(attributes);

  const Column* description = moved.Find(u"DESCRIPTION");
  ASSERT_NE(description, nullptr);
  EXPECT_EQ(description->type, AdsType::kCaseIgnoreString);
  ASSERT_EQ(description->values.size(), 2U);
  EXPECT_EQ(description->values[0].text, u"a text that is too long to be kept inside a string");
  EXPECT_EQ(description->values[1].text, u"");
  const Column* sid = moved.Find(u"objectSID");
  ASSERT_NE(sid, nullptr);
  EXPECT_EQ(support::Octets(sid->values[0].octets.begin(), sid->values[0].octets.end()),
            support::OctetsOf({1, 0, 255}));
  EXPECT_EQ(moved.Find(u"cn"), nullptr);
}

TEST(TextComparison, FoldsAsciiLettersAndNoOthers) {
  EXPECT_TRUE(EqualsIgnoringCase(u"ObjectSID", u"objectsid"));
  EXPECT_FALSE(EqualsIgnoringCase(u"Ä", u"ä"));
  EXPECT_FALSE(EqualsIgnoringCase(u"@", u"`"));  // a bit apart, like "A" and "a"
  EXPECT_FALSE(EqualsIgnoringCase(u"cn", u"cnx"));
  EXPECT_TRUE(EndsWithIgnoringCase(u"CN=a,dc=Example", u"DC=example"));
  EXPECT_FALSE(EndsWithIgnoringCase(u"e", u"DC=example"));
  EXPECT_TRUE(StartsWithIgnoringCase(u"tsProfilePath", u"TS"));
  EXPECT_FALSE(StartsWithIgnoringCase(u"t", u"ts"));
  EXPECT_EQ(FoldedHash()(u"CN=Ann"), FoldedHash()(u"cn=ann"));
}

}  // namespace
}  // namespace zorvan::platform
