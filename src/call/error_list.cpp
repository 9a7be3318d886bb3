#include "call/error_list.h"

#include <array>
#include <charconv>

namespace zorvan::call {
namespace {

std::string HexText(std::uint32_t code) {
  std::array<char, 8> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return {digits.data(), end.ptr};
}

}  // namespace

void AddNativeError(ErrorList& errors, std::u16string_view objectName, std::string_view severity,
                    std::uint32_t code, std::string_view key) {
  errors.SetErrorList(
      {objectName, severity, code == kNoCode ? std::string() : HexText(code), key, std::nullopt});
}

void AddSystemError(NativeHandler& handler, ErrorList& errors, std::u16string_view objectName,
                    std::string_view severity, std::uint32_t code, std::string_view key) {
  platform::System& system = handler.platform.system();
  std::u16string text;
  const platform::Win32Code failure = code == 0 ? 0 : system.FormatMessageText(code, text);
  if (failure != 0) {
    text = u"Unknown Error";
    LogMessage(handler, kMilestone,
               "Error in Getting Error Messae for the Code : %x and the Error Code is : %d ", code,
               failure);
  }
  errors.SetErrorList({objectName, severity, HexText(code), key, std::move(text)});
}

}  // namespace zorvan::call
