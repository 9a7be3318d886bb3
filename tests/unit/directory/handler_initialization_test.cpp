#include "directory/handler_initialization.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/recording.h"
#include "support/scripted_platform.h"

namespace zorvan::directory {
namespace {

using support::RecordedError;

constexpr char16_t kFirst[] = u"dc1.example.com";
constexpr char16_t kSecond[] = u"dc2.example.com";
constexpr char16_t kThird[] = u"dc3.example.com";

constexpr std::string_view kWrongPassword =
    "halden.common_authentication.native.failure.username/password.wrong";
constexpr std::string_view kNoReadPermission =
    "halden.common_authentication.native.failure.user_no_read_permission";
constexpr std::string_view kSomeProblem =
    "halden.common_authentication.native.failure.some_authentication_problem";
constexpr std::string_view kNotOperational =
    "halden.common_authentication.native.failure.given_servers_not_opertional";

class HandlerInitializationTest : public testing::Test {
 protected:
  HandlerInitializationTest() {
    properties.domainName = u"example.com";
    properties.userDomainName = u"EXAMPLE";
    properties.domainControllers = {kFirst};
    properties.globalCatalogs.emplace();
    properties.userName = u"admin";
    properties.userDistinguishedName = u"CN=admin,DC=example,DC=com";
    properties.password = u"secret";
    properties.defaultNamingContext = u"DC=example,DC=com";
    properties.isAuthenticationRequired = u"true";
    script.Add(u"DC=example,DC=com");
  }

  bool Initialize() { return InitializeHandler(handler, properties, errors); }

  void ExpectOneError(std::string_view code, std::string_view key) {
    const std::vector<RecordedError> expected = {
        {u"example.com", "SEVERE", std::string(code), std::string(key)}};
    EXPECT_EQ(errors.entries, expected);
  }

  support::Script script;
  support::ScriptedPlatform platform{script};
  support::RecordingLog log;
  call::NativeHandler handler{platform, log};
  support::RecordingErrors errors;
  DomainProperties properties;
};

TEST_F(HandlerInitializationTest, ConnectsToTheControllerThatAnswersAndTellsTheLog) {
  properties.globalCatalogs = {u"gc1.example.com", u"gc2.example.com"};
  ASSERT_TRUE(Initialize());

  const auto general = call::LogChannel::kGeneral;
  const std::u16string path = u"LDAP://dc1.example.com/DC=example,DC=com";
  const std::vector<support::RecordedLine> expected = {
      {general, 3, u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
      {general, 3, u"Checking for a ValidDC Starts"},
      {general, 3, u"Checking for a ValidDC from List of 1 DC's"},
      {general, 3, u"ldapDCPath for Checking valid DC " + path + u"\t"},
      {general, 3, u"networkUserName EXAMPLE\\admin\t"},
      {general, 3, u"[ldapDCPath " + path + u"\t networkUserName EXAMPLE\\admin\t]"},
      {general, 1, u"ValidDC 1.dc1.example.com"},
      {general, 3, u"Checking for a ValidDC finished"},
      {general, 3, u"No. of GCs in list -- 2 "},
      {general, 1, u"Initialization Finished"},
  };
  EXPECT_EQ(log.lines, expected);
  EXPECT_TRUE(errors.entries.empty());

  const call::DomainSettings& settings = handler.settings;
  EXPECT_EQ(settings.serverName, u"dc1.example.com");
  EXPECT_EQ(settings.ldapRootPath, u"LDAP://dc1.example.com/");
  EXPECT_EQ(settings.gcName, u"gc1.example.com");
  EXPECT_EQ(handler.validDcCount, 1);
  ASSERT_EQ(script.binds.size(), 1U);
  EXPECT_EQ(script.binds[0].path, path);
  EXPECT_EQ(script.binds[0].userName, u"EXAMPLE\\admin");
  EXPECT_EQ(script.binds[0].password, u"secret");
  EXPECT_EQ(script.binds[0].flags, 1U);
  EXPECT_EQ(script.openInterfaces, 0U);
}

TEST_F(HandlerInitializationTest, BindsAsTheProcessUnlessAuthenticationIsRequired) {
  const std::optional<std::u16string> words[] = {std::nullopt, u"",      u"yes",
                                                 u"1",         u"truee", u"false"};
  for (const auto& word : words) {
    SCOPED_TRACE(testing::PrintToString(word));
    call::NativeHandler fresh(platform, log);
    properties.isAuthenticationRequired = word;
    script.binds.clear();
    ASSERT_TRUE(InitializeHandler(fresh, properties, errors));
    EXPECT_EQ(script.binds.at(0).userName, std::nullopt);
    EXPECT_EQ(script.binds.at(0).password, std::nullopt);
    EXPECT_EQ(fresh.settings.logonName, std::nullopt);
    EXPECT_EQ(fresh.settings.userName, std::nullopt);
    EXPECT_EQ(fresh.settings.userDistinguishedName, std::nullopt);
    EXPECT_EQ(fresh.settings.password, std::nullopt);
  }
  EXPECT_EQ(log.CountContaining(u"LogonName"), 0U);
}

TEST_F(HandlerInitializationTest, TakesTheLogonNameFromTheDistinguishedNameWhenThatIsOne) {
  struct Case {
    std::optional<std::u16string> distinguishedName;
    std::u16string logonName;
    std::u16string line;
  };
  const Case cases[] = {
      {u"OTHER\\boss", u"OTHER\\boss", u"LogonName contains \\ or @ ->OTHER\\boss"},
      {u"boss@other.com", u"boss@other.com", u"LogonName contains \\ or @ ->boss@other.com"},
      {u"CN=x,DC=example", u"EXAMPLE\\admin", u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
      {u"", u"EXAMPLE\\admin", u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
      {std::nullopt, u"EXAMPLE\\admin", u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
  };
  properties.isAuthenticationRequired = u"TRUE";
  for (const Case& each : cases) {
    SCOPED_TRACE(testing::PrintToString(each.distinguishedName));
    call::NativeHandler fresh(platform, log);
    properties.userDistinguishedName = each.distinguishedName;
    log.lines.clear();
    script.binds.clear();
    ASSERT_TRUE(InitializeHandler(fresh, properties, errors));
    EXPECT_EQ(log.Count(each.line), 1U);
    EXPECT_EQ(script.binds.at(0).userName, each.logonName);
  }
}

TEST_F(HandlerInitializationTest, LeavesAbsentSettingsEmptyAndLooksAccountsUpOnTheServer) {
  DomainProperties none;
  none.domainControllers = {kFirst};
  ASSERT_TRUE(InitializeHandler(handler, none, errors));
  EXPECT_EQ(handler.settings.domainName, u"");
  EXPECT_EQ(handler.settings.gcName, std::nullopt);
  EXPECT_EQ(handler.settings.accountLookupStatus, 1);
  EXPECT_EQ(log.Count(u"No. of GCs in list -- 0 "), 1U);

  properties.accountLookupStatus = 2;
  ASSERT_TRUE(Initialize());
  EXPECT_EQ(handler.settings.accountLookupStatus, 2);
}

TEST_F(HandlerInitializationTest, GoesOnToTheNextControllerOnlyWhenOneIsDown) {
  properties.domainControllers = {kFirst, kSecond, kThird};
  script.SetServer(kFirst, platform::kServerDown);
  ASSERT_TRUE(Initialize());
  EXPECT_EQ(handler.settings.serverName, kSecond);
  EXPECT_EQ(script.binds.size(), 2U);
  EXPECT_EQ(log.Count(u"DC Not Operatinol check for Next"), 1U);
  EXPECT_EQ(log.Count(u"ValidDC 1.dc2.example.com"), 1U);
  EXPECT_TRUE(errors.entries.empty());
}

TEST_F(HandlerInitializationTest, StopsAtTheControllerThatRefuses) {
  struct Case {
    platform::HResult result;
    std::u16string_view line;
    std::string_view code;
    std::string_view key;
  };
  const Case cases[] = {
      {platform::kLogonFailure, u"UserName/PassWord is Wrong,breaks", "8007052e", kWrongPassword},
      {platform::kNoReadPermission, u"User has No Read Permission,breaks", "8007200a",
       kNoReadPermission},
      {platform::kAccessDenied, u"Some Authentication Problem,breaks", "80070005", kSomeProblem},
      {platform::kNoSuchObject, u"Some Authentication Problem,breaks", "80072030", kSomeProblem},
  };
  properties.domainControllers = {kFirst, kSecond, kThird};
  script.SetServer(kFirst, platform::kServerDown);
  for (const Case& each : cases) {
    SCOPED_TRACE(each.code);
    call::NativeHandler fresh(platform, log);
    script.SetServer(kSecond, each.result);
    script.binds.clear();
    log.lines.clear();
    errors.entries.clear();
    EXPECT_FALSE(InitializeHandler(fresh, properties, errors));
    EXPECT_EQ(script.binds.size(), 2U) << "the third controller is never asked";
    EXPECT_EQ(log.Count(each.line), 1U);
    EXPECT_EQ(log.lines.at(log.lines.size() - 3).text, u"Checking for a ValidDC finished");
    EXPECT_EQ(log.lines.back().text, u"Initialization Finished");
    ExpectOneError(each.code, each.key);
    EXPECT_EQ(fresh.validDcCount, 0);
    EXPECT_EQ(fresh.settings.ldapRootPath, u"");
  }
}

TEST_F(HandlerInitializationTest, SaysOnceThatNoControllerIsOperational) {
  properties.domainControllers = {kFirst, kSecond, kThird};
  for (const auto name : {kFirst, kSecond, kThird}) script.SetServer(name, platform::kServerDown);
  EXPECT_FALSE(Initialize());
  EXPECT_EQ(log.Count(u"DC Not Operatinol check for Next"), 3U);
  EXPECT_EQ(log.Count(u"The Given Servers are Not operational"), 1U);
  ExpectOneError("8007203a", kNotOperational);
}

TEST_F(HandlerInitializationTest, AListWithoutControllersHasNoneThatIsOperational) {
  properties.domainControllers.emplace();
  EXPECT_FALSE(Initialize());
  ExpectOneError("8007203a", kNotOperational);
  EXPECT_EQ(log.Count(u"Checking for a ValidDC from List of 0 DC's"), 1U);

  errors.entries.clear();
  properties.domainControllers.reset();
  EXPECT_FALSE(Initialize());
  ExpectOneError("8007203a", kNotOperational);
  EXPECT_TRUE(script.binds.empty());
}

TEST_F(HandlerInitializationTest, PassesOverAControllerNameThatNoFieldHolds) {
  properties.domainControllers = {std::u16string(300, u'a'), kSecond};
  ASSERT_TRUE(Initialize());
  EXPECT_EQ(handler.settings.serverName, kSecond);
  EXPECT_EQ(log.CountContaining(u"DOMAIN_CONTROLLER_LIST"), 1U);
  EXPECT_EQ(script.binds.size(), 1U);

  errors.entries.clear();
  properties.domainControllers = {std::u16string(300, u'a')};
  EXPECT_FALSE(Initialize());
  ExpectOneError("8007203a", kNotOperational);
}

// Every text setting with the number of characters that it may have.
struct Capacity {
  const char* key;
  std::optional<std::u16string> DomainProperties::*value;
  std::size_t most;
};

constexpr Capacity kCapacities[] = {
    {"DOMAIN_NAME", &DomainProperties::domainName, 99},
    {"USER_DOMAIN_NAME", &DomainProperties::userDomainName, 99},
    {"USER_NAME", &DomainProperties::userName, 99},
    {"USER_DISTINGUISHED_NAME", &DomainProperties::userDistinguishedName, 99},
    {"PASSWORD", &DomainProperties::password, 99},
    {"ROOT_DOMAIN_NAMING_CONTEXT", &DomainProperties::rootDomainNamingContext, 259},
    {"SCHEMA_NAMING_CONTEXT", &DomainProperties::schemaNamingContext, 259},
    {"CONFIGURATION_NAMING_CONTEXT", &DomainProperties::configurationNamingContext, 259},
    {"DOMAIN_FUNCTIONAL_LEVEL", &DomainProperties::domainFunctionalLevel, 99},
    {"IS_AUTHENTICATION_REQUIRED", &DomainProperties::isAuthenticationRequired, 99},
};

TEST_F(HandlerInitializationTest, TakesValuesThatFillTheirFields) {
  script.Add(std::u16string(200, u'a'));
  properties.defaultNamingContext = std::u16string(200, u'a');  // its path has a limit of its own
  for (const Capacity& each : kCapacities) properties.*each.value = std::u16string(each.most, u'a');
  properties.globalCatalogs = {std::u16string(99, u'g')};
  properties.domainControllers = {std::u16string(50, u'd')};
  EXPECT_TRUE(Initialize());
  EXPECT_TRUE(errors.entries.empty());
  EXPECT_EQ(handler.settings.gcName, std::u16string(99, u'g'));
}

TEST_F(HandlerInitializationTest, RefusesValuesLongerThanTheirFields) {
  std::vector<Capacity> capacities(std::begin(kCapacities), std::end(kCapacities));
  capacities.push_back({"DEFAULT_NAMING_CONTEXT", &DomainProperties::defaultNamingContext, 259});
  for (const Capacity& each : capacities) {
    SCOPED_TRACE(each.key);
    call::NativeHandler fresh(platform, log);
    log.lines.clear();
    errors.entries.clear();
    const auto before = properties.*each.value;
    properties.*each.value = std::u16string(each.most + 1, u'a');
    EXPECT_FALSE(InitializeHandler(fresh, properties, errors));
    properties.*each.value = before;

    ASSERT_EQ(errors.entries.size(), 1U);
    EXPECT_EQ(errors.entries[0].key, kSomeProblem);
    const std::string key = each.key;
    EXPECT_EQ(log.CountContaining(std::u16string(key.begin(), key.end()) + u" "), 1U);
    const std::string capacity = std::to_string(each.most + 1);
    EXPECT_GE(log.CountContaining(std::u16string(capacity.begin(), capacity.end())), 1U);
    EXPECT_EQ(log.CountContaining(u"aaaa"), 0U) << "the value may be a password";
  }
  EXPECT_TRUE(script.binds.empty());
}

TEST_F(HandlerInitializationTest, RefusesServerNamesLongerThanTheirFields) {
  properties.globalCatalogs = {std::u16string(100, u'g')};
  EXPECT_FALSE(Initialize());
  ASSERT_EQ(errors.entries.size(), 1U);
  EXPECT_EQ(errors.entries[0].key, kSomeProblem);
  EXPECT_EQ(log.CountContaining(u"GC_LIST"), 1U);

  // Only the first is ever used.
  errors.entries.clear();
  properties.globalCatalogs = {u"gc1", std::u16string(100, u'g')};
  EXPECT_TRUE(Initialize());

  properties.domainControllers = {std::u16string(100, u'd')};
  EXPECT_FALSE(Initialize());
  ExpectOneError("80070057", kSomeProblem);
  EXPECT_EQ(log.CountContaining(u"DOMAIN_CONTROLLER_LIST"), 1U);
}

}  // namespace
}  // namespace zorvan::directory
