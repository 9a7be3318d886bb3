#include "bridge/java_observer.h"

#include <array>

#include "bridge/marshalling.h"

namespace zorvan::bridge {

bool JavaObserver::IsCancelled() {
  cancelled_ = cancelled_ || java_.Failed() || (listener_ != nullptr && listener_->IsCompleted());
  return cancelled_;
}

void JavaObserver::Notify(const platform::Notice& notice) {
  if (handler_ != nullptr) call::AddNotice(*handler_, this, notice);
}

void JavaObserver::AddNotice(std::string_view name, const platform::Notice& notice) {
  // A Java side without the method has no use for notices.
  if (errors_ == nullptr || java_.Failed() || java_.classes().nativeErrorAddNotice == nullptr) {
    return;
  }
  const LocalRef<jstring> kind = NewJavaString(java_, name);
  const LocalRef<jstring> subject = NewJavaString(java_, notice.subject);
  const LocalRef<jstring> detail = NewJavaString(java_, notice.detail);
  if (java_.Failed()) return;
  std::array<jvalue, 4> arguments{};
  arguments[0].l = kind.get();
  arguments[1].l = subject.get();
  arguments[2].l = detail.get();
  arguments[3].j = static_cast<jlong>(notice.count);
  java_.env()->CallVoidMethodA(errors_, java_.classes().nativeErrorAddNotice, arguments.data());
  java_.Check();
}

}  // namespace zorvan::bridge
