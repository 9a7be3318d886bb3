#include "platform/filter_value.h"

namespace zorvan::platform {

std::u16string EscapeFilterValue(std::u16string_view text) {
  constexpr std::u16string_view kSpecial(u"\0()*\\", 5);
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string escaped;
  escaped.reserve(text.size());
  for (char16_t unit : text) {
    if (kSpecial.find(unit) == kSpecial.npos) {
      escaped.push_back(unit);
    } else {
      escaped.append({u'\\', kDigits[unit >> 4], kDigits[unit & 0xF]});
    }
  }
  return escaped;
}

}  // namespace zorvan::platform
