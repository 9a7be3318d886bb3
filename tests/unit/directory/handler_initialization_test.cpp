#include "directory/handler_initialization.h"

#include <gtest/gtest.h>

#include <functional>

#include "support/recording.h"
#include "support/scripted_platform.h"

namespace zorvan::directory {
namespace {

using Entries = std::vector<std::u16string>;

constexpr char16_t kPath[] = u"LDAP://dc1.example.com/DC=example,DC=com";

class HandlerInitializationTest : public testing::Test {
 protected:
  HandlerInitializationTest() {
    properties.domainName = u"example.com";
    properties.userDomainName = u"EXAMPLE";
    properties.domainControllers = {u"dc1.example.com"};
    properties.userName = u"admin";
    properties.userDistinguishedName = u"CN=admin,DC=example,DC=com";
    properties.password = u"secret";
    properties.defaultNamingContext = u"DC=example,DC=com";
    properties.isAuthenticationRequired = u"true";
    script.Add(u"DC=example,DC=com");
  }

  // As a call of its own does: nothing is left of the one before but the settings.
  bool Initialize() {
    handler.emplace(platform, log);
    handler->observer = &told;
    told.notices.clear();
    script.binds.clear();
    log.lines.clear();
    errors.entries.clear();
    return InitializeHandler(*handler, properties, errors);
  }

  support::Script script;
  support::ScriptedPlatform platform{script};
  support::RecordingLog log;
  support::RecordingObserver told;
  std::optional<call::NativeHandler> handler;
  support::RecordingErrors errors;
  DomainProperties properties;
};

TEST_F(HandlerInitializationTest, ConnectsToTheControllerThatAnswersAndTellsTheLog) {
  properties.globalCatalogs = {u"gc1.example.com", u"gc2.example.com"};
  ASSERT_TRUE(Initialize());
  const auto general = call::LogChannel::kGeneral;
  const std::u16string path = kPath;
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
  EXPECT_EQ(errors.entries, Entries());
  EXPECT_EQ(handler->settings.serverName, u"dc1.example.com");
  EXPECT_EQ(handler->settings.ldapRootPath, u"LDAP://dc1.example.com/");
  EXPECT_EQ(handler->settings.gcName, u"gc1.example.com");
  EXPECT_EQ(handler->settings.accountLookupStatus, 1);
  EXPECT_EQ(handler->validDcCount, 1);
  ASSERT_EQ(script.binds.size(), 1U);
  EXPECT_EQ(script.binds[0].path, path);
  EXPECT_EQ(script.binds[0].password, u"secret");
  EXPECT_EQ(script.binds[0].flags, 1U);
  EXPECT_EQ(script.openInterfaces, 0U);
}

TEST_F(HandlerInitializationTest, BindsAsTheProcessUnlessAuthenticationIsRequired) {
  for (const char16_t* word : {u"", u"yes", u"1", u"truee", u"false"}) {
    SCOPED_TRACE(testing::PrintToString(word));
    properties.isAuthenticationRequired = word;
    ASSERT_TRUE(Initialize());
    EXPECT_EQ(script.binds.at(0).userName, std::nullopt);
    EXPECT_EQ(script.binds.at(0).password, std::nullopt);
    EXPECT_EQ(handler->settings.logonName, std::nullopt);
    EXPECT_EQ(handler->settings.password, std::nullopt);
    EXPECT_EQ(log.Count(u"LogonName"), 0U);
  }
}

TEST_F(HandlerInitializationTest, TakesTheLogonNameFromTheDistinguishedNameWhenThatIsOne) {
  const std::pair<std::optional<std::u16string>, std::u16string> cases[] = {
      {u"OTHER\\boss", u"LogonName contains \\ or @ ->OTHER\\boss"},
      {u"boss@other.com", u"LogonName contains \\ or @ ->boss@other.com"},
      {u"CN=x,DC=example", u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
      {std::nullopt, u"LogonName Not contains \\ or @ ->EXAMPLE\\admin"},
  };
  properties.isAuthenticationRequired = u"TRUE";
  for (const auto& [distinguishedName, line] : cases) {
    properties.userDistinguishedName = distinguishedName;
    ASSERT_TRUE(Initialize());
    EXPECT_EQ(log.lines.at(0).text, line);
    EXPECT_TRUE(line.ends_with(u"->" + script.binds.at(0).userName.value_or(u"nobody")));
  }
}

TEST_F(HandlerInitializationTest, PassesOverAControllerThatIsDownAndStopsAtOneThatRefuses) {
  struct Case {
    platform::HResult result;
    std::u16string line;
    std::u16string error;
  };
  const Case cases[] = {
      {platform::kLogonFailure, u"UserName/PassWord is Wrong,breaks",
       u"8007052e halden.common_authentication.native.failure.username/password.wrong"},
      {platform::kNoReadPermission, u"User has No Read Permission,breaks",
       u"8007200a halden.common_authentication.native.failure.user_no_read_permission"},
      {platform::kAccessDenied, u"Some Authentication Problem,breaks",
       u"80070005 halden.common_authentication.native.failure.some_authentication_problem"},
  };
  properties.domainControllers = {u"dc1", u"dc2", u"dc3"};
  script.servers[u"dc1"] = platform::kServerDown;
  script.extendedError = {0x533, u"disabled"};
  for (const Case& each : cases) {
    script.servers[u"dc2"] = each.result;
    EXPECT_FALSE(Initialize());
    EXPECT_EQ(script.binds.size(), 2U) << "the third controller is never asked";
    EXPECT_EQ(log.Count(u"DC Not Operatinol check for Next"), 1U);
    EXPECT_EQ(log.Count(each.line), 1U);
    EXPECT_EQ(log.lines.back().text, u"Initialization Finished");
    EXPECT_EQ(errors.entries, Entries{u"SEVERE " + each.error + u" on example.com"});
    EXPECT_EQ(handler->validDcCount, 0);
    EXPECT_EQ(handler->settings.ldapRootPath, u"");
    const std::vector<support::RecordedNotice> notices = {{platform::NoticeKind::kControllerFailed,
                                                           u"dc2", u"disabled (533)",
                                                           platform::Bits(each.result)}};
    EXPECT_EQ(told.notices, notices);
  }
  script.servers.erase(u"dc2");
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(told.notices.empty()) << "dc1 was passed over";
}

TEST_F(HandlerInitializationTest, RefusesAControllerWhoseNameItsFieldDoesNotHold) {
  properties.domainControllers = {std::u16string(100, u'd')};
  EXPECT_FALSE(Initialize());
  EXPECT_EQ(log.Count(u"DOMAIN_CONTROLLER_LIST"), 1U);
  const Entries expected = {
      u"SEVERE 80070057 halden.common_authentication.native.failure.some_authentication_problem on "
      u"example.com"};
  EXPECT_EQ(errors.entries, expected);
  properties.domainControllers = {std::u16string(99, u'd')};
  EXPECT_TRUE(Initialize());
}

TEST_F(HandlerInitializationTest, JudgesTheLengthOfCredentialsThatAreUsedOnly) {
  struct Case {
    const char16_t* required;
    std::size_t userName;
    std::u16string distinguishedName;
    std::size_t password;
    bool fits;
  };
  const std::u16string ordinary = u"CN=" + std::u16string(300, u'x') + u",DC=example,DC=com";
  const std::u16string logonName = u"EXAMPLE\\" + std::u16string(92, u'x');
  const Case cases[] = {
      {u"true", 99, ordinary, 99, true},     {u"true", 9, logonName.substr(1), 9, true},
      {u"TRUE", 9, logonName, 9, false},     {u"true", 100, u"", 9, false},
      {u"true", 9, u"", 100, false},         {u"false", 100, logonName, 100, true},
      {u"", 100, u"a@" + ordinary, 9, true},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(testing::PrintToString(&each - cases));
    properties.isAuthenticationRequired = each.required;
    properties.userName = std::u16string(each.userName, u'n');
    properties.userDistinguishedName = each.distinguishedName;
    properties.password = std::u16string(each.password, u'p');
    EXPECT_EQ(Initialize(), each.fits);
    EXPECT_EQ(log.Count(u"its field holds"), each.fits ? 0U : 1U);
    EXPECT_EQ(errors.entries.size(), each.fits ? 0U : 1U);
    EXPECT_EQ(log.Count(u"ppp"), 0U) << "the password is in the log";
  }
}

TEST_F(HandlerInitializationTest, StopsWithoutAnErrorWhenTheCallerWantsNoMore) {
  support::ScriptedObserver observer;
  properties.domainControllers = {u"dc1", u"dc2"};
  for (platform::HResult result : {platform::kCancelled, platform::kServerDown}) {
    for (bool cancelled : {true, false}) {
      handler.emplace(platform, log);
      handler->observer = &observer;
      observer.cancelled = cancelled;
      script.binds.clear();
      script.servers[u"dc1"] = result;
      script.servers[u"dc2"] = platform::kServerDown;
      errors.entries.clear();
      EXPECT_FALSE(InitializeHandler(*handler, properties, errors));
      const bool walksOn = !cancelled && result == platform::kServerDown;
      EXPECT_EQ(script.binds.size(), walksOn ? 2U : 1U);
      EXPECT_EQ(errors.entries.size(), cancelled ? 0U : 1U);
      EXPECT_EQ(observer.details.size(), errors.entries.size());
      observer.details.clear();
    }
  }
}

TEST_F(HandlerInitializationTest, GivesThePlatformTheTermsOfTheCall) {
  support::ScriptedObserver observer;
  handler.emplace(platform, log);
  handler->observer = &observer;
  properties.controllersFromDns = u"true";
  properties.allowNtlm = u"True";
  properties.allowRc4 = u"FALSE";
  properties.trustedAuthorities = u"/etc/authorities";
  properties.connectTimeLimit = 1;
  properties.callTimeLimit = 0;
  ASSERT_TRUE(InitializeHandler(*handler, properties, errors));
  const platform::CallTerms defaults;
  EXPECT_EQ(script.terms.domainName, u"example.com");
  EXPECT_TRUE(script.terms.controllersFromDns);
  EXPECT_TRUE(script.terms.allowNtlm);
  EXPECT_FALSE(script.terms.allowRc4);
  EXPECT_EQ(script.terms.trustedAuthorities, u"/etc/authorities");
  EXPECT_EQ(script.terms.connect.count(), 1);
  EXPECT_EQ(script.terms.idle, defaults.idle);
  EXPECT_EQ(script.terms.call.count(), 0);
  EXPECT_EQ(script.terms.maxMessageBytes, defaults.maxMessageBytes);
}

TEST_F(HandlerInitializationTest, RefusesTermsThatCannotBeUnderstood) {
  using Change = std::function<void(DomainProperties&)>;
  const std::pair<std::u16string, Change> cases[] = {
      {u"CONTROLLERS_FROM_DNS is not true or false", [](auto& p) { p.controllersFromDns = u"1"; }},
      {u"ALLOW_NTLM is not true or false", [](auto& p) { p.allowNtlm = u"yes"; }},
      {u"ALLOW_RC4 is not true or false", [](auto& p) { p.allowRc4 = u""; }},
      {u"TRUSTED_AUTHORITIES is not a path", [](auto& p) { p.trustedAuthorities = u""; }},
      {u"TRUSTED_AUTHORITIES is not a path",
       [](auto& p) { p.trustedAuthorities = std::u16string(u"/a\0b", 4); }},
      {u"CONNECT_TIME_LIMIT is not above zero", [](auto& p) { p.connectTimeLimit = 0; }},
      {u"IDLE_TIME_LIMIT is not above zero", [](auto& p) { p.idleTimeLimit = -1; }},
      {u"CALL_TIME_LIMIT is not above zero", [](auto& p) { p.callTimeLimit = -1; }},
      {u"MAX_MESSAGE_BYTES is not above zero", [](auto& p) { p.maxMessageBytes = 0; }},
      {u"", [](auto& p) { p.termsOfWrongClass = 1; }},
  };
  for (const auto& [line, change] : cases) {
    DomainProperties changed;
    changed.domainName = u"example.com";
    changed.domainControllers = {u"dc1.example.com"};
    change(changed);
    handler.emplace(platform, log);
    script.binds.clear();
    errors.entries.clear();
    log.lines.clear();
    EXPECT_FALSE(InitializeHandler(*handler, changed, errors));
    EXPECT_GE(log.Count(line), line.empty() ? 0U : 1U) << testing::PrintToString(line);
    EXPECT_TRUE(script.binds.empty()) << "nothing is sent";
    const Entries expected = {
        u"SEVERE 80070057 halden.common_authentication.native.failure.some_authentication_problem "
        u"on example.com"};
    EXPECT_EQ(errors.entries, expected);
  }
}

}  // namespace
}  // namespace zorvan::directory
