#include "bridge/java_listener.h"

namespace zorvan::bridge {

void JavaRowListener::AddRow(const call::Row& row) {
  const LocalRef<jobject> properties =
      assembler_.IsThere() ? assembler_.ToProperties(row) : writer_.ToProperties(row);
  if (java_.Failed()) return;
  jvalue argument;
  argument.l = properties.get();
  java_.env()->CallVoidMethodA(listener_, java_.classes().nativeListenerAddRow, &argument);
  java_.Check();
}

bool JavaRowListener::IsCompleted() {
  if (java_.Failed()) return true;
  const jboolean completed = java_.env()->CallBooleanMethodA(
      listener_, java_.classes().nativeListenerIsCompleted, nullptr);
  return !java_.Check() || completed == JNI_TRUE;
}

}  // namespace zorvan::bridge
