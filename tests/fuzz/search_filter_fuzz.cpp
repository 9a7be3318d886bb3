// Any text is either refused or becomes a filter that stays as it is when normalized again and that
// the protocol library encodes.

#include <lber.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/posix/search_filter.h"
#include "platform/posix/unicode.h"

// Exported by the protocol library, though not in its public headers.
extern "C" int ldap_pvt_put_filter(BerElement* ber, const char* filter);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvan::platform;
  using namespace zorvan::platform::posix;
  const std::u16string filter = ToUtf16({reinterpret_cast<const char*>(data), size});
  std::string once;
  if (NormalizeFilter(filter, once) != kOk) return 0;
  std::string twice;
  if (NormalizeFilter(ToUtf16(once), twice) != kOk || once != twice) std::abort();
  if (once.find('\0') != std::string::npos) std::abort();

  BerElement* ber = ber_alloc_t(LBER_USE_DER);
  if (ldap_pvt_put_filter(ber, once.c_str()) != 0) std::abort();
  ber_free(ber, 1);
  return 0;
}
