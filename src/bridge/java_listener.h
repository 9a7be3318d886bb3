// Rows of a call as calls of the NativeListener that Java passed.
#pragma once

#include <jni.h>

#include "bridge/java_call.h"
#include "bridge/row_assembler.h"
#include "bridge/row_writer.h"
#include "call/row.h"

namespace zorvan::bridge {

// Asks a NativeListener, which is not null, whether it has enough. True once Java code has thrown.
bool ListenerIsCompleted(JavaCall& java, jobject listener);

// Once Java code has thrown, IsCompleted answers true and AddRow does nothing.
class JavaRowListener final : public call::RowListener {
 public:
  // listener is not null.
  JavaRowListener(JavaCall& java, jobject listener, const call::KeyTable& keys)
      : java_(java), listener_(listener), assembler_(java, keys), writer_(java, keys) {}

  void AddRow(const call::Row& row) override;
  bool IsCompleted() override;

  bool HasDelivered() const { return delivered_; }

 private:
  JavaCall& java_;
  jobject listener_;
  bool delivered_ = false;
  RowAssembler assembler_;
  RowWriter writer_;  // where the Java side has no assembler
};

}  // namespace zorvan::bridge
