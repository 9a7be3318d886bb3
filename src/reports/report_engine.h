// Runs a report: start text, the report's routine, end text.
#pragma once

#include "call/error_list.h"
#include "call/native_handler.h"
#include "reports/report_table.h"

namespace zorvan::reports {

// Streams the report's rows to the listener. A failed bind adds one error entry on the domain's
// name and streams nothing; a search that fails on the way ends the rows and adds one, so that a
// short report never passes for a whole one.
void RunReport(call::NativeHandler& handler, const ReportDefinition& report,
               const ReportRequest& request, call::RowListener& listener, call::ErrorList& errors);

}  // namespace zorvan::reports
