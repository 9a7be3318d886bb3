// Texts as values inside a search filter.
#pragma once

#include <string>
#include <string_view>

namespace zorvan::platform {

// The text with every character that means something in a filter escaped ("\5c", "\2a", "\28",
// "\29", "\00").
std::u16string EscapeFilterValue(std::u16string_view text);

}  // namespace zorvan::platform
