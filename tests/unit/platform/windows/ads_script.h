// What the tests put in the place of the system's directory calls.
#pragma once

#include <string>

#include "platform/windows/windows_headers.h"

namespace zorvan::platform::windows {

struct AdsScript {
  IUnknown* opened = nullptr;  // what ADsOpenObject gives; without one it is the system's own
  HRESULT openResult = S_OK;
  DWORD openError = ERROR_SUCCESS;  // the last error after a failed ADsOpenObject
  DWORD openedFlags = 0;
  int opens = 0;

  DWORD lastError = ERROR_SUCCESS;  // of ADsGetLastError and ADsSetLastError
  HRESULT lastErrorResult = S_OK;

  int blocksFreed = 0;  // by FreeADsMem
};

// The script of the running test, which begins with a fresh one.
AdsScript& Script();

}  // namespace zorvan::platform::windows
