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

// The filter makers of reports with more than FillIn.

// The one "%s" is the current time.
std::optional<std::u16string> FillInNow(const ReportDefinition& report,
                                        std::span<const ReportArgument> arguments,
                                        std::int64_t currentFileTime);

// A service pack that is null or empty means computers without one.
std::optional<std::u16string> OperatingSystemFilter(const ReportDefinition& report,
                                                    std::span<const ReportArgument> arguments,
                                                    std::int64_t currentFileTime);

}  // namespace zorvan::reports
