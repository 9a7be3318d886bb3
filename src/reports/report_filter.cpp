#include "reports/report_filter.h"

#include <limits>
#include <vector>

#include "call/decimal_text.h"
#include "platform/filter_value.h"

namespace zorvan::reports {
namespace {

constexpr std::int64_t kSecondsFrom1601To1970 = 11644473600;
constexpr std::int64_t kIntervalsPerSecond = 10'000'000;

// The parameters as they stand in a filter, in their order; absent when one is null.
std::optional<std::vector<std::u16string>> FilterValues(const ReportDefinition& report,
                                                        std::span<const ReportArgument> arguments) {
  std::vector<std::u16string> values;
  for (std::size_t i = 0; i < report.parameters.size(); ++i) {
    if (report.parameters[i].kind == ParameterKind::kController) continue;
    if (const auto* time = std::get_if<std::int64_t>(&arguments[i])) {
      values.push_back(FilterTime(*time));
      continue;
    }
    const auto& text = std::get<std::optional<std::u16string>>(arguments[i]);
    if (!text) return std::nullopt;
    values.push_back(platform::EscapeFilterValue(*text));
  }
  return values;
}

// A value is never looked at for another "%s".
std::u16string Fill(std::u16string_view format, const std::vector<std::u16string>& values) {
  std::u16string filter;
  std::size_t next = 0;
  for (std::size_t position = 0; position < format.size();) {
    const std::size_t place = format.find(u"%s", position);
    filter.append(format.substr(position, place - position));
    if (place == std::u16string_view::npos) break;
    filter.append(values.at(values.size() == 1 ? 0 : next++));
    position = place + 2;
  }
  return filter;
}

}  // namespace

std::u16string FilterTime(std::int64_t milliseconds) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
  const std::int64_t seconds = milliseconds / 1000 + kSecondsFrom1601To1970;
  if (seconds > kMost / kIntervalsPerSecond) return call::DecimalText(kMost);
  if (seconds < kLeast / kIntervalsPerSecond) return call::DecimalText(kLeast);
  return call::DecimalText(seconds * kIntervalsPerSecond);
}

std::optional<std::u16string> FillIn(const ReportDefinition& report,
                                     std::span<const ReportArgument> arguments, std::int64_t) {
  const auto values = FilterValues(report, arguments);
  return values ? std::optional(Fill(report.filter, *values)) : std::nullopt;
}

std::optional<std::u16string> FillInNow(const ReportDefinition& report,
                                        std::span<const ReportArgument>,
                                        std::int64_t currentFileTime) {
  return Fill(report.filter, {call::DecimalText(currentFileTime)});
}

std::optional<std::u16string> OperatingSystemFilter(const ReportDefinition& report,
                                                    std::span<const ReportArgument> arguments,
                                                    std::int64_t currentFileTime) {
  const auto& servicePack = std::get<std::optional<std::u16string>>(arguments[1]);
  if (servicePack && !servicePack->empty()) return FillIn(report, arguments, currentFileTime);
  const auto& name = std::get<std::optional<std::u16string>>(arguments[0]);
  if (!name) return std::nullopt;
  return Fill(
      u"(&(objectCategory=computer)(objectClass=computer)(operatingSystem=%s)"
      u"(!(operatingSystemServicePack=*)))",
      {platform::EscapeFilterValue(*name)});
}

}  // namespace zorvan::reports
