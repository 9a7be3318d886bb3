#include "call/row.h"

#include <gtest/gtest.h>

#include "support/recording.h"

namespace zorvan::call {
namespace {

using support::TextOf;

TEST(KeyTable, GivesTheSameIdToTheSameLettersOnly) {
  KeyTable keys;
  const KeyId first = keys.Intern(u"memberOf");
  EXPECT_EQ(keys.Intern(u"memberOf"), first);
  EXPECT_NE(keys.Intern(u"memberof"), first);
  // Names stay where they are however many follow.
  const std::u16string_view name = keys.NameOf(first);
  for (int i = 0; i < 1000; ++i) keys.Intern(u"key" + std::u16string(1, static_cast<char16_t>(i)));
  EXPECT_EQ(keys.NameOf(first).data(), name.data());
  EXPECT_EQ(keys.size(), 1002U);
}

class RowTest : public testing::Test {
 protected:
  void AddStaff() {
    row.BeginList(groups);
    row.BeginRow();
    row.PutText(cn, u"Staff");
    row.EndRow();
  }

  KeyTable keys;
  Row row;
  const KeyId cn = keys.Intern(u"cn");
  const KeyId mail = keys.Intern(u"mail");
  const KeyId groups = keys.Intern(u"memberOf");
};

TEST_F(RowTest, HoldsTextsListsAndRowsInsideEachOtherAndTakesBackWhatWasBegun) {
  row.PutText(cn, u"Jürgen 😀");
  AddStaff();
  row.AddText(u"");
  row.EndList();
  const std::size_t before = row.tokens().size();
  row.BeginList(groups);
  row.AddText(u"gone");
  row.Truncate(before);
  row.BeginRow(mail);
  row.EndRow();
  EXPECT_EQ(TextOf(row, keys), u"cn=Jürgen 😀, memberOf=[{cn=Staff}, ], mail={}");
  EXPECT_EQ(row.texts(), u"Jürgen 😀Staff");

  row.Clear();
  EXPECT_TRUE(row.empty());
}

TEST_F(RowTest, FirstTextIsThatOfTheRowItselfNotOfARowInIt) {
  AddStaff();
  row.EndList();
  EXPECT_EQ(row.FirstText(cn), std::nullopt);
  EXPECT_EQ(row.FirstText(groups), std::nullopt);
  row.BeginList(cn);
  row.AddText(u"first");
  row.AddText(u"second");
  row.EndList();
  row.PutText(mail, u"ann@example.com");
  EXPECT_EQ(row.FirstText(cn), u"first");
  EXPECT_EQ(row.FirstText(mail), u"ann@example.com");
}

}  // namespace
}  // namespace zorvan::call
