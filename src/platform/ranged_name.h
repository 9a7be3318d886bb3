// Names under which servers deliver long lists in pieces: "member;range=0-1499", and "*" for the
// last number of the piece that ends the list.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zorvan::platform {

struct ValueRange {
  std::uint64_t first = 0;
  bool last = false;  // no value comes after this piece
};

// The range in an attribute's name; absent when the name has none.
std::optional<ValueRange> RangeOf(std::string_view name);
std::optional<ValueRange> RangeOf(std::u16string_view name);

// Whether a server that was asked for an attribute meant it by this name, which differs from the
// one asked for by a range: the same attribute with at least the options asked for, beginning at
// the value that was asked for, if any was. ASCII case is ignored.
bool IsPieceOf(std::string_view returned, std::string_view asked);
bool IsPieceOf(std::u16string_view returned, std::u16string_view asked);

}  // namespace zorvan::platform
