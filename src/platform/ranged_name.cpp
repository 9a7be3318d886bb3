#include "platform/ranged_name.h"

#include <algorithm>
#include <string>

namespace zorvan::platform {
namespace {

template <typename Char>
constexpr Char Fold(Char unit) {
  return unit >= 'A' && unit <= 'Z' ? static_cast<Char>(unit + ('a' - 'A')) : unit;
}

template <typename Left, typename Right>
bool EqualsFolded(std::basic_string_view<Left> left, std::basic_string_view<Right> right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](Left a, Right b) {
    return static_cast<char32_t>(Fold(a)) == static_cast<char32_t>(Fold(b));
  });
}

// Takes the part up to the next ";" off the front.
template <typename Char>
std::basic_string_view<Char> TakeOption(std::basic_string_view<Char>& rest) {
  const std::size_t end = std::min(rest.find(Char(';')), rest.size());
  const auto option = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return option;
}

// Takes a number off the front; one with more digits than any list has values is none.
template <typename Char>
bool TakeNumber(std::basic_string_view<Char>& text, std::uint64_t& number) {
  constexpr std::size_t kMaxDigits = 18;
  std::size_t digits = 0;
  number = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    if (digits == kMaxDigits) return false;
    number = number * 10 + static_cast<std::uint64_t>(text[digits++] - Char('0'));
  }
  text.remove_prefix(digits);
  return digits != 0;
}

template <typename Char>
std::optional<ValueRange> RangeOfOption(std::basic_string_view<Char> option) {
  constexpr std::string_view kRange = "range=";
  if (!EqualsFolded(option.substr(0, kRange.size()), kRange)) return std::nullopt;
  option.remove_prefix(kRange.size());
  ValueRange range;
  if (!TakeNumber(option, range.first) || option.empty() || option.front() != '-') {
    return std::nullopt;
  }
  option.remove_prefix(1);
  range.last = option.size() == 1 && option.front() == '*';
  std::uint64_t end = 0;
  if (!range.last && (!TakeNumber(option, end) || !option.empty())) return std::nullopt;
  return range;
}

template <typename Char>
std::optional<ValueRange> FindRange(std::basic_string_view<Char> name) {
  TakeOption(name);  // the attribute itself
  while (!name.empty()) {
    if (const auto range = RangeOfOption(TakeOption(name))) return range;
  }
  return std::nullopt;
}

template <typename Char>
bool HasOption(std::basic_string_view<Char> name, std::basic_string_view<Char> wanted) {
  TakeOption(name);
  while (!name.empty()) {
    if (EqualsFolded(TakeOption(name), wanted)) return true;
  }
  return false;
}

template <typename Char>
bool IsPiece(std::basic_string_view<Char> returned, std::basic_string_view<Char> asked) {
  auto name = returned;
  if (!EqualsFolded(TakeOption(name), TakeOption(asked))) return false;
  const auto range = FindRange(returned);
  if (!range) return false;
  while (!asked.empty()) {
    const auto option = TakeOption(asked);
    const auto wanted = RangeOfOption(option);
    if (wanted ? wanted->first != range->first : !HasOption(returned, option)) return false;
  }
  return true;
}

}  // namespace

std::optional<ValueRange> RangeOf(std::string_view name) { return FindRange(name); }
std::optional<ValueRange> RangeOf(std::u16string_view name) { return FindRange(name); }

bool IsPieceOf(std::string_view returned, std::string_view asked) {
  return IsPiece(returned, asked);
}
bool IsPieceOf(std::u16string_view returned, std::u16string_view asked) {
  return IsPiece(returned, asked);
}

}  // namespace zorvan::platform
