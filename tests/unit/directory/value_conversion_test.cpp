#include "directory/value_conversion.h"

#include <gtest/gtest.h>

#include <limits>

#include "support/scripted_platform.h"

namespace zorvan::directory {
namespace {

using platform::AdsType;
using platform::UtcTime;
using support::NumberValue;
using support::Octets;
using support::OctetsOf;
using support::OctetsValue;
using support::TextValue;
using support::TimeValue;

using Converted = std::optional<std::u16string>;

Converted Convert(std::u16string_view attribute, AdsType type, const platform::Value& value) {
  ColumnConverter converter(attribute);
  const auto text = converter.Convert(type, value);
  return text ? Converted(*text) : std::nullopt;
}

Converted ConvertOctets(std::u16string_view attribute, const Octets& octets) {
  return Convert(attribute, AdsType::kOctetString, OctetsValue(octets));
}

TEST(ValueConversion, CopiesEveryStringType) {
  for (const AdsType type :
       {AdsType::kDnString, AdsType::kCaseExactString, AdsType::kCaseIgnoreString,
        AdsType::kPrintableString, AdsType::kNumericString, AdsType::kPath, AdsType::kTypedName,
        AdsType::kFaxNumber}) {
    EXPECT_EQ(Convert(u"cn", type, TextValue(u"Jürgen 😀")), u"Jürgen 😀")
        << static_cast<std::uint32_t>(type);
    EXPECT_EQ(Convert(u"cn", type, TextValue(u"")), u"") << static_cast<std::uint32_t>(type);
  }
}

TEST(ValueConversion, BracesRightsGuidWhenItIsAString) {
  const platform::Value guid = TextValue(u"bf967aba-0de6-11d0-a285-00aa003049e2");
  EXPECT_EQ(Convert(u"rightsguid", AdsType::kCaseIgnoreString, guid),
            u"{bf967aba-0de6-11d0-a285-00aa003049e2}");
  EXPECT_EQ(Convert(u"rightsGUID", AdsType::kDnString, TextValue(u"CN=a")), u"CN=a");
}

TEST(ValueConversion, WritesNumbersInDecimal) {
  EXPECT_EQ(Convert(u"isDeleted", AdsType::kBoolean, NumberValue(1)), u"1");
  EXPECT_EQ(Convert(u"isDeleted", AdsType::kBoolean, NumberValue(0)), u"0");
  EXPECT_EQ(Convert(u"groupType", AdsType::kInteger, NumberValue(-2147483646)), u"-2147483646");
  // A flag word with its highest bit set is a negative number.
  EXPECT_EQ(Convert(u"groupType", AdsType::kInteger, NumberValue(0x80000002)), u"-2147483646");
  EXPECT_EQ(Convert(u"pwdLastSet", AdsType::kLargeInteger, NumberValue(0)), u"0");
  EXPECT_EQ(Convert(u"accountExpires", AdsType::kLargeInteger, NumberValue(0x7FFFFFFFFFFFFFFF)),
            u"9223372036854775807");
  EXPECT_EQ(Convert(u"maxPwdAge", AdsType::kLargeInteger,
                    NumberValue(std::numeric_limits<std::int64_t>::min())),
            u"-9223372036854775808");
}

TEST(ValueConversion, WritesTimesAsFileTimeCounts) {
  struct Case {
    UtcTime time;
    Converted expected;
  };
  const Case cases[] = {
      {{1601, 1, 1, 0, 0, 0, 0}, u"0"},
      {{1970, 1, 1, 0, 0, 0, 0}, u"116444736000000000"},
      {{1999, 12, 31, 23, 59, 59, 999}, u"125911583999990000"},
      {{2024, 2, 29, 12, 30, 15, 0}, u"133536834150000000"},
      {{9999, 12, 31, 23, 59, 59, 0}, u"2650467743990000000"},
      {{30827, 12, 31, 23, 59, 59, 999}, u"9223149887999990000"},
      // No dates.
      {{1600, 12, 31, 23, 59, 59, 0}, std::nullopt},
      {{2023, 2, 29, 0, 0, 0, 0}, std::nullopt},
      {{1900, 2, 29, 0, 0, 0, 0}, std::nullopt},
      {{2024, 13, 1, 0, 0, 0, 0}, std::nullopt},
      {{2024, 0, 1, 0, 0, 0, 0}, std::nullopt},
      {{2024, 1, 0, 0, 0, 0, 0}, std::nullopt},
      {{2024, 1, 1, 24, 0, 0, 0}, std::nullopt},
      {{2024, 1, 1, 0, 60, 0, 0}, std::nullopt},
      {{2024, 1, 1, 0, 0, 60, 0}, std::nullopt},
      {{2024, 1, 1, 0, 0, 0, 1000}, std::nullopt},
      // The last year that the platform converts is 30827.
      {{30828, 1, 1, 0, 0, 0, 0}, std::nullopt},
      {{40000, 1, 1, 0, 0, 0, 0}, std::nullopt},
      {{65535, 12, 31, 0, 0, 0, 0}, std::nullopt},
      {{}, std::nullopt},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(Convert(u"whenCreated", AdsType::kUtcTime, TimeValue(each.time)), each.expected)
        << each.time.year << "-" << each.time.month << "-" << each.time.day;
  }
}

TEST(ValueConversion, WritesSids) {
  EXPECT_EQ(ConvertOctets(u"objectsid", support::DomainSid(513)), u"S-1-5-21-1-2-3-513");
  EXPECT_EQ(ConvertOctets(u"objectSID", support::NtSid({21, 0xFFFFFFFF, 0, 4294967294})),
            u"S-1-5-21-4294967295-0-4294967294");
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({1, 0, 0, 0, 0, 0, 0, 5})), u"S-1-5");
  // Authorities are read from the highest byte on; those beyond 32 bits are hexadecimal.
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({1, 1, 0, 0, 0xFF, 0, 0, 1, 7, 0, 0, 0})),
            u"S-1-4278190081-7");
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({1, 1, 0, 1, 0, 0, 0, 0xAB, 7, 0, 0, 0})),
            u"S-1-0x0001000000ab-7");
}

TEST(ValueConversion, LeavesOutWhatIsNoSid) {
  EXPECT_EQ(ConvertOctets(u"objectSid", {}), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({1, 0, 0, 0, 0, 0, 0})), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({1, 2, 0, 0, 0, 0, 0, 5, 1, 0, 0, 0})),
            std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectSid", OctetsOf({2, 0, 0, 0, 0, 0, 0, 5})), std::nullopt);
  Octets sixteen = OctetsOf({1, 16, 0, 0, 0, 0, 0, 5});
  sixteen.resize(8 + 16 * 4);
  EXPECT_EQ(ConvertOctets(u"objectSid", sixteen), std::nullopt);
}

TEST(ValueConversion, WritesGuidsInRegistryForm) {
  const Octets guid = OctetsOf({0xBA, 0x7A, 0x96, 0xBF, 0xE6, 0x0D, 0xD0, 0x11, 0xA2, 0x85, 0x00,
                                0xAA, 0x00, 0x30, 0x49, 0xE2});
  const std::u16string expected = u"{BF967ABA-0DE6-11D0-A285-00AA003049E2}";
  EXPECT_EQ(ConvertOctets(u"objectGUID", guid), expected);
  EXPECT_EQ(ConvertOctets(u"SCHEMAIDGUID", guid), expected);
  EXPECT_EQ(ConvertOctets(u"objectGUID", Octets(guid.begin(), guid.end() - 1)), std::nullopt);
  EXPECT_EQ(ConvertOctets(u"objectGUID", {}), std::nullopt);
}

TEST(ValueConversion, WritesTheHoursOfAWeekInHexadecimal) {
  EXPECT_EQ(ConvertOctets(u"logonHours", Octets(21, std::byte{0xFF})), std::u16string(42, u'f'));
  Octets hours(21);
  hours[1] = std::byte{0x0A};
  EXPECT_EQ(ConvertOctets(u"LogonHours", hours), u"000a" + std::u16string(38, u'0'));
  EXPECT_EQ(ConvertOctets(u"logonHours", Octets(30, std::byte{0xFF})), std::u16string(42, u'f'));
  EXPECT_EQ(ConvertOctets(u"logonHours", OctetsOf({0x80})), u"80");
}

TEST(ValueConversion, LeavesOutTypesWithoutAText) {
  const Octets octets = OctetsOf({1, 2, 3});
  EXPECT_EQ(ConvertOctets(u"userCertificate", octets), std::nullopt);
  for (const AdsType type :
       {AdsType::kInvalid, AdsType::kProviderSpecific, AdsType::kObjectClass,
        AdsType::kNtSecurityDescriptor, AdsType::kUnknown, AdsType::kDnWithBinary,
        AdsType::kDnWithString, static_cast<AdsType>(1000)}) {
    EXPECT_EQ(Convert(u"objectSid", type, OctetsValue(octets)), std::nullopt)
        << static_cast<std::uint32_t>(type);
  }
}

}  // namespace
}  // namespace zorvan::directory
