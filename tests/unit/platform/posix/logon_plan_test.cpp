#include "platform/posix/logon_plan.h"

#include <gtest/gtest.h>

namespace zorvan::platform::posix {
namespace {

using Services = std::vector<std::string>;

LogonPlan PlanFor(const std::string& host, const std::string& domainName,
                  const std::string& user = "EXAMPLE\\reader", bool allowNtlm = false) {
  return PlanLogon({.host = host,
                    .domainName = domainName,
                    .user = LogonName::Parse(user),
                    .allowNtlm = allowNtlm});
}

TEST(LogonPlan, TicketIsForTheNameThatWasGivenOrThatNameInTheGivenDomain) {
  struct Case {
    const char* host;
    const char* domainName;
    Services services;
    const char* realm;
  };
  const Case cases[] = {
      {"dc1.example.test", "example.test", {"ldap/dc1.example.test"}, "EXAMPLE.TEST"},
      {"dc1.example.test.", "Example.Test.", {"ldap/dc1.example.test"}, "EXAMPLE.TEST"},
      {"dc1.elsewhere.test", "example.test", {"ldap/dc1.elsewhere.test"}, "EXAMPLE.TEST"},
      {"dc1", "example.test", {"ldap/dc1", "ldap/dc1.example.test"}, "EXAMPLE.TEST"},
      // A flat name is no realm; the server's full name shows one.
      {"dc1.example.test", "EXAMPLE", {"ldap/dc1.example.test"}, "EXAMPLE.TEST"},
      {"dc1.example.test", "", {"ldap/dc1.example.test"}, "EXAMPLE.TEST"},
  };
  for (const Case& test : cases) {
    const LogonPlan plan = PlanFor(test.host, test.domainName);
    EXPECT_EQ(plan.services, test.services) << test.host;
    EXPECT_EQ(plan.realm, test.realm) << test.host;
    EXPECT_FALSE(plan.takesToldName) << test.host;
    EXPECT_FALSE(plan.ntlmAllowed) << test.host;
    EXPECT_TRUE(PlanFor(test.host, test.domainName, "reader", true).ntlmAllowed) << test.host;
  }
  EXPECT_EQ(PlanFor("dc1", "", "reader@example.test").realm, "EXAMPLE.TEST");
  EXPECT_EQ(PlanFor("dc1", "", "example.test\\reader").realm, "EXAMPLE.TEST");
}

// A member of the domain has a key for ldap/its name; only a controller has one for the domain too.
TEST(LogonPlan, HostFoundInTheDnsMustBeAControllerOfTheDomain) {
  const auto plan = [](const char* host, const char* domainName) {
    return PlanLogon({.host = host, .domainName = domainName, .user = {}, .hostFromDns = true});
  };
  EXPECT_EQ(plan("member.example.test", "example.test").services,
            Services({"ldap/member.example.test/example.test"}));
  EXPECT_EQ(plan("dc1.example.test.", "example.test").services,
            Services({"ldap/dc1.example.test/example.test"}));
  EXPECT_TRUE(plan("192.0.2.7", "example.test").takesToldName);
}

TEST(LogonPlan, OnlyAnAddressMakesTheNameOfTheServerCount) {
  for (const char* address : {"192.0.2.7", "2001:db8::7", "fe80::7%eth0"}) {
    const LogonPlan plan = PlanFor(address, "example.test");
    EXPECT_TRUE(plan.takesToldName) << address;
    EXPECT_EQ(plan.services, Services()) << address;
    EXPECT_FALSE(plan.ntlmAllowed) << address;
  }
  // Any controller of the domain will do, and it must be one.
  EXPECT_TRUE(PlanFor("Example.test", "example.test").takesToldName);
  EXPECT_FALSE(PlanFor("Example.test", "example.test").isAddress);
  EXPECT_EQ(ServiceOfTold("dc1.example.test", "example.test"),
            "ldap/dc1.example.test/example.test");
  for (const char* told : {"", "evil/x", "evil@OTHER.TEST", "evil\\/x", "a b"}) {
    EXPECT_EQ(ServiceOfTold(told, "example.test"), "") << told;
  }
}

TEST(LogonPlan, NtlmStandsInWhereWhatWasGivenRulesKerberosOut) {
  struct Case {
    const char* host;
    const char* domainName;
    const char* user;
  };
  const Case cases[] = {{"192.0.2.7", "", "reader"},
                        {"192.0.2.7", "", "reader@example.test"},
                        {"192.0.2.7", "EXAMPLE", "EXAMPLE\\reader"},
                        {"dc1", "", "reader"},
                        {"dc1", "EXAMPLE", "EXAMPLE\\reader"},
                        {"dc1.example.test", "example.test", ".\\reader"}};
  for (const Case& test : cases) {
    const LogonPlan plan = PlanFor(test.host, test.domainName, test.user);
    EXPECT_TRUE(plan.ntlmAllowed) << test.host << " " << test.user;
    EXPECT_FALSE(plan.whyNotKerberos.empty()) << test.host << " " << test.user;
  }
}

TEST(LogonPlan, BothSpellingsStateTheSameForeignDomain) {
  const std::string realm = "EXAMPLE.TEST";
  for (const char* own : {"reader", "EXAMPLE\\reader", "example.test\\reader",
                          "reader@example.test", "reader@EXAMPLE", "a@b@example.test"}) {
    EXPECT_EQ(ForeignDomain(LogonName::Parse(own), realm), "") << own;
  }
  for (const char* foreign : {"other.test\\reader", "reader@other.test"}) {
    EXPECT_EQ(ForeignDomain(LogonName::Parse(foreign), realm), "other.test") << foreign;
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
