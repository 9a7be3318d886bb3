#include "reports/report_filter.h"

#include <gtest/gtest.h>

#include <limits>

namespace zorvan::reports {
namespace {

using Filter = std::optional<std::u16string>;

Filter Build(std::string_view method, const std::vector<ReportArgument>& arguments,
             std::int64_t now = 0) {
  const ReportDefinition* report = FindReport(method);
  if (report == nullptr) return u"no such report";
  return BuildFilter(*report, arguments, now);
}

TEST(ReportFilter, ConvertsTimesToWholeSecondsSince1601) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  const std::pair<std::int64_t, std::u16string_view> cases[] = {
      {0, u"116444736000000000"},
      {999, u"116444736000000000"},
      {1999, u"116444736010000000"},
      {-999, u"116444736000000000"},  // the division cuts towards zero
      {-1000, u"116444735990000000"},
      {1'709'210'415'000, u"133536840150000000"},
      {-11'644'473'600'000, u"0"},
      {-11'644'473'601'000, u"-10000000"},
      // The last second that the count can hold, and times beyond it on both sides.
      {910'692'730'085'000, u"9223372036850000000"},
      {910'692'730'086'000, u"9223372036854775807"},
      {kMost, u"9223372036854775807"},
      {kLeast, u"-9223372036854775808"},
  };
  for (const auto& [milliseconds, expected] : cases) {
    EXPECT_EQ(FilterTime(milliseconds), expected) << milliseconds;
  }
}

TEST(ReportFilter, FillsParametersInTheirOrder) {
  EXPECT_EQ(Build("GetSoonToExpireUsers", {0, 1000}),
            u"(&(objectCategory=person)(objectClass=user)(!(sAMAccountType=805306370))"
            u"(!(accountExpires=0))(!(accountExpires=9223372036854775807))"
            u"(!(accountExpires<=116444736000000000))(accountExpires<=116444736010000000))");
  EXPECT_EQ(Build("GetRecentlyCreatedOUs", {u"20240131000000.0Z"}),
            u"(&(objectcategory=OrganizationalUnit)(objectClass=OrganizationalUnit)"
            u"(whenCreated>=20240131000000.0Z))");
}

TEST(ReportFilter, FillsASingleParameterIntoEveryPlace) {
  EXPECT_EQ(Build("GetLogonRestrictionUsers", {u"PC(7)"}),
            u"(&(objectClass=user)(objectCategory=person)(userWorkstations=*)"
            u"(!(userWorkstations=PC\\287\\29))(!(userWorkstations=PC\\287\\29,*))"
            u"(!(userWorkstations=*,PC\\287\\29,*))(!(userWorkstations=*,PC\\287\\29)))");
  // The controller goes into the path, so the time is the single one.
  EXPECT_EQ(Build("GetInActiveUsers", {u"dc2", 0}),
            u"(&(objectClass=user)(objectCategory=person)(!(sAMAccountType=805306370))"
            u"(&(|(!lastlogon=*)(lastlogon<=116444736000000000))"
            u"(|(!lastlogontimestamp=*)(lastlogontimestamp<=116444736000000000))))");
}

TEST(ReportFilter, AValueIsNeverFilledInAgain) {
  EXPECT_EQ(Build("GetForwardToBasedUsers", {u"CN=%s %d"}),
            u"(&(objectcategory=person)(objectClass=user)(altRecipient=CN=%s %d))");
  EXPECT_EQ(Build("GetOSBasedComputers", {u"%s", u"SP"}),
            u"(&(objectCategory=computer)(objectClass=computer)(operatingSystem=%s)"
            u"(operatingSystemServicePack=SP*))");
}

TEST(ReportFilter, ComputersWithoutServicePackHaveAFilterOfTheirOwn) {
  const std::u16string without =
      u"(&(objectCategory=computer)(objectClass=computer)(operatingSystem=Server \\2a)"
      u"(!(operatingSystemServicePack=*)))";
  EXPECT_EQ(Build("GetOSBasedComputers", {u"Server *", u""}), without);
  EXPECT_EQ(Build("GetOSBasedComputers", {u"Server *", std::nullopt}), without);
  EXPECT_EQ(Build("GetOSBasedComputers", {std::nullopt, u"SP"}), std::nullopt);
}

TEST(ReportFilter, ExpiredAccountsAreThoseExpiredByNow) {
  EXPECT_EQ(Build("GetAccountExpiredUsers", {}, 133536840150000001),
            u"(&(objectCategory=person)(objectClass=user)(!(sAMAccountType=805306370))"
            u"(!(accountExpires=0))(!(accountExpires=9223372036854775807))"
            u"(accountExpires<=133536840150000001))");
}

TEST(ReportFilter, AMissingParameterGivesNone) {
  EXPECT_EQ(Build("GetManagerBasedUsers", {std::nullopt}), std::nullopt);
  EXPECT_EQ(Build("GetRecentlyCreatedUsers", {std::nullopt}), std::nullopt);
  // A controller that is not named leaves the connection's.
  EXPECT_NE(Build("GetNeverLoggedInUsers", {std::nullopt}), std::nullopt);
}

}  // namespace
}  // namespace zorvan::reports
