// The values of a directory attribute as the directory interface types them. Views borrow from
// whoever produced them; an AttributeSet owns everything that its values refer to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zorvan::platform {

// ADSTYPE; the numbers are the platform's.
enum class AdsType : std::uint32_t {
  kInvalid = 0,
  kDnString = 1,
  kCaseExactString = 2,
  kCaseIgnoreString = 3,
  kPrintableString = 4,
  kNumericString = 5,
  kBoolean = 6,
  kInteger = 7,
  kOctetString = 8,
  kUtcTime = 9,
  kLargeInteger = 10,
  kProviderSpecific = 11,
  kObjectClass = 12,
  kPath = 15,
  kTypedName = 19,
  kFaxNumber = 23,
  kNtSecurityDescriptor = 25,
  kUnknown = 26,
  kDnWithBinary = 27,
  kDnWithString = 28,
};

// SYSTEMTIME, always UTC.
struct UtcTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;  // 1 to 12
  std::uint16_t day = 0;    // 1 to 31
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t millisecond = 0;
};

// One ADSVALUE. Which member counts follows from the AdsType of its column: text for the string
// types, number for boolean (0 or 1), integer and large integer, time for UTC time, octets for
// octet strings and security descriptors.
struct Value {
  std::u16string_view text;
  std::span<const std::byte> octets;
  std::int64_t number = 0;
  UtcTime time;
};

// The values of one attribute of one object, in directory order.
struct Column {
  AdsType type = AdsType::kInvalid;
  std::span<const Value> values;
  bool ranged = false;  // one piece of a list, which the server delivers in pieces
  bool cut = false;     // of such a list, more values follow
};

// Attributes read from one object, with their storage. Movable, not copyable; the views stay valid
// while the set lives, also when it is moved.
class AttributeSet {
 public:
  AttributeSet() = default;
  AttributeSet(AttributeSet&&) = default;
  AttributeSet& operator=(AttributeSet&&) = default;
  AttributeSet(const AttributeSet&) = delete;
  AttributeSet& operator=(const AttributeSet&) = delete;

  // Copies a column in. A range in the name ("member;range=0-1499") makes it a piece of a list.
  void Add(std::u16string_view name, const Column& column);

  // Null when the object has no such attribute. Where there are no values under that name, a piece
  // of the attribute's list is found by it. Names are compared ignoring the case of ASCII letters.
  const Column* Find(std::u16string_view name) const;

 private:
  struct Entry {
    std::u16string name;
    std::vector<Value> values;
    Column column;
  };
  std::deque<Entry> entries_;
  std::deque<std::u16string> texts_;
  std::deque<std::vector<std::byte>> octets_;
};

}  // namespace zorvan::platform
