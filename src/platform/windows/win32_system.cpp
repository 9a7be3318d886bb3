#include "platform/windows/win32_system.h"

#include "platform/windows/handles.h"
#include "platform/windows/native_text.h"

namespace zorvan::platform::windows {

std::int64_t Win32System::CurrentFileTime() {
  FILETIME now{};
  GetSystemTimeAsFileTime(&now);
  LARGE_INTEGER count;
  count.HighPart = static_cast<LONG>(now.dwHighDateTime);
  count.LowPart = now.dwLowDateTime;
  return count.QuadPart;
}

Win32Code Win32System::FormatMessageText(std::uint32_t code, std::u16string& text) {
  // One line, without the breaks that the system's texts have inside and at their end.
  constexpr DWORD kFlags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                           FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
  constexpr DWORD kLanguage = MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT);
  LocalMemory<wchar_t> message;
  const DWORD length = FormatMessageW(kFlags, nullptr, code, kLanguage,
                                      reinterpret_cast<wchar_t*>(message.Out()), 0, nullptr);
  if (length == 0) {
    const DWORD failure = GetLastError();
    return failure != ERROR_SUCCESS ? failure : ERROR_MR_MID_NOT_FOUND;
  }
  text = TextView(message.get(), length);
  while (!text.empty() && text.back() == u' ') text.pop_back();
  return ERROR_SUCCESS;
}

}  // namespace zorvan::platform::windows
