// The clock and the message texts of Windows.
#pragma once

#include "platform/system.h"

namespace zorvan::platform::windows {

class Win32System : public System {
 public:
  std::int64_t CurrentFileTime() override;
  Win32Code FormatMessageText(std::uint32_t code, std::u16string& text) override;
};

}  // namespace zorvan::platform::windows
