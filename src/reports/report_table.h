// The canned reports as a table: everything that tells one plain report from another.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace zorvan::reports {

// Where a parameter's value goes and what it looks like in Java.
enum class ParameterKind {
  kTime,  // long, milliseconds since 1970-01-01 UTC; a 100-nanosecond count since 1601 in the
          // filter
  kGeneralizedTime,    // String such as "20240131000000.0Z", not converted; escaped
  kText,               // String, escaped
  kDistinguishedName,  // String, escaped
  kController,         // String, the controller that is searched; not part of the filter
};

struct ReportParameter {
  std::string_view name;  // on the command line
  ParameterKind kind;
  std::string_view title;  // what it means, in words
};

// A parameter's value as Java passed it: a long, or a String that may be null.
using ReportArgument = std::variant<std::int64_t, std::optional<std::u16string>>;

enum class ReportGroup { kUsers, kComputers, kMail, kOrganizationalUnits, kGroups };

// What a report does beyond its filter.
enum class ReportRule {
  kFilterOnly,
  kAccountFlags,          // keeps rows whose userAccountControl has a bit of the mask
  kExpiredBefore,         // the filter's time is the current time
  kDeletedUsers,          // looks among the deleted objects, whatever the base, and keeps users
  kDeletedComputers,      // the same with computers
  kEmptySecondParameter,  // another filter when the second parameter is empty
};

struct ReportDefinition {
  std::string_view method;  // of ADHandler
  ReportGroup group;
  std::string_view title;
  std::span<const ReportParameter> parameters;
  // "%s" takes the parameters that are not controllers in their order; a single one is taken by
  // every "%s".
  std::u16string_view filter;
  std::string_view defaultColumns;  // comma-separated
  ReportRule rule = ReportRule::kFilterOnly;
  std::uint32_t accountFlags = 0;                 // of kAccountFlags
  std::u16string_view filterForEmptySecond = {};  // of kEmptySecondParameter
};

// All plain reports, in the order of their groups.
std::span<const ReportDefinition> AllReports();

// Whether the report looks among the deleted objects instead of below a base.
bool IsAmongDeletedObjects(const ReportDefinition& report);

// Null when there is none of that name.
const ReportDefinition* FindReport(std::string_view method);

// "users", "computers", "mail", "ous", "groups".
std::string_view GroupName(ReportGroup group);

}  // namespace zorvan::reports
