// Any text is either refused or encodes to itself; settings can be changed in both cases and read
// again.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/posix/terminal_services.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvan::platform;
  using namespace zorvan::platform::posix;
  std::u16string text(size / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * 2);

  TerminalServicesSettings settings;
  if (settings.Decode(text) && settings.Encode() != text) std::abort();
  for (std::uint32_t i = 0; i <= 18; ++i) settings.Get(static_cast<TerminalServicesClass>(i));

  const TerminalServicesValue path = u"\\\\server\\B\u00FCro";
  settings.Set(TerminalServicesClass::kProfilePath, path);
  settings.Set(TerminalServicesClass::kAllowLogon, 0U);
  TerminalServicesSettings again;
  if (!again.Decode(settings.Encode()) || again.Get(TerminalServicesClass::kProfilePath) != path ||
      again.Get(TerminalServicesClass::kAllowLogon) != TerminalServicesValue(0U)) {
    std::abort();
  }
  return 0;
}
