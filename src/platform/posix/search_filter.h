// Search filters: from what callers write to what RFC 4515 allows.
//
// The directory's own client is lenient, and filters in the field lean on it. Accepted beyond the
// standard:
//   - an item without its parentheses, alone ("objectClass=x"), after "!" ("(!manager=*)") or first
//   in a list ("(&cn=x(sn=y))");
//   - filters side by side without an operator ("(cn=x)(sn=y)"): all of them must hold;
//   - blanks between the parts, doubled parentheses, runs of "*";
//   - a backslash before "*", "(", ")" or "\" for that character, and a backslash before anything
//   but two hexadecimal digits for
//     itself, so that a distinguished name can be written as it is.
// Refused: an empty value ("(cn=)"), an empty list, a parenthesis inside a value, anything nested
// deeper than kMaxFilterDepth.
#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"

namespace zorvan::platform::posix {

inline constexpr int kMaxFilterDepth = 100;

// Writes the filter as UTF-8 text that follows RFC 4515, or returns kInvalidFilter. An empty filter
// asks for every object.
HResult NormalizeFilter(std::u16string_view filter, std::string& out);

}  // namespace zorvan::platform::posix
