#include "bridge/java_errors.h"

#include <array>
#include <string>

#include "bridge/marshalling.h"

namespace zorvan::bridge {
namespace {

void LogEntry(call::LogSink& log, const call::ErrorEntry& entry) {
  const std::array<call::LogArgument, 4> arguments{entry.severity, std::string_view(entry.code),
                                                   entry.key, entry.objectName};
  std::u16string line;
  call::FormatLogText(line, "No error list was passed for the %s error %s %s of %ws", arguments);
  log.Write(call::LogChannel::kGeneral, call::kMilestone, line);
}

}  // namespace

void JavaErrorList::SetErrorList(const call::ErrorEntry& entry) {
  if (list_ == nullptr) {
    LogEntry(log_, entry);
    return;
  }
  const LocalRef<jstring> objectName = NewJavaString(java_, entry.objectName);
  const LocalRef<jstring> severity = NewJavaString(java_, entry.severity);
  const LocalRef<jstring> code = NewJavaString(java_, entry.code);
  const LocalRef<jstring> key = NewJavaString(java_, entry.key);
  const LocalRef<jstring> text =
      entry.text ? NewJavaString(java_, *entry.text) : LocalRef<jstring>(java_.env(), nullptr);
  if (java_.Failed()) return;
  std::array<jvalue, 5> arguments{};
  arguments[0].l = objectName.get();
  arguments[1].l = severity.get();
  arguments[2].l = code.get();
  arguments[3].l = key.get();
  arguments[4].l = text.get();
  java_.env()->CallVoidMethodA(list_, java_.classes().nativeErrorSetErrorList, arguments.data());
  java_.Check();
}

}  // namespace zorvan::bridge
