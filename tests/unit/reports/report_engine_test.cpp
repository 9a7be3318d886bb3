#include "reports/report_engine.h"

#include "support/call_fixture.h"

namespace zorvan::reports {
namespace {

using support::Call;
using Entries = std::vector<std::u16string>;

constexpr std::u16string_view kPath = u"LDAP://dc1.example.com/DC=example,DC=com";

class ReportEngineTest : public support::CallFixture {
 protected:
  ReportEngineTest() {
    AddUser(u"enabled", 0x200);
    AddUser(u"disabled", 0x202);
    AddUser(u"disabled smart card", 0x40202);
  }

  void AddUser(std::u16string_view name, std::int64_t flags) {
    script.Add(u"CN=" + std::u16string(name) + u",DC=example,DC=com")
        .Texts(u"cn", {std::u16string(name)})
        .Number(u"userAccountControl", flags);
  }

  void Run(std::string_view method, const std::vector<ReportArgument>& arguments = {}) {
    const ReportDefinition* report = FindReport(method);
    ASSERT_NE(report, nullptr);
    errors.entries.clear();
    RunReport(handler, *report, {std::u16string(support::kNamingContext), attributes, arguments},
              listener, errors);
    EXPECT_EQ(script.openInterfaces, 0U);
  }

  void ExpectOneError(const std::u16string& what) {
    EXPECT_EQ(errors.entries, Entries{what + u" on example.com"});
  }

  std::vector<std::u16string> attributes = {u"cn"};
};

TEST_F(ReportEngineTest, TellsTheLogWhatItDoesInOrder) {
  Run("GetEnabledAccounts");
  EXPECT_EQ(listener.rows.size(), 3U);
  EXPECT_EQ(errors.entries, Entries());
  EXPECT_EQ(script.binds.at(0).flags, 1U);

  const std::u16string filter =
      u"(&(objectCategory=person)(objectClass=user)(!(sAMAccountType=805306370))"
      u"(!(userAccountControl:1.2.840.113556.1.4.803:=2)))";
  EXPECT_EQ(script.searches.at(0).filter, filter);
  std::vector<std::u16string> milestones;
  for (const auto& line : log.lines) {
    if (line.level == 1) milestones.push_back(line.text);
  }
  const std::vector<std::u16string> expected = {
      u"Getting EnabledAccounts starts", u"Getting Object properties with filter " + filter + u"\t",
      u"Total ObjectCount:3\t", u"Getting EnabledAccounts Finished"};
  EXPECT_EQ(milestones, expected);
  EXPECT_EQ(log.lines.front().text, expected.front());
  EXPECT_EQ(log.lines.back().text, expected.back());
}

TEST_F(ReportEngineTest, AFailedBindIsOneErrorAndNoRow) {
  const std::tuple<platform::HResult, std::u16string, std::u16string> cases[] = {
      {platform::kNoReadPermission, u"8007200a", u"no_view_permission"},
      {platform::kLogonFailure, u"8007052e", u"authentication"}};
  support::RecordingObserver observer;
  handler.observer = &observer;
  script.extendedError = {0x533, u"disabled"};
  for (const auto& [result, code, key] : cases) {
    script.servers[u"dc1.example.com"] = result;
    Run("GetUsers");
    ExpectOneError(u"SEVERE " + code + u" halden.reports.native.failure." + key);
    EXPECT_EQ(log.Count(u"Object Bind Failed,bind str: " + std::u16string(kPath) +
                        u",error code: " + code),
              1U);
    EXPECT_EQ(log.lines.back().text, u"Getting Users Finished");
    const support::RecordedNotice notice = {platform::NoticeKind::kOpenFailed,
                                            std::u16string(kPath), u"disabled (533)",
                                            platform::Bits(result)};
    EXPECT_EQ(observer.notices.back(), notice);
  }
  EXPECT_EQ(observer.notices.size(), std::size(cases));
  EXPECT_EQ(listener.asked, 0U);
  EXPECT_TRUE(script.searches.empty());
}

TEST_F(ReportEngineTest, WhatTheCallerEndedIsNoErrorOfTheReport) {
  support::ScriptedObserver observer;
  handler.observer = &observer;
  observer.cancelled = true;
  script.servers[u"dc1.example.com"] = platform::kCancelled;
  Run("GetEnabledAccounts");
  EXPECT_EQ(errors.entries, Entries());
  EXPECT_EQ(log.Count(u"800704c7"), 0U);
  script.servers.clear();
  script.Fail(Call::kExecute, platform::kCancelled);
  Run("GetEnabledAccounts");
  EXPECT_EQ(errors.entries, Entries());
  observer.cancelled = false;
  Run("GetEnabledAccounts");
  ExpectOneError(u"SEVERE 800704c7 halden.reports.native.failure.authentication");
}

TEST_F(ReportEngineTest, ASearchThatBreaksOffNeverPassesForAWholeOne) {
  script.Fail(Call::kNextRow, platform::kServerDown, {}, 3);
  Run("GetUsers");
  EXPECT_EQ(listener.rows.size(), 2U);
  ExpectOneError(u"WARNING 8007203a halden.reports.native.failure.authentication");
  EXPECT_EQ(log.Count(u"Total ObjectCount:2\t"), 1U);
  script.Fail(Call::kExecute, platform::kNoSuchObject);
  Run("GetUsers");
  ExpectOneError(u"SEVERE 80072030 halden.reports.native.failure.object_not_found");
}

TEST_F(ReportEngineTest, AnAccountWhoseFlagsCannotBeReadIsToldToTheLog) {
  script.Fail(Call::kColumn, platform::kAccessDenied, u"userAccountControl", 2);
  Run("GetDisabledAccounts");
  EXPECT_EQ(listener.rows, Entries{u"cn=[disabled smart card]"});
  EXPECT_EQ(log.Count(u"Error in getting the User Attributes while account status based users and "
                      u"the error code is 80070005"),
            1U);
}

TEST_F(ReportEngineTest, AMissingParameterClaimsNoBind) {
  script.messages[0x80070057] = u"A parameter is not correct.";
  Run("GetManagerBasedUsers", {std::nullopt});
  EXPECT_EQ(errors.entries,
            Entries{u"SEVERE 80070057  on example.com: A parameter is not correct."});
  EXPECT_TRUE(script.binds.empty());
  EXPECT_EQ(log.Count(u"Bind"), 0U);
  EXPECT_EQ(log.Count(u"has no value for a parameter of its filter"), 1U);
}

TEST_F(ReportEngineTest, ADeletedObjectOfUnknownClassIsListedAsNothing) {
  const auto name = [](std::u16string_view commonName) {
    return u"CN=" + std::u16string(commonName) + u",CN=Deleted Objects,DC=example,DC=com";
  };
  const std::u16string filter = u"(&(isDeleted=TRUE)(whenChanged>=0))";
  script.answers[filter] = {name(u"user"), name(u"computer"), name(u"bare"), name(u"barred")};
  script.Add(name(u"user")).Texts(u"cn", {u"user"}).Texts(u"objectClass", {u"user"});
  script.Add(name(u"computer")).Texts(u"cn", {u"pc"}).Texts(u"objectClass", {u"user", u"computer"});
  script.Add(name(u"bare")).Texts(u"cn", {u"bare"});
  script.Add(name(u"barred")).Texts(u"cn", {u"b"}).Texts(u"objectClass", {u"user", u"computer"});
  script.servers[u"dc1.example.com"] = platform::kOk;  // the container of deleted objects is there
  for (const auto& [report, row] : {std::pair{"GetRecentlyDeletedUsers", u"cn=[user]"},
                                    std::pair{"GetRecentlyDeletedComputers", u"cn=[pc]"}}) {
    // The last one's classes can be read once only.
    script.Fail(Call::kColumn, platform::kAccessDenied, u"objectClass", 7);
    listener.rows.clear();
    Run(report, {u"0"});
    EXPECT_EQ(listener.rows, Entries{row});
  }
  const std::u16string line = u"The class of the deleted object ";
  EXPECT_EQ(log.Count(line + name(u"bare") + u" cannot be read"), 2U);
  EXPECT_EQ(log.Count(line + name(u"barred") + u" cannot be read"), 2U);
}

TEST_F(ReportEngineTest, ReportsOfOneControllerSearchThatController) {
  Run("GetRecentlyBadLoginUsers", {u"dc2.example.com", 0});
  Run("GetNeverLoggedInUsers", {std::nullopt});
  Run("GetNeverLoggedInUsers", {u""});
  ASSERT_EQ(script.binds.size(), 3U);
  EXPECT_EQ(script.binds[0].path, u"LDAP://dc2.example.com/DC=example,DC=com");
  EXPECT_EQ(script.binds[1].path, kPath);
  EXPECT_EQ(script.binds[2].path, kPath);
}

}  // namespace
}  // namespace zorvan::reports
