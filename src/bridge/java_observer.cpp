#include "bridge/java_observer.h"

#include <array>

#include "bridge/java_listener.h"
#include "bridge/marshalling.h"

namespace zorvan::bridge {

void JavaObserver::Begin(directory::FirstAnswer firstAnswer) {
  if (firstAnswer == directory::FirstAnswer::kDiscarded && listener_ != nullptr) {
    hadEnoughFromTheStart_ = ListenerIsCompleted(java_, listener_);
  }
}

bool JavaObserver::IsCancelled() {
  if (cancelled_ || java_.Failed()) return true;
  const Clock::time_point now = Clock::now();
  if (now - asked_ < kShortestPause) return false;
  asked_ = now;
  // The listener comes first: one that has enough misses no row, interrupt or not.
  cancelled_ = ListenerHasEnough();
  if (!cancelled_) cancelled_ = interrupted_ = ThreadIsInterrupted();
  return cancelled_;
}

bool JavaObserver::ListenerHasEnough() {
  if (listener_ == nullptr) return false;
  const bool enough = ListenerIsCompleted(java_, listener_);
  if (enough && !java_.Failed() && hadEnoughFromTheStart_) return false;
  hadEnoughFromTheStart_ = false;
  return enough;
}

// Leaves the interrupt status set for the caller to see.
bool JavaObserver::ThreadIsInterrupted() {
  JNIEnv* env = java_.env();
  const JavaClassCache& classes = java_.classes();
  if (classes.currentThread == nullptr || classes.isInterrupted == nullptr) return false;
  const LocalRef<jobject> thread(
      env, env->CallStaticObjectMethodA(classes.threadClass, classes.currentThread, nullptr));
  if (!java_.Check() || !thread) return false;
  const jboolean answer = env->CallBooleanMethodA(thread.get(), classes.isInterrupted, nullptr);
  return java_.Check() && answer == JNI_TRUE;
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
