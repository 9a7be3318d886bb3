// Values as the protocol carries them, in the forms that the directory's interfaces give.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/windows/windows_headers.h"
#include "provider/ldap_session.h"

namespace zorvan::windows_test {

std::wstring FromUtf8(std::string_view text);

// "20240131235959.0Z" and the short form of the two-digit years.
bool ParseTime(const std::string& text, SYSTEMTIME& time);

struct TypedAttribute {
  std::wstring name;
  ADSTYPE type;
  const std::vector<std::string>& values;
};

// An array of ADS_ATTR_INFO with everything that it points to in one block of AllocADsMem, which is
// how both of the interfaces want it freed. Null when there is no memory.
ADS_ATTR_INFO* MakeAttributeBlock(const std::vector<TypedAttribute>& attributes);

// What IADs::Get gives: the value, or an array of VARIANT when there are several.
HRESULT MakeVariant(ADSTYPE type, const std::vector<std::string>& values, VARIANT* variant);

}  // namespace zorvan::windows_test
