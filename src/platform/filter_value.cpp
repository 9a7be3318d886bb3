#include "platform/filter_value.h"

namespace zorvan::platform {

std::u16string EscapeFilterValue(std::u16string_view text) {
  std::u16string escaped;
  escaped.reserve(text.size());
  for (char16_t unit : text) {
    switch (unit) {
      case u'\\':
        escaped += u"\\5c";
        break;
      case u'*':
        escaped += u"\\2a";
        break;
      case u'(':
        escaped += u"\\28";
        break;
      case u')':
        escaped += u"\\29";
        break;
      case u'\0':
        escaped += u"\\00";
        break;
      default:
        escaped.push_back(unit);
    }
  }
  return escaped;
}

}  // namespace zorvan::platform
