#include "bridge/java_log.h"

#include <array>

#include "bridge/marshalling.h"

namespace zorvan::bridge {
namespace {

jmethodID MethodOf(const JavaClassCache& classes, call::LogChannel channel) {
  switch (channel) {
    case call::LogChannel::kManagement:
      return classes.admanglog;
    case call::LogChannel::kDelegation:
      return classes.deleglog;
    default:
      return classes.log;
  }
}

}  // namespace

void JavaLog::Write(call::LogChannel channel, int level, std::u16string_view text) {
  const LocalRef<jstring> line = NewJavaString(java_, text);
  if (!line) return;
  const JavaClassCache& classes = java_.classes();
  std::array<jvalue, 2> arguments{};
  arguments[0].i = level;
  arguments[1].l = line.get();
  java_.env()->CallStaticVoidMethodA(classes.logOwnerClass, MethodOf(classes, channel),
                                     arguments.data());
  java_.Check();
}

}  // namespace zorvan::bridge
