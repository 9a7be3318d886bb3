#include "platform/windows/ads_error.h"

#include <string>

#include "platform/windows/native_text.h"
#include "platform/windows/windows_headers.h"

namespace zorvan::platform::windows {

ExtendedError TakeExtendedError() {
  constexpr DWORD kCapacity = 1024;
  wchar_t text[kCapacity] = {};
  wchar_t provider[kCapacity] = {};
  DWORD code = ERROR_SUCCESS;
  if (FAILED(ADsGetLastError(&code, text, kCapacity, provider, kCapacity))) return {};
  return {code, std::u16string(TextView(text))};
}

}  // namespace zorvan::platform::windows
