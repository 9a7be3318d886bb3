// Comparison of names as the directory's own tools do it: ignoring the case of ASCII letters and of
// nothing else.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zorvan::platform {

constexpr char16_t FoldAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

constexpr bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char16_t a, char16_t b) { return FoldAscii(a) == FoldAscii(b); });
}

constexpr bool EndsWithIgnoringCase(std::u16string_view text, std::u16string_view ending) {
  return text.size() >= ending.size() &&
         EqualsIgnoringCase(text.substr(text.size() - ending.size()), ending);
}

constexpr bool StartsWithIgnoringCase(std::u16string_view text, std::u16string_view beginning) {
  return text.size() >= beginning.size() &&
         EqualsIgnoringCase(text.substr(0, beginning.size()), beginning);
}

struct FoldedHash {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view text) const {
    std::size_t hash = 14695981039346656037ULL;
    for (char16_t unit : text) hash = (hash ^ FoldAscii(unit)) * 1099511628211ULL;
    return hash;
  }
};

struct FoldedEqual {
  using is_transparent = void;
  bool operator()(std::u16string_view left, std::u16string_view right) const {
    return EqualsIgnoringCase(left, right);
  }
};

}  // namespace zorvan::platform
