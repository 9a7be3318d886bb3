#include "reports/report_filter.h"

#include <gtest/gtest.h>

#include <limits>

namespace zorvan::reports {
namespace {

std::optional<std::u16string> Build(std::string_view method,
                                    const std::vector<ReportArgument>& arguments) {
  const ReportDefinition* report = FindReport(method);
  return report == nullptr ? u"no such report" : report->makeFilter(*report, arguments, 0);
}

TEST(ReportFilter, ConvertsTimesToWholeSecondsSince1601) {
  const std::pair<std::int64_t, std::u16string_view> cases[] = {
      {0, u"116444736000000000"},
      {1999, u"116444736010000000"},
      {-999, u"116444736000000000"},  // the division cuts towards zero
      {-1000, u"116444735990000000"},
      {-11'644'473'601'000, u"-10000000"},
      // The last second that the count can hold, and times beyond it on both sides.
      {910'692'730'085'000, u"9223372036850000000"},
      {910'692'730'086'000, u"9223372036854775807"},
      {std::numeric_limits<std::int64_t>::max(), u"9223372036854775807"},
      {std::numeric_limits<std::int64_t>::min(), u"-9223372036854775808"},
  };
  for (const auto& [milliseconds, expected] : cases) {
    EXPECT_EQ(FilterTime(milliseconds), expected) << milliseconds;
  }
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

}  // namespace
}  // namespace zorvan::reports
