#include "unit/platform/windows/ads_script.h"

#include <cwchar>

namespace zorvan::platform::windows {

AdsScript& Script() {
  static AdsScript script;
  return script;
}

}  // namespace zorvan::platform::windows

using zorvan::platform::windows::AdsScript;
using zorvan::platform::windows::Script;

extern "C" HRESULT WINAPI ADsOpenObject(LPCWSTR path, LPCWSTR user, LPCWSTR password, DWORD flags,
                                        REFIID id, void** object) {
  AdsScript& script = Script();
  if (script.opened == nullptr) {
    const auto own = reinterpret_cast<decltype(&ADsOpenObject)>(reinterpret_cast<void (*)()>(
        GetProcAddress(LoadLibraryW(L"activeds.dll"), "ADsOpenObject")));
    return own(path, user, password, flags, id, object);
  }
  ++script.opens;
  script.openedFlags = flags;
  if (FAILED(script.openResult)) script.lastError = script.openError;
  return FAILED(script.openResult) ? script.openResult : script.opened->QueryInterface(id, object);
}

extern "C" HRESULT WINAPI ADsGetLastError(LPDWORD error, LPWSTR text, DWORD size, LPWSTR, DWORD) {
  *error = Script().lastError;
  wcsncpy(text, *error == ERROR_SUCCESS ? L"" : L"what the server said", size);
  text[size - 1] = L'\0';
  return Script().lastErrorResult;
}

extern "C" void WINAPI ADsSetLastError(DWORD error, LPCWSTR, LPCWSTR) {
  Script().lastError = error;
}

extern "C" BOOL WINAPI FreeADsMem(LPVOID) {
  ++Script().blocksFreed;
  return TRUE;
}
