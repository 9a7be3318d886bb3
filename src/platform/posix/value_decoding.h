// From the bytes of a search entry to typed values, in place.
//
// An EntryDecoder walks over one entry of a received message. Names and octets are views into that
// message; text is widened into an arena that the next entry reuses; nothing is converted before it
// is asked for. Once the buffers have grown to the size of the rows, a row costs no allocation of
// ours beyond the library's own.
#pragma once

#include <ldap.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "platform/value.h"

namespace zorvan::platform::posix {

// E_ADS_CANT_CONVERT_DATATYPE: a value that is not what its type says.
inline constexpr HResult kCannotConvert = MakeHResult(0x8000500CU);

// "20240131235959.0Z" (the fraction may be missing, an offset may stand for Z) or "240131235959Z"
// (the seconds may be missing). The time is given in UTC. A date that the calendar does not have is
// refused.
bool ParseDirectoryTime(std::string_view text, UtcTime& time);

// Decimal with a sign. What does not fit ends at the nearest 64-bit number.
bool ParseLargeInteger(std::string_view text, std::int64_t& value);

// A 32-bit integer as the directory writes it, signed. A number up to 2^32-1 stands for its 32 bits
// ("2147483650" is a group type that somebody wrote unsigned); what lies further out ends at the
// nearest 32-bit number.
bool ParseInteger(std::string_view text, std::int64_t& value);

// "TRUE" or "FALSE" in any case.
bool ParseBoolean(std::string_view text, std::int64_t& value);

// UTF-16 text in blocks that do not move, so that views stay valid until Clear. Clear keeps what a
// usual row needs.
class TextArena {
 public:
  std::u16string_view Add(std::string_view utf8);
  void Clear();

 private:
  std::vector<std::u16string> blocks_;
  std::size_t current_ = 0;
};

class EntryDecoder {
 public:
  EntryDecoder() = default;
  EntryDecoder(const EntryDecoder&) = delete;
  EntryDecoder& operator=(const EntryDecoder&) = delete;

  // Goes to an entry. The message must live as long as the decoder stays on it. False when the
  // entry is malformed; the decoder is then on an entry without name and attributes.
  bool Reset(LDAP* handle, LDAPMessage* entry);

  // The same for the encoded attribute list alone (the contents of the PartialAttributeList).
  bool ResetTo(std::string_view dn, std::span<const std::byte> attributes);

  // The entry's distinguished name, UTF-8.
  std::string_view dn() const { return dn_; }

  std::size_t count() const { return count_; }
  std::string_view name(std::size_t index) const { return attributes_[index].name; }

  // The attribute of that name (ASCII case ignored, options are part of the name) that has values.
  // Looks at the hint first: rows tend to have their attributes at the same places.
  std::optional<std::size_t> Find(std::string_view attribute, std::size_t hint = 0) const;

  // The same, or else the piece of the attribute's list that the server sent under a name with a
  // range.
  std::optional<std::size_t> FindOrPiece(std::string_view attribute, std::size_t hint = 0) const;

  // The values as the given type, and whether they are a piece of a list; kCannotConvert when one
  // of them is not of that type. Views live until the next Reset, except that decoding the same
  // attribute as another type ends the views of the first.
  HResult Decode(std::size_t index, AdsType type, Column& column);

 private:
  struct Attribute {
    std::string_view name;
    std::span<const std::byte> encoded;  // the values, one after the other
    AdsType type = AdsType::kInvalid;    // what values holds now
    std::vector<Value> values;
  };

  HResult DecodeValues(Attribute& attribute, AdsType type);
  bool DecodeValue(std::span<const std::byte> octets, AdsType type, Value& value);

  std::string_view dn_;
  std::vector<Attribute>
      attributes_;  // the first count_ belong to this entry; the rest wait to be reused
  std::size_t count_ = 0;
  bool hasOptions_ = false;  // some name has
  TextArena texts_;
};

}  // namespace zorvan::platform::posix
