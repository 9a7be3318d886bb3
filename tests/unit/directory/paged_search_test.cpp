#include "directory/paged_search.h"

#include "directory/bind.h"
#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using platform::SearchPreferenceId;
using support::Call;

class PagedSearchTest : public support::CallFixture {
 protected:
  void AddUsers(int count) {
    for (int i = 1; i <= count; ++i) {
      const std::string number = std::to_string(i);
      const std::u16string name = u"user" + std::u16string(number.begin(), number.end());
      script.Add(u"CN=" + name + u",DC=example,DC=com").Texts(u"cn", {name}).Number(u"codePage", 7);
    }
  }

  SearchOutcome Stream(const RowSelection& selection = {}) {
    std::unique_ptr<platform::DirectorySearch> search;
    EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, support::kNamingContext), search),
              platform::kOk);
    return StreamRows(handler, *search, {u"(cn=*)", attributes, scope, tombstones},
                      FirstAnswer::kHonoured, listener, selection);
  }

  std::vector<std::u16string> attributes = {u"cn"};
  platform::SearchScope scope = platform::SearchScope::kSubtree;
  bool tombstones = false;
};

TEST_F(PagedSearchTest, AsksForPagesOfAThousandAndForTombstonesAndOtherScopesWhereTheyAreWanted) {
  AddUsers(1);
  attributes = {u"mail", u"DISTINGUISHEDNAME", u"cn"};
  Stream();
  scope = platform::SearchScope::kOneLevel;
  tombstones = true;
  Stream();
  using Preferences = std::vector<std::pair<SearchPreferenceId, std::uint32_t>>;
  const Preferences usual = {{SearchPreferenceId::kSearchScope, 2},
                             {SearchPreferenceId::kPageSize, 1000}};
  const Preferences other = {{SearchPreferenceId::kSearchScope, 1},
                             {SearchPreferenceId::kPageSize, 1000},
                             {SearchPreferenceId::kTombstone, 1}};
  EXPECT_EQ(script.searches.at(0).attributes, attributes) << "no name twice";
  EXPECT_EQ(script.searches.at(0).preferences, usual);
  EXPECT_EQ(script.searches.at(1).preferences, other);
}

TEST_F(PagedSearchTest, CountsTheRowsInTheLog) {
  AddUsers(120);
  EXPECT_EQ(Stream().rows, 120U);
  EXPECT_EQ(log.Count(u"ObjectCount:50\t"), 1U);
  EXPECT_EQ(log.Count(u"ObjectCount:100\t"), 1U);
  EXPECT_EQ(log.Count(u"Total ObjectCount:120\t"), 1U);
  EXPECT_EQ(log.Count(u"ObjectCount:"), 3U);
  EXPECT_EQ(log.Count(u"Getting the Properties for the DN : CN=user7,DC=example,DC=com "), 1U);
}

TEST_F(PagedSearchTest, ASearchThatDoesNotStartAsksTheListenerNothing) {
  AddUsers(1);
  script.Fail(Call::kExecute, platform::kInvalidFilter, {}, 1);
  script.Fail(Call::kPrefer, platform::kFailure, {}, 2);
  EXPECT_EQ(Stream().result, platform::kInvalidFilter);
  EXPECT_EQ(Stream().result, platform::kFailure);
  EXPECT_EQ(listener.asked, 0U);
  EXPECT_EQ(log.Count(u"80005014"), 1U);
  EXPECT_EQ(log.Count(u"80004005"), 1U);
}

TEST_F(PagedSearchTest, AFailureIsFollowedByWhatTheDirectorySaidOfIt) {
  AddUsers(3);
  script.extendedError = {8206, u"too busy"};
  support::RecordingObserver observer;
  handler.observer = &observer;
  script.Fail(Call::kExecute, platform::kFailure, {}, 1);
  Stream();
  EXPECT_EQ(log.lines.back().text, u"The directory said: too busy (200e)");
  script.Fail(Call::kNextRow, platform::kServerDown, {}, 2);
  EXPECT_EQ(Stream().rows, 1U);
  EXPECT_EQ(log.lines.at(log.lines.size() - 2).text, u"The directory said: too busy (200e)");
  EXPECT_EQ(log.lines.back().level, call::kMilestone);
  script.extendedError = {};
  script.Fail(Call::kNextRow, platform::kTimedOut, {}, 1);
  Stream();
  const auto kind = platform::NoticeKind::kSearchFailed;
  const std::vector<support::RecordedNotice> notices = {
      {kind, u"(cn=*)", u"too busy (200e)", 0x80004005},
      {kind, u"(cn=*)", u"too busy (200e)", 0x8007203A},
      {kind, u"(cn=*)", u"", 0x800705B4}};
  EXPECT_EQ(observer.notices, notices);
  handler.observer = nullptr;
}

TEST_F(PagedSearchTest, AColumnThatCannotBeReadIsLeftOutOfItsRow) {
  AddUsers(2);
  attributes = {u"cn", u"codePage"};
  script.Fail(Call::kColumn, platform::kFailure, u"cn", 1);
  Stream();
  const std::vector<std::u16string> expected = {u"codePage=[7]", u"cn=[user2], codePage=[7]"};
  EXPECT_EQ(listener.rows, expected);
  EXPECT_EQ(log.Count(u"Error in getting the column cn and the error code : 80004005"), 1U);
}

TEST_F(PagedSearchTest, AsksTheListenerBeforeEveryRowOfTheDirectoryAlsoWhenNoneIsKept) {
  AddUsers(9);
  const RowSelection none = {{}, [this](platform::DirectorySearch&) {
                               listener.completed = true;
                               return false;
                             }};
  Stream(none);
  EXPECT_EQ(listener.asked, 2U);
  EXPECT_TRUE(listener.rows.empty());
}

TEST_F(PagedSearchTest, EndsQuietlyWhenTheCallerWantsNoMoreAndKeepsTheRowInHand) {
  AddUsers(3);
  support::ScriptedObserver observer;
  handler.observer = &observer;
  std::uint32_t seen = 0;
  const RowSelection second = {{}, [&](platform::DirectorySearch&) {
                                 observer.cancelled = ++seen == 2;
                                 return true;
                               }};
  SearchOutcome outcome = Stream(second);
  EXPECT_EQ(outcome.result, platform::kOk);
  EXPECT_EQ(outcome.rows, 1U);
  EXPECT_EQ(listener.rows.size(), 1U) << "the second row may lack what was no longer read";

  script.Fail(Call::kNextRow, platform::kCancelled);
  EXPECT_EQ(Stream().result, platform::kOk);
  EXPECT_EQ(log.Count(u"broke off"), 0U);
  observer.cancelled = false;
  EXPECT_EQ(Stream().result, platform::kCancelled) << "not the caller's doing";
  script.Fail(Call::kExecute, platform::kCancelled);
  EXPECT_EQ(Stream().result, platform::kCancelled);
  observer.cancelled = true;
  EXPECT_EQ(Stream().result, platform::kOk);
  EXPECT_EQ(log.Count(u"800704c7"), 2U) << "failures in the log";
}

}  // namespace
}  // namespace zorvan::directory
