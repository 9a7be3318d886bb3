#include "directory/value_conversion.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "call/decimal_text.h"
#include "platform/text.h"

namespace zorvan::directory {
namespace {

using call::AssignDecimal;
using platform::AdsType;

constexpr std::size_t kGuidSize = 16;
constexpr std::size_t kLogonHoursSize = 21;
constexpr std::u16string_view kLowerDigits = u"0123456789abcdef";
constexpr std::u16string_view kUpperDigits = u"0123456789ABCDEF";

std::uint32_t ByteAt(std::span<const std::byte> octets, std::size_t index) {
  return std::to_integer<std::uint32_t>(octets[index]);
}

void AppendHexByte(std::u16string& out, std::uint32_t byte, std::u16string_view digits) {
  out.push_back(digits[byte >> 4]);
  out.push_back(digits[byte & 0xF]);
}

}  // namespace

OctetText OctetTextOf(std::u16string_view attribute) {
  if (platform::EqualsIgnoringCase(attribute, u"objectSID")) return OctetText::kSid;
  if (platform::EqualsIgnoringCase(attribute, u"objectGUID")) return OctetText::kGuid;
  if (platform::EqualsIgnoringCase(attribute, u"schemaIDGUID")) return OctetText::kGuid;
  if (platform::EqualsIgnoringCase(attribute, u"logonHours")) return OctetText::kLogonHours;
  return OctetText::kNone;
}

std::optional<std::int64_t> FileTimeOf(const platform::UtcTime& time) {
  using namespace std::chrono;
  const year_month_day date{year{time.year}, month{time.month}, day{time.day}};
  // The platform converts these years and no others.
  const bool valid = time.year >= 1601 && time.year <= 30827 && date.ok() && time.hour < 24 &&
                     time.minute < 60 && time.second < 60 && time.millisecond < 1000;
  if (!valid) return std::nullopt;
  const sys_days start{year_month_day{year{1601}, January, day{1}}};
  const milliseconds passed = sys_days{date} - start + hours{time.hour} + minutes{time.minute} +
                              seconds{time.second} + milliseconds{time.millisecond};
  return passed.count() * 10'000;
}

std::optional<std::u16string> SidText(std::span<const std::byte> octets) {
  if (octets.size() < 8) return std::nullopt;
  const std::size_t subAuthorities = ByteAt(octets, 1);
  if (ByteAt(octets, 0) != 1) return std::nullopt;  // the only revision there is
  if (octets.size() != 8 + 4 * subAuthorities || subAuthorities > 15) return std::nullopt;

  std::uint64_t authority = 0;
  for (std::size_t i = 2; i < 8; ++i) authority = authority << 8 | ByteAt(octets, i);
  std::u16string text = u"S-1-";
  std::u16string number;
  if (authority >> 32 == 0) {
    AssignDecimal(number, authority);
    text.append(number);
  } else {
    // An authority that does not fit 32 bits is written in hexadecimal.
    text.append(u"0x");
    for (std::size_t i = 2; i < 8; ++i) AppendHexByte(text, ByteAt(octets, i), kLowerDigits);
  }
  for (std::size_t i = 8; i < octets.size(); i += 4) {
    const std::uint32_t value = ByteAt(octets, i) | ByteAt(octets, i + 1) << 8 |
                                ByteAt(octets, i + 2) << 16 | ByteAt(octets, i + 3) << 24;
    AssignDecimal(number, value);
    text.append(u"-").append(number);
  }
  return text;
}

std::optional<std::u16string> GuidText(std::span<const std::byte> octets) {
  if (octets.size() != kGuidSize) return std::nullopt;
  // The first three groups are little-endian numbers.
  constexpr std::array<std::size_t, kGuidSize> kOrder = {3, 2, 1,  0,  5,  4,  7,  6,
                                                         8, 9, 10, 11, 12, 13, 14, 15};
  std::u16string text = u"{";
  for (std::size_t i = 0; i < kOrder.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back(u'-');
    AppendHexByte(text, ByteAt(octets, kOrder[i]), kUpperDigits);
  }
  text.push_back(u'}');
  return text;
}

std::u16string HexText(std::span<const std::byte> octets) {
  std::u16string text;
  text.reserve(octets.size() * 2);
  for (std::byte octet : octets) {
    AppendHexByte(text, std::to_integer<std::uint32_t>(octet), kLowerDigits);
  }
  return text;
}

ColumnConverter::ColumnConverter(std::u16string_view attribute)
    : octetText_(OctetTextOf(attribute)),
      braced_(platform::EqualsIgnoringCase(attribute, u"rightsGUID")) {}

std::optional<std::u16string_view> ColumnConverter::Convert(AdsType type,
                                                            const platform::Value& value) {
  switch (type) {
    case AdsType::kDnString:
      return value.text;
    case AdsType::kCaseExactString:
    case AdsType::kCaseIgnoreString:
    case AdsType::kPrintableString:
    case AdsType::kNumericString:
    case AdsType::kPath:
    case AdsType::kTypedName:
    case AdsType::kFaxNumber:
      if (!braced_) return value.text;
      scratch_.assign(u"{").append(value.text).append(u"}");
      return scratch_;
    case AdsType::kBoolean:
    case AdsType::kInteger:
      AssignDecimal(scratch_, static_cast<std::int32_t>(value.number));
      return scratch_;
    case AdsType::kLargeInteger:
      AssignDecimal(scratch_, value.number);
      return scratch_;
    case AdsType::kUtcTime:
      if (const auto fileTime = FileTimeOf(value.time)) {
        AssignDecimal(scratch_, *fileTime);
        return scratch_;
      }
      return std::nullopt;
    case AdsType::kOctetString:
      return ConvertOctets(value.octets);
    default:
      return std::nullopt;
  }
}

std::optional<std::u16string_view> ColumnConverter::ConvertOctets(
    std::span<const std::byte> octets) {
  std::optional<std::u16string> text;
  switch (octetText_) {
    case OctetText::kSid:
      text = SidText(octets);
      break;
    case OctetText::kGuid:
      text = GuidText(octets);
      break;
    case OctetText::kLogonHours:
      text = HexText(octets.first(std::min(octets.size(), kLogonHoursSize)));
      break;
    case OctetText::kNone:
      break;
  }
  if (!text) return std::nullopt;
  scratch_ = std::move(*text);
  return scratch_;
}

}  // namespace zorvan::directory
