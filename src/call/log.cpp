#include "call/log.h"

#include <array>
#include <charconv>

#include "call/native_handler.h"

namespace zorvan::call {
namespace {

// One conversion of a format: what stands between "%" and its letter, and the letter.
struct Conversion {
  char letter = 0;
  bool zeroPadded = false;
  bool wide64 = false;
  std::size_t width = 0;
};

bool IsLengthLetter(char letter) { return letter == 'l' || letter == 'h' || letter == 'w'; }

// Reads the conversion that starts behind a "%"; position is left behind it.
Conversion ReadConversion(std::string_view format, std::size_t& position) {
  Conversion conversion;
  while (position < format.size() && (format[position] == '0' || format[position] == '-' ||
                                      format[position] == '+' || format[position] == '#')) {
    conversion.zeroPadded |= format[position] == '0';
    ++position;
  }
  while (position < format.size() && format[position] >= '0' && format[position] <= '9') {
    conversion.width = conversion.width * 10 + static_cast<std::size_t>(format[position] - '0');
    ++position;
  }
  if (format.substr(position).starts_with("I64")) {
    conversion.wide64 = true;
    position += 3;
  }
  while (position < format.size() && IsLengthLetter(format[position])) ++position;
  if (position < format.size()) conversion.letter = format[position++];
  return conversion;
}

void AppendNarrow(std::u16string& out, std::string_view text) {
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    out.push_back(byte < 0x80 ? static_cast<char16_t>(byte) : u'?');
  }
}

void AppendNumber(std::u16string& out, const Conversion& conversion, const LogArgument& argument) {
  std::array<char, 24> digits;
  char* end = digits.data();
  std::uint64_t bits = argument.bits();
  const bool isSigned = argument.kind() == LogArgument::Kind::kSigned;
  switch (conversion.letter) {
    case 'x':
    case 'X':
    case 'u':
      if (argument.size() <= 4 && !conversion.wide64) bits &= 0xFFFFFFFFU;
      end = std::to_chars(digits.data(), digits.data() + digits.size(), bits,
                          conversion.letter == 'u' ? 10 : 16)
                .ptr;
      break;
    default:
      end = isSigned ? std::to_chars(digits.data(), digits.data() + digits.size(),
                                     static_cast<std::int64_t>(bits))
                           .ptr
                     : std::to_chars(digits.data(), digits.data() + digits.size(), bits).ptr;
      // %d of an unsigned 32-bit code prints it as the signed number that the format says.
      if (!isSigned && argument.size() == 4 && conversion.letter != 'c') {
        end = std::to_chars(digits.data(), digits.data() + digits.size(),
                            static_cast<std::int32_t>(bits))
                  .ptr;
      }
  }
  const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
  if (text.size() < conversion.width) {
    out.append(conversion.width - text.size(), conversion.zeroPadded ? u'0' : u' ');
  }
  for (char c : text) {
    const bool upper = conversion.letter == 'X' && c >= 'a' && c <= 'f';
    out.push_back(static_cast<char16_t>(upper ? c - 'a' + 'A' : c));
  }
}

void AppendArgument(std::u16string& out, const Conversion& conversion,
                    const LogArgument& argument) {
  switch (argument.kind()) {
    case LogArgument::Kind::kNarrow:
      AppendNarrow(out, argument.narrow());
      break;
    case LogArgument::Kind::kWide:
      out.append(argument.wide());
      break;
    default:
      if (conversion.letter == 'c') {
        out.push_back(static_cast<char16_t>(argument.bits()));
      } else {
        AppendNumber(out, conversion, argument);
      }
  }
}

}  // namespace

void FormatLogText(std::u16string& out, std::string_view format,
                   std::span<const LogArgument> arguments) {
  std::size_t next = 0;
  for (std::size_t position = 0; position < format.size();) {
    const char c = format[position++];
    if (c != '%') {
      AppendNarrow(out, {&c, 1});
      continue;
    }
    const Conversion conversion = ReadConversion(format, position);
    if (conversion.letter == '%') {
      out.push_back(u'%');
    } else if (conversion.letter != 0 && next < arguments.size()) {
      AppendArgument(out, conversion, arguments[next++]);
    }
  }
}

void Log::Write(LogChannel channel, int level, std::string_view format,
                std::span<const LogArgument> arguments) {
  buffer_.clear();
  FormatLogText(buffer_, format, arguments);
  sink_.Write(channel, level, buffer_);
}

Log& LogOf(NativeHandler& handler) { return handler.log; }

}  // namespace zorvan::call
