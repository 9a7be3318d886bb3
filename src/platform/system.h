// The clock and the message texts of the operating system.
#pragma once

#include <cstdint>
#include <string>

#include "platform/result.h"

namespace zorvan::platform {

class System {
 public:
  virtual ~System() = default;

  // Now, in 100-nanosecond intervals since 1601-01-01 UTC.
  virtual std::int64_t CurrentFileTime() = 0;

  // The system's text for a result code (FormatMessageW), without a trailing line break. Zero, or
  // the Win32 code of why there is none.
  virtual Win32Code FormatMessageText(std::uint32_t code, std::u16string& text) = 0;
};

}  // namespace zorvan::platform
