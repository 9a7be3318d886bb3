#include "bridge/export_frame.h"

#include <exception>
#include <new>
#include <string>

#include "bridge/marshalling.h"
#include "directory/handler_initialization.h"

namespace zorvan::bridge {
namespace {

using call::LogMessage;

using directory::kSomeAuthenticationProblem;

bool IsDebugLogLevel(JavaCall& java) {
  const JavaClassCache& classes = java.classes();
  const jboolean answer =
      java.env()->CallStaticBooleanMethodA(classes.logOwnerClass, classes.isdebugLogLevel, nullptr);
  return java.Check() && answer == JNI_TRUE;
}

void Report(JavaLog& log, JavaErrorList& errors, platform::HResult result, std::string_view what) {
  std::u16string line;
  call::FormatLogText(line, "The call ended in an exception: %s", {{call::LogArgument(what)}});
  log.Write(call::LogChannel::kGeneral, call::kMilestone, line);
  call::AddNativeError(errors, {}, call::kSevere, platform::Bits(result),
                       kSomeAuthenticationProblem);
}

}  // namespace

ApartmentScope::ApartmentScope(platform::Platform& platform, const FrameTraits& traits)
    : platform_(platform), uninitializes_(traits.uninitializes) {
  platform_.InitializeApartment(traits.apartment);
}

ApartmentScope::~ApartmentScope() {
  if (uninitializes_) platform_.UninitializeApartment();
}

ExportFrame::ExportFrame(JavaCall& java, const FrameTraits& traits, JavaListener listener,
                         JavaErrors errors)
    : java_(java),
      traits_(traits),
      log_(java),
      errors_(java, errors.object, log_),
      observer_(java, listener.object, errors.object),
      platform_(platform::CreatePlatform()),
      apartment_(*platform_, traits),
      handler_(*platform_, log_) {
  observer_.Attach(handler_);
  handler_.observer = &observer_;
}

bool ExportFrame::Begin(JavaSettings settings) {
  if (!traits_.readsSettings) return true;
  handler_.debugEnabled = IsDebugLogLevel(java_);
  LogMessage(handler_, call::kMilestone, "Initialization Starts");
  if (settings.object == nullptr) {
    LogMessage(handler_, call::kMilestone, "No domain settings were passed");
    call::AddNativeError(errors_, {}, call::kSevere, platform::Bits(platform::kInvalidArgument),
                         kSomeAuthenticationProblem);
    return false;
  }
  directory::DomainProperties properties;
  ReadDomainProperties(java_, handler_, settings.object, properties);
  if (java_.Failed()) return false;
  return directory::InitializeHandler(handler_, properties, errors_) && !java_.Failed();
}

void ExportFrame::End() {
  if (!observer_.WasInterrupted()) return;
  LogMessage(handler_, call::kMilestone, "The thread was interrupted, which ended the call");
  call::AddNativeError(errors_, handler_.settings.domainName,
                       delivered_ ? call::kWarningSeverity : call::kSevere,
                       platform::Bits(platform::kCancelled), {});
}

void ReportCaughtException(JavaCall& java, JavaErrors errors) noexcept {
  try {
    JavaLog log(java);
    JavaErrorList list(java, errors.object, log);
    try {
      throw;
    } catch (const std::bad_alloc&) {
      Report(log, list, platform::kOutOfMemory, "out of memory");
    } catch (const std::exception& exception) {
      Report(log, list, platform::kUnexpected, exception.what());
    } catch (...) {
      Report(log, list, platform::kUnexpected, "of an unknown kind");
    }
  } catch (...) {
    // Not even memory for the report: the neutral result says what can still be said.
    return;
  }
}

}  // namespace zorvan::bridge
