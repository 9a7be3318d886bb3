// Directory values as the texts that travel to Java. Times and intervals stay raw counts; the Java
// side formats them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace zorvan::directory {

// How the octets of a column become text; follows from the attribute's name.
enum class OctetText { kNone, kSid, kGuid, kLogonHours };
OctetText OctetTextOf(std::u16string_view attribute);

// Turns the values of one column into texts. Made once per attribute of a search, because what
// depends on the name only is settled then.
class ColumnConverter {
 public:
  explicit ColumnConverter(std::u16string_view attribute);

  // The text of one value, or nothing when the type has no text form. The view borrows from the
  // value or from this converter and lives until the next call.
  std::optional<std::u16string_view> Convert(platform::AdsType type, const platform::Value& value);

 private:
  std::optional<std::u16string_view> ConvertOctets(std::span<const std::byte> octets);

  OctetText octetText_;
  bool braced_;  // rightsGUID
  std::u16string scratch_;
};

// 100-nanosecond intervals since 1601-01-01 of a UTC time (SystemTimeToFileTime); absent when it is
// no date.
std::optional<std::int64_t> FileTimeOf(const platform::UtcTime& time);

// "S-1-..." of a binary SID; absent when the octets are none.
std::optional<std::u16string> SidText(std::span<const std::byte> octets);
// Braced upper-case registry form of the 16 octets; absent for any other length.
std::optional<std::u16string> GuidText(std::span<const std::byte> octets);
// Lower-case hexadecimal digits, two per byte.
std::u16string HexText(std::span<const std::byte> octets);

}  // namespace zorvan::directory
