#include "platform/ranged_name.h"

#include <gtest/gtest.h>

#include "platform/value.h"
#include "support/scripted_platform.h"

namespace zorvan::platform {
namespace {

TEST(RangedName, SaysWhetherTheListGoesOn) {
  EXPECT_FALSE(RangeOf("member;range=0-1499")->last);
  EXPECT_TRUE(RangeOf("memberOf;RANGE=1500-*")->last);
  EXPECT_EQ(RangeOf("userCertificate;binary;range=20-29")->first, 20U);
  for (const char* none :
       {"member", "range=0-9", "member;range=", "member;range=0", "member;range=-9",
        "member;range=0-", "member;range=0-9x", "member;range=0-**", "member;xrange=0-9",
        "member;range=0-99999999999999999999"}) {
    EXPECT_FALSE(RangeOf(none)) << none;
  }
}

TEST(RangedName, IsFoundByTheNameThatWasAskedFor) {
  EXPECT_TRUE(IsPieceOf("Member;range=0-499", "member"));
  EXPECT_TRUE(IsPieceOf("userCertificate;binary;range=0-4", "userCertificate;Binary"));
  EXPECT_TRUE(IsPieceOf("userCertificate;range=0-4;binary", "userCertificate;binary"));
  EXPECT_TRUE(IsPieceOf("member;range=10-*", "member;range=10-19"));
  EXPECT_FALSE(IsPieceOf("member;range=0-9", "member;range=10-19"));
  EXPECT_FALSE(IsPieceOf("member;range=0-499", "memberOf"));
  EXPECT_FALSE(IsPieceOf("memberOf;range=0-499", "member"));
  EXPECT_FALSE(IsPieceOf("userCertificate;range=0-4", "userCertificate;binary"));
  EXPECT_FALSE(IsPieceOf("member;binary", "member")) << "no range, so another attribute";
}

TEST(RangedName, OfASetsAttributeIsFoundWhereThePlainNameHasNoValues) {
  AttributeSet set;
  const Value value = support::TextValue(u"a");
  set.Add(u"member", {AdsType::kDnString, {}});
  set.Add(u"member;range=0-0", {AdsType::kDnString, {&value, 1}});
  const Column* found = set.Find(u"MEMBER");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->values.size(), 1U);
  EXPECT_TRUE(found->ranged && found->cut);
  EXPECT_EQ(set.Find(u"memberOf"), nullptr);
}

}  // namespace
}  // namespace zorvan::platform
