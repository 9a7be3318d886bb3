// Between the directory's UTF-8 and the library's UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace zorvan::platform::posix {

// Malformed UTF-8 becomes U+FFFD, one for each bad byte run; nothing is lost silently.
void AppendUtf16(std::u16string& out, std::string_view utf8);
std::u16string ToUtf16(std::string_view utf8);

// An unpaired surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

}  // namespace zorvan::platform::posix
