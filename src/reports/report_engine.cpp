#include "reports/report_engine.h"

#include <memory>

#include "directory/bind.h"
#include "directory/paged_search.h"

namespace zorvan::reports {
namespace {

using call::LogMessage;
using call::LogMessageW;
using call::NativeHandler;
using platform::Bits;
using platform::Failed;
using platform::HResult;

std::string_view NameWithoutGet(const ReportDefinition& report) {
  return report.method.substr(report.method.starts_with("Get") ? 3 : 0);
}

// The controller that the report names, or nothing when it runs on the one of the connection. An
// absent or empty name is the connection's too: the user who names none wants the report all the
// same.
std::u16string_view ControllerOf(const ReportDefinition& report, const ReportRequest& request) {
  for (std::size_t i = 0; i < report.parameters.size(); ++i) {
    if (report.parameters[i].kind != ParameterKind::kController) continue;
    const auto& name = std::get<std::optional<std::u16string>>(request.arguments[i]);
    if (name) return *name;
  }
  return {};
}

bool IsAmongDeletedObjects(const ReportDefinition& report) {
  return report.place == SearchPlace::kDeletedObjects;
}

std::u16string BindPath(const NativeHandler& handler, const ReportDefinition& report,
                        const ReportRequest& request) {
  if (IsAmongDeletedObjects(report)) return directory::DeletedObjectsPath(handler.settings);
  std::u16string_view base;
  if (report.place == SearchPlace::kConfiguration) {
    base = handler.settings.configurationNamingContext;
  }
  if (request.baseDn) base = *request.baseDn;
  const std::u16string_view controller = ControllerOf(report, request);
  return controller.empty() ? directory::ObjectPath(handler.settings, base)
                            : directory::ControllerPath(controller, base);
}

void StreamReport(NativeHandler& handler, const ReportDefinition& report,
                  const ReportRequest& request, platform::DirectorySearch& search,
                  std::u16string_view filter, call::RowListener& listener,
                  call::ErrorList& errors) {
  LogMessageW(handler, call::kMilestone, "Getting Object properties with filter %ws\t", filter);
  const directory::SearchRequest wanted{.filter = filter,
                                        .attributes = request.attributes,
                                        .tombstones = IsAmongDeletedObjects(report)};
  const directory::SearchOutcome outcome = directory::StreamRows(
      handler, search, wanted, directory::FirstAnswer::kHonoured, listener,
      report.select == nullptr ? directory::RowSelection{} : report.select(handler));
  if (!Failed(outcome.result)) return;
  // A search that broke off must not pass for a complete report. With rows delivered it went on to
  // its end all the same.
  call::AddNativeError(errors, handler.settings.domainName,
                       outcome.rows == 0 ? call::kSevere : call::kWarningSeverity,
                       Bits(outcome.result), directory::ContainerBindFailureKey(outcome.result));
}

}  // namespace

void RunSearch(NativeHandler& handler, const ReportDefinition& report, const ReportRequest& request,
               call::RowListener& listener, call::ErrorList& errors) {
  const auto filter =
      report.makeFilter(report, request.arguments, handler.platform.system().CurrentFileTime());
  if (!filter) {
    LogMessage(handler, call::kMilestone, "%s has no value for a parameter of its filter",
               report.method);
    // No key of the reports speaks of parameters, so the system's words go without one.
    call::AddSystemError(handler, errors, handler.settings.domainName, call::kSevere,
                         Bits(platform::kInvalidArgument));
    return;
  }
  const std::u16string path = BindPath(handler, report, request);
  std::unique_ptr<platform::DirectorySearch> search;
  const HResult result =
      directory::BindObject(handler, path, search,
                            IsAmongDeletedObjects(report) ? directory::kDeletedObjectsFlags
                                                          : platform::kSecureAuthentication);
  if (call::EndedByCaller(handler, result)) return;
  if (Failed(result)) {
    call::AddNativeError(errors, handler.settings.domainName, call::kSevere, Bits(result),
                         directory::ReportBindFailureKey(result));
    LogMessageW(handler, call::kMilestone, "Object Bind Failed,bind str: %ws,error code: %x", path,
                Bits(result));
    directory::NotifyFailure(handler, platform::NoticeKind::kOpenFailed, path, result,
                             directory::OpenError(handler, path));
    return;
  }
  StreamReport(handler, report, request, *search, *filter, listener, errors);
}

void RunReport(NativeHandler& handler, const ReportDefinition& report, const ReportRequest& request,
               call::RowListener& listener, call::ErrorList& errors) {
  LogMessage(handler, call::kMilestone, "Getting %s starts", NameWithoutGet(report));
  report.run(handler, report, request, listener, errors);
  LogMessage(handler, call::kMilestone, "Getting %s Finished", NameWithoutGet(report));
}

}  // namespace zorvan::reports
