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

// The digits of a number as the conversion's letter wants them. A 32-bit argument stays 32 bits
// wide, signed for %d whatever its type.
std::string_view Digits(std::span<char> buffer, const Conversion& conversion,
                        const LogArgument& argument) {
  char* const begin = buffer.data();
  char* const end = begin + buffer.size();
  const bool narrow = argument.size() <= 4 && !conversion.wide64;
  const std::uint64_t bits = argument.bits();
  const bool hexadecimal = conversion.letter == 'x' || conversion.letter == 'X';
  const char* last = nullptr;
  if (hexadecimal || conversion.letter == 'u') {
    last = std::to_chars(begin, end, narrow ? bits & 0xFFFFFFFFU : bits, hexadecimal ? 16 : 10).ptr;
  } else if (narrow) {
    last = std::to_chars(begin, end, static_cast<std::int32_t>(bits)).ptr;
  } else if (argument.kind() == LogArgument::Kind::kSigned) {
    last = std::to_chars(begin, end, static_cast<std::int64_t>(bits)).ptr;
  } else {
    last = std::to_chars(begin, end, bits).ptr;
  }
  return {begin, static_cast<std::size_t>(last - begin)};
}

void AppendNumber(std::u16string& out, const Conversion& conversion, const LogArgument& argument) {
  std::array<char, 24> buffer;
  const std::string_view text = Digits(buffer, conversion, argument);
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
