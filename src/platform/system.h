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

  // The system's text for a result code (FormatMessageW), without a trailing line break. False when
  // it knows none.
  virtual bool FormatMessageText(std::uint32_t code, std::u16string& text) = 0;

  // The calling thread's last Win32 error.
  virtual Win32Code LastError() = 0;
};

}  // namespace zorvan::platform
