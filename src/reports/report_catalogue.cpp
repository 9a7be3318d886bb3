// Prints the report table as JSON for the Java side: a build tool, not part of the library. The
// texts of the table are plain ASCII without quotes or backslashes, so they are printed as they
// stand; what is not would be no JSON, which every test of the Java side reads.
#include <cstdio>
#include <string>
#include <string_view>

#include "reports/report_table.h"

namespace {

using zorvan::reports::ParameterKind;
using zorvan::reports::ReportDefinition;
using zorvan::reports::ReportParameter;
using zorvan::reports::SearchPlace;

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string_view TypeName(ParameterKind kind) {
  switch (kind) {
    case ParameterKind::kTime:
      return "time";
    case ParameterKind::kGeneralizedTime:
      return "generalizedTime";
    case ParameterKind::kText:
      return "text";
    case ParameterKind::kDistinguishedName:
      return "dn";
    case ParameterKind::kController:
      return "controller";
  }
  return {};
}

std::string_view UnitName(ParameterKind kind) {
  switch (kind) {
    case ParameterKind::kTime:
      return "milliseconds since 1970-01-01 UTC";
    case ParameterKind::kGeneralizedTime:
      return "generalized time, UTC";
    default:
      return "";
  }
}

std::string_view PlaceName(SearchPlace place) {
  switch (place) {
    case SearchPlace::kGivenBase:
      return "base";
    case SearchPlace::kDeletedObjects:
      return "deletedObjects";
    case SearchPlace::kConfiguration:
      return "configuration";
  }
  return {};
}

std::string Parameters(const ReportDefinition& report) {
  std::string json;
  for (const ReportParameter& parameter : report.parameters) {
    if (!json.empty()) json += ", ";
    json += "{\"name\": " + Quoted(parameter.name) +
            ", \"type\": " + Quoted(TypeName(parameter.kind)) +
            ", \"unit\": " + Quoted(UnitName(parameter.kind)) +
            ", \"title\": " + Quoted(parameter.title) + "}";
  }
  return "[" + json + "]";
}

std::string Columns(std::string_view columns) {
  std::string json = "[\"";
  for (char c : columns) json += c == ',' ? std::string("\", \"") : std::string(1, c);
  return json + "\"]";
}

std::string Entry(const ReportDefinition& report) {
  return "  {\"name\": " + Quoted(report.method) +
         ", \"group\": " + Quoted(GroupName(report.group)) +
         ", \"title\": " + Quoted(report.title) +
         ",\n   \"place\": " + Quoted(PlaceName(report.place)) +
         ", \"parameters\": " + Parameters(report) +
         ",\n   \"defaultColumns\": " + Columns(report.columns) + "}";
}

}  // namespace

int main() {
  std::string json;
  for (const ReportDefinition* report : zorvan::reports::AllReports()) {
    json += (json.empty() ? "[\n" : ",\n") + Entry(*report);
  }
  json += "\n]\n";
  return std::fwrite(json.data(), 1, json.size(), stdout) == json.size() ? 0 : 1;
}
