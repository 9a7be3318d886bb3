#include "reports/report_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace zorvan::reports {
namespace {

std::size_t Places(std::u16string_view filter) {
  std::size_t count = 0;
  for (std::size_t at = filter.find(u"%s"); at != std::u16string_view::npos;
       at = filter.find(u"%s", at + 2)) {
    ++count;
  }
  return count;
}

// One filter from its first parenthesis to its last character.
bool IsOneBalancedFilter(std::u16string_view filter) {
  std::size_t depth = 0;
  for (std::size_t i = 0; i < filter.size(); ++i) {
    if (filter[i] == u'(') ++depth;
    if (filter[i] == u')' && depth-- == 0) return false;
    if (depth == 0 && i + 1 < filter.size()) return false;
  }
  return !filter.empty() && depth == 0;
}

bool IsPlainAscii(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return c >= ' ' && c < 0x7F && c != '"' && c != '\\';
  });
}

// Whether the filter takes as many values as the parameters give: one value goes everywhere, more
// go one by one.
bool TakesItsParameters(const ReportDefinition& report, std::u16string_view filter,
                        std::size_t given) {
  const std::size_t places = Places(filter);
  if (report.rule == ReportRule::kExpiredBefore) return places == 1 && given == 0;
  return given == 1 ? places >= 1 : places == given;
}

TEST(ReportTable, EveryReportIsComplete) {
  for (const ReportDefinition& report : AllReports()) {
    SCOPED_TRACE(report.method);
    const auto given = static_cast<std::size_t>(
        std::count_if(report.parameters.begin(), report.parameters.end(),
                      [](const auto& each) { return each.kind != ParameterKind::kController; }));
    EXPECT_TRUE(IsOneBalancedFilter(report.filter));
    EXPECT_TRUE(TakesItsParameters(report, report.filter, given));
    const bool hasOther = report.rule == ReportRule::kEmptySecondParameter;
    EXPECT_EQ(report.filterForEmptySecond.empty(), !hasOther);
    if (hasOther) {
      EXPECT_TRUE(IsOneBalancedFilter(report.filterForEmptySecond));
      EXPECT_EQ(Places(report.filterForEmptySecond), given - 1);
    }
    EXPECT_EQ(report.accountFlags != 0, report.rule == ReportRule::kAccountFlags);
    EXPECT_TRUE(report.method.starts_with("Get"));
    EXPECT_FALSE(GroupName(report.group).empty());
    // They are printed into JSON as they are.
    for (const auto text : {report.method, report.title, report.defaultColumns}) {
      EXPECT_TRUE(IsPlainAscii(text)) << text;
    }
    for (const ReportParameter& parameter : report.parameters) {
      EXPECT_TRUE(IsPlainAscii(parameter.name)) << parameter.name;
      EXPECT_TRUE(IsPlainAscii(parameter.title)) << parameter.title;
    }
  }
}

TEST(ReportTable, NamesAreUniqueAndFound) {
  std::set<std::string_view> methods;
  for (const ReportDefinition& report : AllReports()) {
    EXPECT_TRUE(methods.insert(report.method).second) << report.method;
    EXPECT_EQ(FindReport(report.method), &report);
    std::set<std::string_view> parameters;
    for (const ReportParameter& parameter : report.parameters) {
      EXPECT_TRUE(parameters.insert(parameter.name).second) << report.method;
    }
  }
  EXPECT_EQ(FindReport("getusers"), nullptr);
  EXPECT_EQ(FindReport(""), nullptr);
}

TEST(ReportTable, DefaultColumnsAreNamesWithoutRepetition) {
  for (const ReportDefinition& report : AllReports()) {
    SCOPED_TRACE(report.method);
    std::set<std::string> columns;
    std::string column;
    for (char c : std::string(report.defaultColumns) + ",") {
      if (c != ',') {
        column += c;
        continue;
      }
      EXPECT_FALSE(column.empty());
      EXPECT_TRUE(columns.insert(column).second) << column;
      column.clear();
    }
    EXPECT_TRUE(columns.contains("distinguishedName"));
  }
}

}  // namespace
}  // namespace zorvan::reports
