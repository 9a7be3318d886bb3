// Any text is either refused or a path from which the path of its own object can be made and read
// again.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/posix/ads_path.h"
#include "platform/posix/unicode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvan::platform;
  using namespace zorvan::platform::posix;
  const std::u16string text = ToUtf16({reinterpret_cast<const char*>(data), size});
  AdsPath path;
  if (ParseAdsPath(text, path) != kOk || path.dn.empty()) return 0;
  if (path.dn.find('\0') != std::string::npos) std::abort();

  std::u16string again;
  AppendAdsPath(again, path.prefix, ToUtf16(path.dn));
  AdsPath parsed;
  if (ParseAdsPath(again, parsed) != kOk || parsed.host != path.host || parsed.dn != path.dn ||
      parsed.PortFor(false) != path.PortFor(false)) {
    std::abort();
  }
  return 0;
}
