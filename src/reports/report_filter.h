// Report filters with their parameters filled in.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "reports/report_table.h"

namespace zorvan::reports {

// Milliseconds since 1970 as the decimal count of 100-nanosecond intervals since 1601, cut to whole
// seconds. A time too far away for the count takes the nearest one that fits.
std::u16string FilterTime(std::int64_t milliseconds);

// The filter of a report for these arguments. currentFileTime is used by reports that take no time
// from Java. Absent when a parameter that the filter needs is null.
std::optional<std::u16string> BuildFilter(const ReportDefinition& report,
                                          std::span<const ReportArgument> arguments,
                                          std::int64_t currentFileTime);

}  // namespace zorvan::reports
