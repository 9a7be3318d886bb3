// The Java side of a call as adapters and work routines see it: whether it wants no more, and who
// takes notices.
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
  // listener may be null: then only an interrupt ends the call. errors may be null: notices are
  // then lines of the log only.
  JavaObserver(JavaCall& java, jobject listener, jobject errors)
      : java_(java), listener_(listener), errors_(errors), asked_(Clock::now()) {}

  // The handler whose log takes the notices' lines; set before the call begins.
  void Attach(call::NativeHandler& handler) { handler_ = &handler; }

  // Call before the call begins. A search delivers its first row to a listener that has enough from
  // the start, so it asks such a listener now, and polling does not ask it again until it has
  // changed its mind.
  void Begin(directory::FirstAnswer firstAnswer);

  // Asks Java at most every kShortestPause. True as well once Java code has thrown.
  bool IsCancelled() override;
  // Whether the call was cancelled by an interrupt of its thread, which leaves the result short.
  bool WasInterrupted() const { return interrupted_; }

  void Notify(const platform::Notice& notice) override;
  void AddNotice(std::string_view name, const platform::Notice& notice) override;

 private:
  using Clock = std::chrono::steady_clock;

  // With one question in 200 ms, five a second are asked however the two fall together.
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
