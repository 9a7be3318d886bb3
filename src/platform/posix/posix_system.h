// Clock and message texts.
#pragma once

#include "platform/system.h"

namespace zorvan::platform::posix {

class PosixSystem final : public System {
 public:
  std::int64_t CurrentFileTime() override;
  Win32Code FormatMessageText(std::uint32_t code, std::u16string& text) override;
};

}  // namespace zorvan::platform::posix
