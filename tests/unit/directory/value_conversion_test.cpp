#include "directory/value_conversion.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/scripted_platform.h"

namespace zorvan::directory {
namespace {

using platform::AdsType;
using support::NumberValue;
using support::Octets;
using support::OctetsOf;
using support::OctetsValue;
using support::TextValue;

using Converted = std::optional<std::u16string>;

Converted Convert(std::u16string_view attribute, AdsType type, const platform::Value& value) {
  ColumnConverter converter(attribute);
  const auto text = converter.Convert(type, value);
  return text ? Converted(*text) : std::nullopt;
}

Converted ConvertOctets(std::u16string_view attribute, const Octets& octets) {
  return Convert(attribute, AdsType::kOctetString, OctetsValue(octets));
}

TEST(ValueConversion, CopiesTextsAndBracesRightsGuid) {
  for (const AdsType type :
       {AdsType::kCaseExactString, AdsType::kCaseIgnoreString, AdsType::kPrintableString,
        AdsType::kNumericString, AdsType::kPath, AdsType::kTypedName, AdsType::kFaxNumber}) {
    EXPECT_EQ(Convert(u"cn", type, TextValue(u"Jürgen 😀")), u"Jürgen 😀");
    EXPECT_EQ(Convert(u"rightsguid", type, TextValue(u"bf967aba")), u"{bf967aba}");
  }
  EXPECT_EQ(Convert(u"rightsGUID", AdsType::kDnString, TextValue(u"CN=a")), u"CN=a");
}

TEST(ValueConversion, WritesNumbersInDecimal) {
  EXPECT_EQ(Convert(u"groupType", AdsType::kInteger, NumberValue(-2147483646)), u"-2147483646");
  // A flag word with its highest bit set is a negative number.
  EXPECT_EQ(Convert(u"groupType", AdsType::kInteger, NumberValue(0x80000002)), u"-2147483646");
  EXPECT_EQ(Convert(u"maxPwdAge", AdsType::kLargeInteger,
                    NumberValue(std::numeric_limits<std::int64_t>::min())),
            u"-9223372036854775808");
}

TEST(ValueConversion, WritesTimesAsFileTimeCounts) {
  const std::pair<platform::UtcTime, Converted> cases[] = {
      {{1601, 1, 1, 0, 0, 0, 0}, u"0"},
      {{1999, 12, 31, 23, 59, 59, 999}, u"125911583999990000"},
      {{2024, 2, 29, 12, 30, 15, 0}, u"133536834150000000"},
      {{30827, 12, 31, 23, 59, 59, 999}, u"9223149887999990000"},
      // No dates, and years beyond those that the platform converts.
      {{1600, 12, 31, 23, 59, 59, 0}, std::nullopt},
      {{1900, 2, 29, 0, 0, 0, 0}, std::nullopt},
      {{2024, 13, 1, 0, 0, 0, 0}, std::nullopt},
      {{2024, 0, 1, 0, 0, 0, 0}, std::nullopt},
      {{2024, 1, 0, 0, 0, 0, 0}, std::nullopt},
      {{2024, 1, 1, 24, 0, 0, 0}, std::nullopt},
      {{2024, 1, 1, 0, 60, 0, 0}, std::nullopt},
      {{2024, 1, 1, 0, 0, 60, 0}, std::nullopt},
      {{2024, 1, 1, 0, 0, 0, 1000}, std::nullopt},
      {{30828, 1, 1, 0, 0, 0, 0}, std::nullopt},
      {{65535, 12, 31, 0, 0, 0, 0}, std::nullopt},
  };
  for (const auto& [time, expected] : cases) {
    EXPECT_EQ(Convert(u"whenCreated", AdsType::kUtcTime, {{}, {}, 0, time}), expected)
        << time.year << "-" << time.month << "-" << time.day;
  }
}

TEST(ValueConversion, WritesSidsAndLeavesOutWhatIsNone) {
  Octets sixteen = OctetsOf({1, 16, 0, 0, 0, 0, 0, 5});
  sixteen.resize(8 + 16 * 4);
  const std::pair<Octets, Converted> cases[] = {
      {support::NtSid({21, 0xFFFFFFFF, 0, 4294967294}), u"S-1-5-21-4294967295-0-4294967294"},
      {OctetsOf({1, 0, 0, 0, 0, 0, 0, 5}), u"S-1-5"},
      // Authorities are read from the highest byte on; those beyond 32 bits are hexadecimal.
      {OctetsOf({1, 1, 0, 0, 0xFF, 0, 0, 1, 7, 0, 0, 0}), u"S-1-4278190081-7"},
      {OctetsOf({1, 1, 0, 1, 0, 0, 0, 0xAB, 7, 0, 0, 0}), u"S-1-0x0001000000ab-7"},
      {{}, std::nullopt},
      {OctetsOf({1, 0, 0, 0, 0, 0, 0}), std::nullopt},
      {OctetsOf({1, 2, 0, 0, 0, 0, 0, 5, 1, 0, 0, 0}), std::nullopt},
      {OctetsOf({1, 0, 0, 0, 0, 0, 0, 5, 0}), std::nullopt},
      {OctetsOf({2, 0, 0, 0, 0, 0, 0, 5}), std::nullopt},
      {sixteen, std::nullopt},
  };
  for (const auto& [octets, expected] : cases) {
    EXPECT_EQ(ConvertOctets(u"objectSID", octets), expected);
  }
}

TEST(ValueConversion, WritesOctetsByTheirAttribute) {
  EXPECT_EQ(ConvertOctets(u"SCHEMAIDGUID", Octets(16, std::byte{0xAB})),
            u"{ABABABAB-ABAB-ABAB-ABAB-ABABABABABAB}");
  EXPECT_EQ(ConvertOctets(u"objectGUID", Octets(15)), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectGUID", Octets(17)), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectGUID", {}), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"logonHours", Octets(30, std::byte{0xFF})), std::u16string(42, u'f'));
  EXPECT_EQ(ConvertOctets(u"LogonHours", OctetsOf({0x80})), u"80");
  EXPECT_EQ(ConvertOctets(u"userCertificate", Octets(3)), std::nullopt);
  for (const AdsType type :
       {AdsType::kInvalid, AdsType::kNtSecurityDescriptor, static_cast<AdsType>(1000)}) {
    EXPECT_EQ(Convert(u"objectSid", type, OctetsValue(Octets(3))), std::nullopt);
  }
}

}  // namespace
}  // namespace zorvan::directory
