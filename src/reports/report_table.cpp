#include "reports/report_table.h"

#include <algorithm>
#include <array>

#include "reports/report_definitions.h"

namespace zorvan::reports {
namespace {

#define ZORVAN_REPORT(method, shape, ...) &definitions::method,
constexpr std::array kReports{
#include "reports/reports.def"
};

}  // namespace

std::span<const ReportDefinition* const> AllReports() { return kReports; }

const ReportDefinition* FindReport(std::string_view method) {
  const auto* found = std::ranges::find(kReports, method, &ReportDefinition::method);
  return found == kReports.end() ? nullptr : *found;
}

std::string_view GroupName(ReportGroup group) {
  switch (group) {
    case ReportGroup::kUsers:
      return "users";
    case ReportGroup::kComputers:
      return "computers";
    case ReportGroup::kMail:
      return "mail";
    case ReportGroup::kOrganizationalUnits:
      return "ous";
    case ReportGroup::kGroups:
      return "groups";
  }
  return {};
}

}  // namespace zorvan::reports
