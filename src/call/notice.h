// Notices: what the user must learn of a call beyond rows and errors, as data. Each is a line of
// the log too.
#pragma once

#include <string_view>

#include "call/native_handler.h"
#include "platform/call_terms.h"

namespace zorvan::call {

using platform::Notice;
using platform::NoticeKind;

// Takes the notices of a call; implemented where Java is spoken to.
class NoticeList {
 public:
  virtual ~NoticeList() = default;
  // name is that of the kind, in upper camel case without prefix: "NtlmUsed".
  virtual void AddNotice(std::string_view name, const Notice& notice) = 0;
};

// Tells the observer of the call, which adds the notice; without one it is a line of the log only.
void Notify(NativeHandler& handler, const Notice& notice);

// Writes the kind's line to the log and hands the notice to the list, which may be null.
void AddNotice(NativeHandler& handler, NoticeList* list, const Notice& notice);

}  // namespace zorvan::call
