// Numbers as the decimal texts that travel to Java and into filters.
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <string>

namespace zorvan::call {

template <std::integral Number>
void AssignDecimal(std::u16string& text, Number number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.assign(digits.data(), end);
}

template <std::integral Number>
std::u16string DecimalText(Number number) {
  std::u16string text;
  AssignDecimal(text, number);
  return text;
}

}  // namespace zorvan::call
