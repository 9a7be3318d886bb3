// The Java side of a call as adapters see it: who may cancel, and who takes notices.
#pragma once

#include <jni.h>

#include "bridge/java_call.h"
#include "call/notice.h"

namespace zorvan::bridge {

class JavaObserver final : public platform::CallObserver, public call::NoticeList {
 public:
  // errors may be null; notices are then lines of the log only.
  JavaObserver(JavaCall& java, jobject errors) : java_(java), errors_(errors) {}

  // The handler whose log takes the notices' lines; set before the call begins.
  void Attach(call::NativeHandler& handler) { handler_ = &handler; }

  // The listener that is asked whether it has enough; null between searches.
  void SetListener(call::RowListener* listener) { listener_ = listener; }

  bool IsCancelled() override;
  void Notify(const platform::Notice& notice) override;
  void AddNotice(std::string_view name, const platform::Notice& notice) override;

 private:
  JavaCall& java_;
  jobject errors_;
  call::NativeHandler* handler_ = nullptr;
  call::RowListener* listener_ = nullptr;
  bool cancelled_ = false;
};

}  // namespace zorvan::bridge
