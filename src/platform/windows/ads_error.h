// What the directory interface last said of a failure to this thread.
#pragma once

#include "platform/directory.h"

namespace zorvan::platform::windows {

// To be called directly behind the call that failed: the thread has one such error, and any later
// call may replace it.
ExtendedError TakeExtendedError();

}  // namespace zorvan::platform::windows
