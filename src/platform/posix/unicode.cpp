#include "platform/posix/unicode.h"

#include <unicode/ustring.h>

#include <cstdint>
#include <cstring>

namespace zorvan::platform::posix {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;

// The number of leading bytes that are ASCII; most directory text is nothing else.
std::size_t AsciiPrefix(std::string_view text) {
  std::size_t length = 0;
  while (text.size() - length >= sizeof(std::uint64_t)) {
    std::uint64_t block = 0;
    std::memcpy(&block, text.data() + length, sizeof block);
    if ((block & 0x8080808080808080U) != 0) break;
    length += sizeof block;
  }
  while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) ++length;
  return length;
}

}  // namespace

void AppendUtf16(std::u16string& out, std::string_view utf8) {
  const std::size_t before = out.size();
  const std::size_t ascii = AsciiPrefix(utf8);
  out.resize(before + utf8.size());  // UTF-16 never has more units than UTF-8 has bytes
  char16_t* unit = out.data() + before;
  for (std::size_t i = 0; i < ascii; ++i) unit[i] = static_cast<unsigned char>(utf8[i]);
  if (ascii == utf8.size()) return;

  const std::string_view rest = utf8.substr(ascii);
  std::int32_t written = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strFromUTF8WithSub(unit + ascii, static_cast<std::int32_t>(rest.size()), &written, rest.data(),
                       static_cast<std::int32_t>(rest.size()), kReplacement, nullptr, &error);
  out.resize(before + ascii + (U_SUCCESS(error) ? static_cast<std::size_t>(written) : 0));
}

std::u16string ToUtf16(std::string_view utf8) {
  std::u16string text;
  AppendUtf16(text, utf8);
  return text;
}

std::string ToUtf8(std::u16string_view text) {
  std::string utf8(text.size() * 3, '\0');  // three bytes for each unit at most
  std::int32_t written = 0;
  UErrorCode error = U_ZERO_ERROR;
  u_strToUTF8WithSub(utf8.data(), static_cast<std::int32_t>(utf8.size()), &written, text.data(),
                     static_cast<std::int32_t>(text.size()), kReplacement, nullptr, &error);
  utf8.resize(U_SUCCESS(error) ? static_cast<std::size_t>(written) : 0);
  return utf8;
}

}  // namespace zorvan::platform::posix
