// What every row-streaming export does with its arguments once the frame stands.
#pragma once

#include <jni.h>

#include <utility>

#include "bridge/export_frame.h"
#include "bridge/java_listener.h"
#include "bridge/marshalling.h"

namespace zorvan::bridge {

// Runs an export of the streaming family. work takes the frame, the attribute names and the
// listener. Without a listener there is nobody to work for: a log line, and work is not run.
template <typename Work>
jobject StreamToListener(JNIEnv* env, const CallObjects& objects, JavaAttributes attributes,
                         Work&& work) {
  return RunExport<StreamingFamily>(env, objects, [&](ExportFrame& frame) -> jobject {
    if (objects.listener.object == nullptr) {
      call::LogMessage(frame.handler(), call::kMilestone, "No listener was passed");
      return nullptr;
    }
    const std::vector<std::u16string> names =
        StringListToArray(frame.java(), frame.handler(), attributes.object);
    JavaRowListener rows(frame.java(), objects.listener.object, frame.handler().keys);
    if (!frame.java().Failed()) work(frame, names, rows);
    if (rows.HasDelivered()) frame.NoteDelivery();
    return nullptr;
  });
}

}  // namespace zorvan::bridge
