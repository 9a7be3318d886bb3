#include "reports/report_engine.h"

#include <algorithm>
#include <memory>

#include "directory/bind.h"
#include "directory/paged_search.h"
#include "platform/text.h"
#include "reports/report_filter.h"

namespace zorvan::reports {
namespace {

using call::LogMessage;
using call::LogMessageW;
using call::NativeHandler;
using platform::Bits;
using platform::Failed;
using platform::HResult;

constexpr std::u16string_view kObjectClass = u"objectClass";
constexpr std::u16string_view kUserAccountControl = u"userAccountControl";

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

std::u16string BindPath(const NativeHandler& handler, const ReportDefinition& report,
                        const ReportRequest& request) {
  if (IsAmongDeletedObjects(report)) return directory::DeletedObjectsPath(handler.settings);
  const std::u16string_view base =
      request.baseDn ? std::u16string_view(*request.baseDn) : std::u16string_view();
  const std::u16string_view controller = ControllerOf(report, request);
  return controller.empty() ? directory::ObjectPath(handler.settings, base)
                            : directory::ControllerPath(controller, base);
}

// Keeps the rows whose account flags have a bit of the mask.
directory::RowSelection AccountFlagSelection(NativeHandler& handler, std::uint32_t mask) {
  LogMessage(handler, call::kDetail, "Getting AccountStatus QueryValues");
  const auto keep = [&handler, mask](platform::DirectorySearch& search) {
    platform::Column column;
    const HResult result = search.GetColumn(kUserAccountControl, column);
    if (Failed(result) || column.values.empty()) {
      LogMessage(handler, call::kMilestone,
                 "Error in getting the User Attributes while account status based users and the "
                 "error code is %x",
                 Bits(result));
      return false;
    }
    return (static_cast<std::uint32_t>(column.values[0].number) & mask) != 0;
  };
  return {{kUserAccountControl}, keep};
}

bool HasClass(platform::DirectorySearch& search, std::u16string_view name) {
  platform::Column column;
  if (Failed(search.GetColumn(kObjectClass, column))) return false;
  return std::any_of(column.values.begin(), column.values.end(), [&](const platform::Value& value) {
    return platform::EqualsIgnoringCase(value.text, name);
  });
}

// A deleted object keeps its classes but loses its category, and a computer's classes include the
// user's: so a user is what is no computer.
directory::RowSelection DeletedClassSelection(bool computers) {
  const auto keep = [computers](platform::DirectorySearch& search) {
    return HasClass(search, u"user") && HasClass(search, u"computer") == computers;
  };
  return {{kObjectClass}, keep};
}

directory::RowSelection SelectionOf(NativeHandler& handler, const ReportDefinition& report) {
  if (IsAmongDeletedObjects(report)) {
    return DeletedClassSelection(report.rule == ReportRule::kDeletedComputers);
  }
  return report.rule == ReportRule::kAccountFlags
             ? AccountFlagSelection(handler, report.accountFlags)
             : directory::RowSelection{};
}

void StreamReport(NativeHandler& handler, const ReportDefinition& report,
                  const ReportRequest& request, platform::DirectorySearch& search,
                  std::u16string_view filter, call::RowListener& listener,
                  call::ErrorList& errors) {
  LogMessageW(handler, call::kMilestone, "Getting Object properties with filter %ws\t", filter);
  const directory::SearchRequest wanted{.filter = filter,
                                        .attributes = request.attributes,
                                        .tombstones = IsAmongDeletedObjects(report)};
  const directory::SearchOutcome outcome =
      directory::StreamRows(handler, search, wanted, directory::FirstAnswer::kHonoured, listener,
                            SelectionOf(handler, report));
  if (!Failed(outcome.result)) return;
  // A search that broke off must not pass for a complete report. With rows delivered it went on to
  // its end all the same.
  call::AddNativeError(errors, handler.settings.domainName,
                       outcome.rows == 0 ? call::kSevere : call::kWarningSeverity,
                       Bits(outcome.result), directory::ContainerBindFailureKey(outcome.result));
}

void BindAndStream(NativeHandler& handler, const ReportDefinition& report,
                   const ReportRequest& request, call::RowListener& listener,
                   call::ErrorList& errors) {
  const auto filter =
      BuildFilter(report, request.arguments, handler.platform.system().CurrentFileTime());
  const std::u16string path = BindPath(handler, report, request);
  std::unique_ptr<platform::DirectorySearch> search;
  HResult result = platform::kInvalidArgument;
  if (filter) {
    result = directory::BindObject(handler, path, search,
                                   IsAmongDeletedObjects(report) ? directory::kDeletedObjectsFlags
                                                                 : platform::kSecureAuthentication);
  } else {
    LogMessage(handler, call::kMilestone, "%s has no value for a parameter of its filter",
               report.method);
  }
  if (call::EndedByCaller(handler, result)) return;
  if (Failed(result)) {
    call::AddNativeError(errors, handler.settings.domainName, call::kSevere, Bits(result),
                         directory::ReportBindFailureKey(result));
    LogMessageW(handler, call::kMilestone, "Object Bind Failed,bind str: %ws,error code: %x", path,
                Bits(result));
    return;
  }
  StreamReport(handler, report, request, *search, *filter, listener, errors);
}

}  // namespace

void RunReport(NativeHandler& handler, const ReportDefinition& report, const ReportRequest& request,
               call::RowListener& listener, call::ErrorList& errors) {
  LogMessage(handler, call::kMilestone, "Getting %s starts", NameWithoutGet(report));
  BindAndStream(handler, report, request, listener, errors);
  LogMessage(handler, call::kMilestone, "Getting %s Finished", NameWithoutGet(report));
}

}  // namespace zorvan::reports
