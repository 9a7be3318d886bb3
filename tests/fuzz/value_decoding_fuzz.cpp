// Any bytes can stand where a server's attribute list should: every attribute of what is accepted
// decodes as every type or is refused, twice with the same result.

#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/posix/value_decoding.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvan::platform;
  using namespace zorvan::platform::posix;
  static EntryDecoder decoder;  // kept, as a search keeps it from row to row
  if (!decoder.ResetTo("CN=x", std::as_bytes(std::span(data, size)))) {
    if (decoder.count() != 0) std::abort();
    return 0;
  }
  for (std::size_t index = 0; index < decoder.count(); ++index) {
    for (std::uint32_t type = 0; type <= 28; ++type) {
      Column first;
      Column second;
      const HResult result = decoder.Decode(index, static_cast<AdsType>(type), first);
      const HResult again = decoder.Decode(index, static_cast<AdsType>(type), second);
      if (result != again || first.values.size() != second.values.size()) std::abort();
    }
    decoder.Find(decoder.name(index), index);
  }
  return 0;
}
