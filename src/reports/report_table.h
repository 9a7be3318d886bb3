// The canned reports as a table: everything that tells one report from another.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "call/error_list.h"
#include "call/native_handler.h"
#include "directory/paged_search.h"

namespace zorvan::reports {

// Where a parameter's value goes and what it looks like in Java.
enum class ParameterKind {
  // long, milliseconds since 1970-01-01 UTC; a 100-nanosecond count since 1601 in the filter
  kTime,
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

struct ReportRequest {
  std::optional<std::u16string> baseDn;        // absent when Java passed null
  std::span<const std::u16string> attributes;  // the columns, in Java's order
  std::span<const ReportArgument> arguments;   // one for each parameter of the definition
};

enum class ReportGroup { kUsers, kComputers, kMail, kOrganizationalUnits, kGroups };

enum class SearchPlace {
  kGivenBase,
  kDeletedObjects,  // of the domain, whatever the base
  kConfiguration,   // a base in the forest's configuration; that itself when none is given
};

struct ReportDefinition;

// Makes the filter of a call. currentFileTime is now, for reports that take no time from Java.
// Absent when a parameter that the filter needs is null.
using FilterMaker = std::optional<std::u16string> (*)(const ReportDefinition& report,
                                                      std::span<const ReportArgument> arguments,
                                                      std::int64_t currentFileTime);

// Makes what decides which of the rows found are delivered.
using RowSelector = directory::RowSelection (*)(call::NativeHandler& handler);

// Runs a report that is more than one search, between its start and end lines.
using ReportRoutine = void (*)(call::NativeHandler& handler, const ReportDefinition& report,
                               const ReportRequest& request, call::RowListener& listener,
                               call::ErrorList& errors);

// Puts the parameters that are not controllers in the place of the filter's "%s", in their order; a
// single one takes every "%s".
std::optional<std::u16string> FillIn(const ReportDefinition& report,
                                     std::span<const ReportArgument> arguments,
                                     std::int64_t currentFileTime);

// Binds and streams one search.
void RunSearch(call::NativeHandler& handler, const ReportDefinition& report,
               const ReportRequest& request, call::RowListener& listener, call::ErrorList& errors);

struct ReportDefinition {
  std::string_view method = {};  // of ADHandler
  ReportGroup group = ReportGroup::kUsers;
  std::string_view title = {};
  std::span<const ReportParameter> parameters = {};
  SearchPlace place = SearchPlace::kGivenBase;
  std::u16string_view filter = {};
  std::string_view columns = {};  // shown unless others are asked for; comma-separated
  FilterMaker makeFilter = FillIn;
  RowSelector select = nullptr;  // null: all rows
  ReportRoutine run = RunSearch;
};

// All reports, in the order of their groups.
std::span<const ReportDefinition* const> AllReports();

// Null when there is none of that name.
const ReportDefinition* FindReport(std::string_view method);

// "users", "computers", "mail", "ous", "groups".
std::string_view GroupName(ReportGroup group);

}  // namespace zorvan::reports
