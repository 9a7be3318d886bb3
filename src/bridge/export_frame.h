// The frame around every exported method: prepares the call, runs its work routine, takes
// everything down again.
//
// No C++ exception crosses it: whatever is thrown inside becomes a log line, an error entry and the
// family's neutral result. A Java exception stays pending for the caller, and the routine behind it
// ends without further calls into Java. A call that comes while the class cache is empty returns a
// zero result at once, because there is nobody to report to.
#pragma once

#include <jni.h>

#include <memory>

#include "bridge/arguments.h"
#include "bridge/java_call.h"
#include "bridge/java_errors.h"
#include "bridge/java_log.h"
#include "bridge/java_observer.h"
#include "call/native_handler.h"
#include "platform/platform.h"

namespace zorvan::bridge {

// What the frame does for a family of exports; see StreamingFamily for the members that a family
// has.
struct FrameTraits {
  platform::Apartment apartment = platform::Apartment::kSingleThreaded;
  bool uninitializes = true;  // leaves the apartment at the end
  bool readsSettings = true;  // reads the domain settings and finds a controller; the routine runs
                              // only if that succeeds
};

// Reports and searches that hand their rows to a listener.
struct StreamingFamily {
  using Result = jobject;
  static constexpr FrameTraits kTraits{};
  static Result NeutralResult(JavaCall&) { return nullptr; }
};

// The calling thread's apartment, entered and, if the family says so, left.
class ApartmentScope {
 public:
  ApartmentScope(platform::Platform& platform, const FrameTraits& traits);
  ApartmentScope(const ApartmentScope&) = delete;
  ApartmentScope& operator=(const ApartmentScope&) = delete;
  ~ApartmentScope();

 private:
  platform::Platform& platform_;
  bool uninitializes_;
};

// What a call holds between the entry point and the work routine.
class ExportFrame {
 public:
  // listener and errors may be null.
  ExportFrame(JavaCall& java, const FrameTraits& traits, JavaListener listener, JavaErrors errors);
  ExportFrame(const ExportFrame&) = delete;
  ExportFrame& operator=(const ExportFrame&) = delete;
  ~ExportFrame() { observer_.Detach(); }  // the platform closes after the handler has gone

  // False when the work routine must not run; the reason is logged and, if it is not Java's own
  // exception, in the error list.
  bool Begin(JavaSettings settings);
  // Adds the error entry of an interrupted call, so that a short result never passes for a whole
  // one.
  void End();

  JavaCall& java() { return java_; }
  call::NativeHandler& handler() { return handler_; }
  call::ErrorList& errors() { return errors_; }
  JavaObserver& observer() { return observer_; }
  // Remembers that Java has received rows, so that an interrupt is a warning: some of the result.
  void NoteDelivery() { delivered_ = true; }

 private:
  JavaCall& java_;
  const FrameTraits& traits_;
  JavaLog log_;
  JavaErrorList errors_;
  JavaObserver observer_;
  std::unique_ptr<platform::Platform> platform_;
  ApartmentScope apartment_;
  call::NativeHandler handler_;
  bool delivered_ = false;
};

// Reports the exception that is being handled.
void ReportCaughtException(JavaCall& java, JavaErrors errors) noexcept;

// The Java objects that every call of a family with settings comes with; each may be null.
struct CallObjects {
  JavaSettings settings{};
  JavaListener listener{};
  JavaErrors errors{};
  directory::FirstAnswer firstAnswer = directory::FirstAnswer::kHonoured;  // the listener's
};

// routine takes the ExportFrame and returns the family's result.
template <typename Family, typename Routine>
typename Family::Result RunExport(JNIEnv* env, const CallObjects& objects,
                                  Routine&& routine) noexcept {
  // Keeps the cache alive until the call ends, even when Java empties it meanwhile.
  const std::shared_ptr<const JavaClassCache> classes = UsableClassCache();
  if (classes == nullptr) return {};
  JavaCall java(env, *classes);
  typename Family::Result result = Family::NeutralResult(java);
  try {
    ExportFrame frame(java, Family::kTraits, objects.listener, objects.errors);
    frame.observer().Begin(objects.firstAnswer);
    if (!java.Failed() && frame.Begin(objects.settings)) result = routine(frame);
    frame.End();
  } catch (...) {
    ReportCaughtException(java, objects.errors);
  }
  return result;
}

}  // namespace zorvan::bridge
