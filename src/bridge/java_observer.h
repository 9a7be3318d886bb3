// The Java side of a call as adapters and work routines see it: answers whether the caller wants no
// more, and takes notices.
#pragma once

#include <jni.h>

#include <chrono>

#include "bridge/java_call.h"
#include "bridge/local_reference.h"
#include "call/notice.h"
#include "directory/paged_search.h"

namespace zorvan::bridge {

class JavaObserver final : public platform::CallObserver, public call::NoticeList {
 public:
  // Without a listener (null) only an interrupt ends the call; without errors (null) notices are
  // lines of the log only.
  JavaObserver(JavaCall& java, jobject listener, jobject errors)
      : java_(java), listener_(listener), errors_(errors), asked_(Clock::now()) {}

  // The handler whose log takes the notices' lines, from before the call begins until it goes.
  void Attach(call::NativeHandler& handler) { handler_ = &handler; }
  void Detach() { handler_ = nullptr; }

  // Call this before the native call begins. A search delivers its first row even to a listener
  // that has enough from the start, so it asks the listener now: a first answer of true cancels
  // nothing.
  void Begin(directory::FirstAnswer firstAnswer);

  // Asks Java at most every kShortestPause. True as well once Java code has thrown.
  bool IsCancelled() override;
  // Whether the call was cancelled by an interrupt of its thread, which leaves the result short.
  bool WasInterrupted() const { return interrupted_; }

  void Notify(const platform::Notice& notice) override;
  void AddNotice(std::string_view name, const platform::Notice& notice) override;

 private:
  using Clock = std::chrono::steady_clock;

  // Adapters ask at least every 200 ms, so Java still hears five questions a second.
  static constexpr std::chrono::milliseconds kShortestPause{100};

  bool ListenerHasEnough();
  bool ThreadIsInterrupted();

  JavaCall& java_;
  jobject listener_;
  jobject errors_;
  Clock::time_point asked_;
  call::NativeHandler* handler_ = nullptr;
  bool hadEnoughFromTheStart_ = false;
  bool cancelled_ = false;
  bool interrupted_ = false;
};

}  // namespace zorvan::bridge
