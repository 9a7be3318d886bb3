#include "directory/paged_search.h"

#include "directory/bind.h"
#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using platform::SearchPreferenceId;
using support::Call;
using support::RecordedRow;
using support::Texts;

constexpr std::u16string_view kFilter = u"(objectClass=user)";
constexpr std::u16string_view kTotal = u"Total ObjectCount:";

class PagedSearchTest : public support::CallFixture {
 protected:
  void AddUsers(int count) {
    for (int i = 1; i <= count; ++i) {
      const std::string number = std::to_string(i);
      const std::u16string name = u"user" + std::u16string(number.begin(), number.end());
      script.Add(u"CN=" + name + u",DC=example,DC=com")
          .Texts(u"cn", {name})
          .Number(u"userAccountControl", i % 3 == 0 ? 0x202 : 0x200);
    }
  }

  SearchOutcome Stream(FirstAnswer firstAnswer, const RowSelection& selection = {}) {
    std::unique_ptr<platform::DirectorySearch> search;
    EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, support::kNamingContext), search),
              platform::kOk);
    return StreamRows(handler, *search, {kFilter, attributes, scope, tombstones}, firstAnswer,
                      listener, selection);
  }

  std::vector<std::u16string> attributes = {u"cn"};
  platform::SearchScope scope = platform::SearchScope::kSubtree;
  bool tombstones = false;
};

TEST_F(PagedSearchTest, AsksForAPageOfAThousandUnderTheWholeTree) {
  AddUsers(1);
  attributes = {u"mail", u"DISTINGUISHEDNAME", u"cn"};
  Stream(FirstAnswer::kDiscarded);

  ASSERT_EQ(script.searches.size(), 1U);
  const support::RecordedSearch& search = script.searches[0];
  EXPECT_EQ(search.filter, kFilter);
  EXPECT_EQ(search.attributes, attributes);
  const std::vector<std::pair<SearchPreferenceId, std::uint32_t>> expected = {
      {SearchPreferenceId::kSearchScope, 2}, {SearchPreferenceId::kPageSize, 1000}};
  EXPECT_EQ(search.preferences, expected);
}

TEST_F(PagedSearchTest, AsksForTombstonesAndOtherScopesWhereTheyAreWanted) {
  AddUsers(1);
  scope = platform::SearchScope::kOneLevel;
  tombstones = true;
  Stream(FirstAnswer::kDiscarded);
  const std::vector<std::pair<SearchPreferenceId, std::uint32_t>> expected = {
      {SearchPreferenceId::kSearchScope, 1},
      {SearchPreferenceId::kPageSize, 1000},
      {SearchPreferenceId::kTombstone, 1}};
  EXPECT_EQ(script.searches.at(0).preferences, expected);
}

TEST_F(PagedSearchTest, GivesOneListPerAttributeThatTheObjectHas) {
  script.Add(u"CN=a,DC=example,DC=com")
      .Texts(u"proxyAddresses", {u"smtp:b@x", u"SMTP:a@x", u"smtp:a@y"})
      .Number(u"badPwdCount", 3)
      .Binary(u"objectSid", support::DomainSid(1105))
      .Binary(u"nTSecurityDescriptor", support::OctetsOf({1, 0}),
              platform::AdsType::kNtSecurityDescriptor);
  attributes = {u"PROXYaddresses", u"badPwdCount", u"mail",
                u"objectSid",      u"noSuchThing", u"nTSecurityDescriptor"};
  Stream(FirstAnswer::kDiscarded);

  ASSERT_EQ(listener.rows.size(), 1U);
  RecordedRow row = listener.rows[0];
  row.erase(u"nTSecurityDescriptor");  // absent or empty, but without a text
  const RecordedRow expected = {
      {u"PROXYaddresses", Texts({u"smtp:b@x", u"SMTP:a@x", u"smtp:a@y"})},
      {u"badPwdCount", Texts({u"3"})},
      {u"objectSid", Texts({u"S-1-5-21-1-2-3-1105"})},
  };
  EXPECT_EQ(row, expected);
  EXPECT_EQ(log.CountContaining(u"Error in getting the column"), 0U);
}

TEST_F(PagedSearchTest, AnEmptyAttributeListGivesTheNameOfEveryObject) {
  AddUsers(2);
  attributes.clear();
  Stream(FirstAnswer::kDiscarded);
  const std::vector<RecordedRow> expected = {
      {{u"distinguishedName", Texts({u"CN=user1,DC=example,DC=com"})}},
      {{u"distinguishedName", Texts({u"CN=user2,DC=example,DC=com"})}}};
  EXPECT_EQ(listener.rows, expected);
}

TEST_F(PagedSearchTest, CountsTheRowsInTheLog) {
  AddUsers(120);
  const SearchOutcome outcome = Stream(FirstAnswer::kDiscarded);
  EXPECT_EQ(outcome.rows, 120U);
  EXPECT_TRUE(platform::Succeeded(outcome.result));
  EXPECT_EQ(log.Count(u"ObjectCount:50\t"), 1U);
  EXPECT_EQ(log.Count(u"ObjectCount:100\t"), 1U);
  EXPECT_EQ(log.Count(u"Total ObjectCount:120\t"), 1U);
  EXPECT_EQ(log.CountContaining(u"ObjectCount:"), 3U);
  EXPECT_EQ(log.Count(u"Getting the Properties for the DN : CN=user7,DC=example,DC=com "), 1U);
}

TEST_F(PagedSearchTest, NothingFoundIsNoFailure) {
  script.Answer(kFilter, {});
  script.Add(u"DC=example,DC=com");
  const SearchOutcome outcome = Stream(FirstAnswer::kDiscarded);
  EXPECT_TRUE(platform::Succeeded(outcome.result));
  EXPECT_TRUE(listener.rows.empty());
  EXPECT_EQ(log.Count(u"Total ObjectCount:0\t"), 1U);
}

TEST_F(PagedSearchTest, AListenerThatIsCompletedFromTheStartGetsOneRowOrNone) {
  AddUsers(3);
  listener.completeAfter = 0;
  EXPECT_EQ(Stream(FirstAnswer::kDiscarded).rows, 1U);
  EXPECT_EQ(listener.rows.size(), 1U);
  EXPECT_EQ(listener.asked, 2U);

  listener.rows.clear();
  listener.asked = 0;
  EXPECT_EQ(Stream(FirstAnswer::kHonoured).rows, 0U);
  EXPECT_TRUE(listener.rows.empty());
  EXPECT_EQ(listener.asked, 1U);
}

TEST_F(PagedSearchTest, StopsInTheMiddleOfAPage) {
  AddUsers(10);
  listener.completeAfter = 4;
  const SearchOutcome outcome = Stream(FirstAnswer::kHonoured);
  EXPECT_EQ(listener.rows.size(), 4U);
  EXPECT_EQ(outcome.rows, 4U);
  EXPECT_TRUE(platform::Succeeded(outcome.result));
  EXPECT_EQ(listener.asked, 5U);  // before the first row and after each
  EXPECT_EQ(log.Count(u"Total ObjectCount:4\t"), 1U);
  EXPECT_EQ(script.openInterfaces, 0U);
}

TEST_F(PagedSearchTest, KeepsTheRowsBeforeASearchBreaksOffAndTellsWhy) {
  AddUsers(10);
  script.Fail(Call::kGetNextRow, platform::kServerDown, {}, 4);
  const SearchOutcome outcome = Stream(FirstAnswer::kHonoured);
  EXPECT_EQ(listener.rows.size(), 3U);
  EXPECT_EQ(outcome.rows, 3U);
  EXPECT_EQ(outcome.result, platform::kServerDown);
  EXPECT_EQ(log.CountContaining(u"8007203a"), 1U);
  EXPECT_EQ(log.CountContaining(kTotal), 1U);
}

TEST_F(PagedSearchTest, ASearchThatDoesNotStartAsksTheListenerNothing) {
  AddUsers(1);
  script.Fail(Call::kExecuteSearch, platform::kInvalidFilter, {}, 1);
  script.Fail(Call::kSetSearchPreference, platform::kFailure, {}, 2);
  EXPECT_EQ(Stream(FirstAnswer::kHonoured).result, platform::kInvalidFilter);
  EXPECT_EQ(Stream(FirstAnswer::kHonoured).result, platform::kFailure);
  EXPECT_EQ(listener.asked, 0U);
  EXPECT_EQ(log.CountContaining(u"80005014"), 1U);
  EXPECT_EQ(log.CountContaining(u"80004005"), 1U);
}

TEST_F(PagedSearchTest, AColumnThatCannotBeReadIsLeftOutOfItsRow) {
  AddUsers(2);
  attributes = {u"cn", u"userAccountControl"};
  script.Fail(Call::kGetColumn, platform::kFailure, u"cn", 1);
  Stream(FirstAnswer::kHonoured);
  const std::vector<RecordedRow> expected = {
      {{u"userAccountControl", Texts({u"512"})}},
      {{u"cn", Texts({u"user2"})}, {u"userAccountControl", Texts({u"512"})}}};
  EXPECT_EQ(listener.rows, expected);
  EXPECT_EQ(log.Count(u"Error in getting the column cn and the error code : 80004005"), 1U);
}

TEST_F(PagedSearchTest, HandsOverOnlyTheRowsThatAreKept) {
  AddUsers(9);
  const RowSelection everyThird = {{u"userAccountControl"}, [](platform::DirectorySearch& search) {
                                     platform::Column column;
                                     return search.GetColumn(u"userAccountControl", column) ==
                                                platform::kOk &&
                                            column.values[0].number == 0x202;
                                   }};
  const SearchOutcome outcome = Stream(FirstAnswer::kHonoured, everyThird);
  const std::vector<RecordedRow> expected = {
      {{u"cn", Texts({u"user3"})}}, {{u"cn", Texts({u"user6"})}}, {{u"cn", Texts({u"user9"})}}};
  EXPECT_EQ(listener.rows, expected);
  EXPECT_EQ(outcome.rows, 3U);
}

TEST_F(PagedSearchTest, AsksTheListenerBeforeEveryRowOfTheDirectoryAlsoWhenNoneIsKept) {
  AddUsers(9);
  const RowSelection none = {{}, [this](platform::DirectorySearch&) {
                               listener.completeAfter = 0;
                               return false;
                             }};
  Stream(FirstAnswer::kHonoured, none);
  EXPECT_EQ(listener.asked, 2U);
}

}  // namespace
}  // namespace zorvan::directory
