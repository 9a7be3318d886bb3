#include "reports/report_engine.h"

#include "support/call_fixture.h"

namespace zorvan::reports {
namespace {

using support::Call;
using support::RecordedError;
using support::RecordedRow;
using support::Texts;

constexpr std::string_view kAuthentication = "halden.reports.native.failure.authentication";
constexpr std::string_view kNoViewPermission = "halden.reports.native.failure.no_view_permission";
constexpr std::string_view kObjectNotFound = "halden.reports.native.failure.object_not_found";
constexpr std::u16string_view kPath = u"LDAP://dc1.example.com/DC=example,DC=com";

class ReportEngineTest : public support::CallFixture {
 protected:
  ReportEngineTest() {
    AddUser(u"enabled", 0x200);
    AddUser(u"disabled", 0x202);
    AddUser(u"smart card", 0x40200);
    AddUser(u"disabled smart card", 0x40202);
  }

  void AddUser(std::u16string_view name, std::int64_t flags) {
    script.Add(u"CN=" + std::u16string(name) + u",DC=example,DC=com")
        .Texts(u"cn", {std::u16string(name)})
        .Texts(u"objectClass", {u"top", u"person", u"user"})
        .Number(u"userAccountControl", flags);
  }

  void Run(std::string_view method, const std::vector<ReportArgument>& arguments = {},
           std::optional<std::u16string> baseDn = std::u16string(support::kNamingContext)) {
    const ReportDefinition* report = FindReport(method);
    ASSERT_NE(report, nullptr);
    RunReport(handler, *report, {std::move(baseDn), attributes, arguments}, listener, errors);
    EXPECT_EQ(script.openInterfaces, 0U);
  }

  void ExpectOneError(std::string_view severity, std::string_view code, std::string_view key) {
    const std::vector<RecordedError> expected = {
        {u"example.com", std::string(severity), std::string(code), std::string(key)}};
    EXPECT_EQ(errors.entries, expected);
  }

  std::vector<std::u16string> Names() const {
    std::vector<std::u16string> names;
    for (const RecordedRow& row : listener.rows) names.push_back(row.at(u"cn").list.at(0).text);
    return names;
  }

  std::vector<std::u16string> attributes = {u"cn"};
};

TEST_F(ReportEngineTest, TellsTheLogWhatItDoesInOrder) {
  Run("GetEnabledAccounts");
  EXPECT_EQ(listener.rows.size(), 4U);
  EXPECT_TRUE(errors.entries.empty());
  ASSERT_EQ(script.binds.size(), 1U);
  EXPECT_EQ(script.binds[0].flags, 1U);
  EXPECT_EQ(script.binds[0].userName, u"EXAMPLE\\admin");
  EXPECT_EQ(script.binds[0].password, u"secret");

  const std::u16string filter =
      u"(&(objectCategory=person)(objectClass=user)(!(sAMAccountType=805306370))"
      u"(!(userAccountControl:1.2.840.113556.1.4.803:=2)))";
  EXPECT_EQ(script.searches.at(0).filter, filter);
  const std::pair<int, std::u16string> steps[] = {
      {1, u"Getting EnabledAccounts starts"},
      {3, u"[ldapDCPath " + std::u16string(kPath) + u"\t networkUserName EXAMPLE\\admin\t]"},
      {1, u"Getting Object properties with filter " + filter + u"\t"},
      {3, u"Getting the Properties for the DN : CN=enabled,DC=example,DC=com "},
      {1, u"Total ObjectCount:4\t"},
      {1, u"Getting EnabledAccounts Finished"},
  };
  std::optional<std::size_t> before;
  for (const auto& [level, text] : steps) {
    const auto position = log.Position(text);
    ASSERT_TRUE(position) << testing::PrintToString(text);
    EXPECT_EQ(log.lines[*position].level, level) << testing::PrintToString(text);
    EXPECT_TRUE(!before || *position > *before) << testing::PrintToString(text);
    before = position;
  }
  EXPECT_EQ(log.lines.front().text, steps[0].second);
  EXPECT_EQ(log.lines.back().text, steps[5].second);
}

TEST_F(ReportEngineTest, AFailedBindIsOneErrorAndNoRow) {
  struct Case {
    platform::HResult result;
    std::u16string code;
    std::string_view key;
  };
  const Case cases[] = {{platform::kNoReadPermission, u"8007200a", kNoViewPermission},
                        {platform::kLogonFailure, u"8007052e", kAuthentication},
                        {platform::kNoSuchObject, u"80072030", kAuthentication},
                        {platform::kServerDown, u"8007203a", kAuthentication}};
  for (const Case& each : cases) {
    SCOPED_TRACE(testing::PrintToString(each.code));
    script.SetServer(u"dc1.example.com", each.result);
    errors.entries.clear();
    log.lines.clear();
    Run("GetUsers");
    ExpectOneError("SEVERE", std::string(each.code.begin(), each.code.end()), each.key);
    EXPECT_EQ(log.Count(u"Object Bind Failed,bind str: " + std::u16string(kPath) +
                        u",error code: " + each.code),
              1U);
    EXPECT_EQ(log.lines.back().text, u"Getting Users Finished");
  }
  EXPECT_TRUE(listener.rows.empty());
  EXPECT_EQ(listener.asked, 0U);
  EXPECT_TRUE(script.searches.empty());
}

TEST_F(ReportEngineTest, ABaseThatIsNotThereOrTooLongIsAnError) {
  Run("GetUsers", {}, u"OU=gone,DC=example,DC=com");
  ExpectOneError("SEVERE", "80072030", kAuthentication);
  errors.entries.clear();
  Run("GetUsers", {}, std::u16string(300, u'a'));
  ExpectOneError("SEVERE", "80005000", kAuthentication);
  EXPECT_EQ(script.binds.size(), 1U);
  errors.entries.clear();
  Run("GetUsers", {}, std::nullopt);
  EXPECT_EQ(script.binds.at(1).path, u"LDAP://dc1.example.com/");
}

TEST_F(ReportEngineTest, ASearchThatBreaksOffNeverPassesForAWholeOne) {
  script.Fail(Call::kGetNextRow, platform::kServerDown, {}, 3);
  Run("GetUsers");
  EXPECT_EQ(listener.rows.size(), 2U);
  ExpectOneError("WARNING", "8007203a", kAuthentication);

  errors.entries.clear();
  script.Fail(Call::kExecuteSearch, platform::kNoSuchObject);
  Run("GetUsers");
  ExpectOneError("SEVERE", "80072030", kObjectNotFound);
  EXPECT_EQ(listener.rows.size(), 2U);
}

TEST_F(ReportEngineTest, AListenerThatHasEnoughFromTheStartGetsNothing) {
  listener.completeAfter = 0;
  Run("GetUsers");
  EXPECT_TRUE(listener.rows.empty());
  EXPECT_TRUE(errors.entries.empty());
  EXPECT_EQ(log.Count(u"Getting Users Finished"), 1U);
}

TEST_F(ReportEngineTest, AccountFlagReportsKeepTheRowsThatHaveTheFlag) {
  Run("GetDisabledAccounts");
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"disabled", u"disabled smart card"}));
  EXPECT_EQ(log.Count(u"Getting AccountStatus QueryValues"), 1U);
  EXPECT_EQ(script.searches.at(0).filter,
            u"(&(objectCategory=person)(objectClass=user)(!(sAMAccountType=805306370)))");
  listener.rows.clear();
  Run("GetSmartCardEnabledUsers");
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"smart card", u"disabled smart card"}));
  EXPECT_FALSE(listener.rows[0].contains(u"userAccountControl")) << "it was not asked for";
}

TEST_F(ReportEngineTest, AnAccountWhoseFlagsCannotBeReadIsToldToTheLog) {
  script.Fail(Call::kGetColumn, platform::kAccessDenied, u"userAccountControl", 2);
  Run("GetDisabledAccounts");
  EXPECT_EQ(Names(), std::vector<std::u16string>{u"disabled smart card"});
  EXPECT_EQ(log.Count(u"Error in getting the User Attributes while account status based users and "
                      u"the error code is 80070005"),
            1U);
}

TEST_F(ReportEngineTest, ReportsOfOneControllerSearchThatController) {
  Run("GetRecentlyBadLoginUsers", {u"dc2.example.com", 0});
  Run("GetNeverLoggedInUsers", {std::nullopt});
  Run("GetNeverLoggedInUsers", {u""});
  ASSERT_EQ(script.binds.size(), 3U);
  EXPECT_EQ(script.binds[0].path, u"LDAP://dc2.example.com/DC=example,DC=com");
  EXPECT_EQ(script.binds[1].path, kPath);
  EXPECT_EQ(script.binds[2].path, kPath);

  script.SetServer(u"dc3", platform::kServerDown);
  Run("GetNeverLoggedInUsers", {u"dc3"});
  ExpectOneError("SEVERE", "8007203a", kAuthentication);
}

TEST_F(ReportEngineTest, AMissingParameterIsAnErrorAndNoSearch) {
  Run("GetManagerBasedUsers", {std::nullopt});
  ExpectOneError("SEVERE", "80070057", kAuthentication);
  EXPECT_TRUE(script.binds.empty());
  EXPECT_EQ(log.Count(u"Getting ManagerBasedUsers Finished"), 1U);
}

TEST_F(ReportEngineTest, ExpiryIsComparedWithTheClock) {
  script.now = 133536840150000001;
  Run("GetAccountExpiredUsers");
  EXPECT_NE(script.searches.at(0).filter.find(u"(accountExpires<=133536840150000001)"),
            std::u16string::npos);
}

TEST_F(ReportEngineTest, EveryReportOfTheTableRuns) {
  for (const ReportDefinition& report : AllReports()) {
    SCOPED_TRACE(report.method);
    std::vector<ReportArgument> arguments;
    for (const ReportParameter& parameter : report.parameters) {
      if (parameter.kind == ParameterKind::kTime) {
        arguments.emplace_back(std::int64_t{1000});
      } else {
        arguments.emplace_back(u"a*b");
      }
    }
    script.searches.clear();
    listener.rows.clear();
    Run(report.method, arguments);
    EXPECT_TRUE(errors.entries.empty());
    ASSERT_EQ(script.searches.size(), 1U);
    EXPECT_EQ(script.searches[0].filter.find(u"%s"), std::u16string::npos);
    EXPECT_EQ(script.searches[0].filter.find(u"a*b"), std::u16string::npos);
    EXPECT_EQ(listener.rows.empty(), IsAmongDeletedObjects(report)) << "none is deleted here";
  }
}

TEST_F(ReportEngineTest, DeletedObjectsAreReadWhereTheyLieAndSortedByTheirClasses) {
  script.Add(u"CN=pc,DC=example,DC=com")
      .Texts(u"cn", {u"pc"})
      .Texts(u"objectClass", {u"top", u"person", u"user", u"computer"});
  script.Add(u"CN=group,DC=example,DC=com")
      .Texts(u"cn", {u"group"})
      .Texts(u"objectClass", {u"top", u"group"});
  script.Answer(u"(&(isDeleted=TRUE)(whenChanged>=20240101000000.0Z))",
                {u"CN=pc,DC=example,DC=com", u"CN=group,DC=example,DC=com",
                 u"CN=enabled,DC=example,DC=com", u"CN=disabled,DC=example,DC=com"});
  const std::vector<ReportArgument> since = {u"20240101000000.0Z"};
  Run("GetRecentlyDeletedComputers", since);
  EXPECT_EQ(Names(), std::vector<std::u16string>{u"pc"});
  listener.rows.clear();
  Run("GetRecentlyDeletedUsers", since);
  EXPECT_EQ(Names(), (std::vector<std::u16string>{u"enabled", u"disabled"}));
  ASSERT_EQ(script.binds.size(), 2U);
  EXPECT_EQ(script.binds[0].path,
            u"LDAP://dc1.example.com/<WKGUID=18e2ea80684f11d2b9aa00c04f79f805,DC=example,DC=com>");
  EXPECT_EQ(script.binds[0].flags, 0x21U);
  const std::pair tombstones(platform::SearchPreferenceId::kTombstone, 1U);
  EXPECT_EQ(script.searches.at(0).preferences.back(), tombstones);
}

}  // namespace
}  // namespace zorvan::reports
