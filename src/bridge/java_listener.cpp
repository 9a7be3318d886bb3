#include "bridge/java_listener.h"

namespace zorvan::bridge {

bool ListenerIsCompleted(JavaCall& java, jobject listener) {
  if (java.Failed()) return true;
  const jboolean completed =
      java.env()->CallBooleanMethodA(listener, java.classes().nativeListenerIsCompleted, nullptr);
  return !java.Check() || completed == JNI_TRUE;
}

void JavaRowListener::AddRow(const call::Row& row) {
  const LocalRef<jobject> properties =
      assembler_.IsThere() ? assembler_.ToProperties(row) : writer_.ToProperties(row);
  if (java_.Failed()) return;
  delivered_ = true;
  jvalue argument;
  argument.l = properties.get();
  java_.env()->CallVoidMethodA(listener_, java_.classes().nativeListenerAddRow, &argument);
  java_.Check();
}

bool JavaRowListener::IsCompleted() { return ListenerIsCompleted(java_, listener_); }

}  // namespace zorvan::bridge
