#include "platform/posix/value_decoding.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "unit/platform/posix/ber.h"

namespace zorvan::platform::posix {
namespace {

using ber::Attribute;
using ber::Element;

std::span<const std::byte> Bytes(const std::string& text) { return std::as_bytes(std::span(text)); }

std::string TimeText(std::string_view text) {
  UtcTime time;
  if (!ParseDirectoryTime(text, time)) return "refused";
  char out[64];
  std::snprintf(out, sizeof out, "%04d-%02d-%02d %02d:%02d:%02d.%03d", time.year, time.month,
                time.day, time.hour, time.minute, time.second, time.millisecond);
  return out;
}

TEST(DirectoryTime, IsReadInBothFormsAndMovedToUtc) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"20240229123456.0Z", "2024-02-29 12:34:56.000"},
      {"20240229123456Z", "2024-02-29 12:34:56.000"},
      {"20240229123456.7891Z", "2024-02-29 12:34:56.789"},
      {"20240229123456,5Z", "2024-02-29 12:34:56.500"},
      {"16010101000000.0Z", "1601-01-01 00:00:00.000"},
      {"99991231235959.0Z", "9999-12-31 23:59:59.000"},
      {"240229123456Z", "2024-02-29 12:34:56.000"},
      {"491231235959Z", "2049-12-31 23:59:59.000"},
      {"500101000000Z", "1950-01-01 00:00:00.000"},
      {"2402291234Z", "2024-02-29 12:34:00.000"},
      {"20231231233000-0100", "2024-01-01 00:30:00.000"},
      {"20240301003000.0+0100", "2024-02-29 23:30:00.000"},
      {"20240101000000+0545", "2023-12-31 18:15:00.000"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(TimeText(text), expected) << text;
}

template <typename... Texts>
void ExpectRefused(const Texts&... texts) {
  for (std::string_view text : {std::string_view(texts)...})
    EXPECT_EQ(TimeText(text), "refused") << text;
}

TEST(DirectoryTime, IsRefusedWhenTheCalendarDoesNotHaveIt) {
  ExpectRefused("", "Z", "2024", "20240229", "20230229000000Z", "20241301000000Z",
                "20240001000000Z", "20240132000000Z", "20240100000000Z", "20240101240000Z",
                "20240101006000Z", "20240101000060Z", "20240101000000", "20240101000000.Z",
                "20240101000000.0", "20240101000000z", "20240101000000+25", "20240101000000+2400",
                "20240101000000Z ", "2024010100000aZ", "00000101000000Z", "00010101000000+0100",
                "-0240101000000Z");
}

TEST(DirectoryNumber, OutOfRangeEndsAtTheNearestOne) {
  const auto integer = [](std::string_view text) {
    std::int64_t value = -77;
    return ParseInteger(text, value) ? value : -77;
  };
  EXPECT_EQ(integer("-2147483646"), -2147483646);
  EXPECT_EQ(integer("2147483650"), -2147483646);  // the same bits, written unsigned
  EXPECT_EQ(integer("4294967296"), 2147483647);
  EXPECT_EQ(integer("-2147483649"), -2147483648LL);
  EXPECT_EQ(integer("99999999999999999999"), 2147483647);
  EXPECT_EQ(integer("+5"), 5);

  const auto large = [](std::string_view text) {
    std::int64_t value = -77;
    return ParseLargeInteger(text, value) ? value : -77;
  };
  EXPECT_EQ(large("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(large("9223372036854775808"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(large("-9223372036854775809"), std::numeric_limits<std::int64_t>::min());
  for (std::string_view text : {"", "-", "+", "x", "1x", " 1", "1 ", "0x1", "1.0"}) {
    EXPECT_EQ(large(text), -77) << text;
  }
}

TEST(EntryDecoder, GivesEachAttributeAsItsType) {
  const std::string entry =
      Attribute("cn", {"Zo\xC3\xAB"}) + Attribute("objectSid", {std::string("\x01\x00\xFF", 3)}) +
      Attribute("isDeleted", {"TRUE"}) + Attribute("memberOf", {"CN=a", "CN=b", ""}) +
      Attribute("whenCreated", {"20240229123456.0Z"});
  EntryDecoder decoder;
  ASSERT_TRUE(decoder.ResetTo("CN=Zo", Bytes(entry)));
  EXPECT_EQ(decoder.dn(), "CN=Zo");

  const auto column = [&](std::string_view name, AdsType type) {
    Column found;
    const auto index = decoder.Find(name);
    EXPECT_TRUE(index && decoder.Decode(*index, type, found) == kOk) << name;
    return found;
  };
  EXPECT_EQ(column("CN", AdsType::kCaseIgnoreString).values[0].text, u"Zo\u00EB");
  EXPECT_EQ(column("objectsid", AdsType::kOctetString).values[0].octets.size(), 3U);
  EXPECT_EQ(column("isDeleted", AdsType::kBoolean).values[0].number, 1);
  EXPECT_EQ(column("whenCreated", AdsType::kUtcTime).values[0].time.year, 2024);
  const Column members = column("memberOf", AdsType::kDnString);
  ASSERT_EQ(members.values.size(), 3U);
  EXPECT_EQ(members.values[1].text, u"CN=b");
  EXPECT_EQ(members.values[2].text, u"");
  EXPECT_FALSE(decoder.Find("member").has_value());
}

TEST(EntryDecoder, KeepsViewsOfOneRowWhileOthersAreDecoded) {
  // Values that do not fit one block of the arena together.
  const std::string large(5000, 'x');
  const std::string entry =
      Attribute("a", {"first"}) + Attribute("b", {large, large}) + Attribute("c", {"last"});
  EntryDecoder decoder;
  for (int row = 0; row < 3; ++row) {
    ASSERT_TRUE(decoder.ResetTo("CN=x", Bytes(entry)));
    Column columns[3];
    for (std::size_t i = 0; i < 3; ++i) {
      ASSERT_EQ(decoder.Decode(i, AdsType::kCaseIgnoreString, columns[i]), kOk);
    }
    EXPECT_EQ(columns[0].values[0].text, u"first");
    EXPECT_EQ(columns[1].values[1].text, std::u16string(5000, u'x'));
    EXPECT_EQ(columns[2].values[0].text, u"last");
  }
}

TEST(EntryDecoder, TakesRangedAndEmptyAttributesForWhatTheyAre) {
  const std::string entry = Attribute("member", {}) + Attribute("member;range=0-1499", {"CN=a"});
  EntryDecoder decoder;
  ASSERT_TRUE(decoder.ResetTo("CN=g", Bytes(entry)));
  EXPECT_FALSE(decoder.Find("member").has_value());
  EXPECT_EQ(decoder.Find("Member;Range=0-1499"), 1U);
  EXPECT_FALSE(decoder.Find("member;range=0-999").has_value());
}

TEST(EntryDecoder, ReportsAValueThatIsNotOfItsType) {
  const std::string entry = Attribute("uSNChanged", {"12", "x"}) + Attribute("isDeleted", {"yes"});
  EntryDecoder decoder;
  ASSERT_TRUE(decoder.ResetTo("CN=x", Bytes(entry)));
  Column column;
  EXPECT_EQ(decoder.Decode(0, AdsType::kLargeInteger, column), kCannotConvert);
  EXPECT_EQ(decoder.Decode(1, AdsType::kBoolean, column), kCannotConvert);
  EXPECT_EQ(decoder.Decode(0, AdsType::kCaseIgnoreString, column), kOk);
  EXPECT_EQ(column.values.size(), 2U);
}

TEST(EntryDecoder, RefusesEveryDamagedListAndForgetsTheRowBefore) {
  const std::string whole = Attribute("cn", {"a"}) + Attribute("sn", {std::string(200, 'b')});
  EntryDecoder decoder;
  for (std::size_t length = 1; length < whole.size(); ++length) {
    if (length == Attribute("cn", {"a"}).size()) continue;  // ends between two attributes
    const std::string cut = whole.substr(0, length);
    ASSERT_TRUE(decoder.ResetTo("CN=x", Bytes(whole)));
    EXPECT_FALSE(decoder.ResetTo("CN=x", Bytes(cut))) << length;
    EXPECT_EQ(decoder.count(), 0U);
    EXPECT_FALSE(decoder.Find("cn", 0).has_value());
  }
  for (const std::string& bad :
       {std::string("\x30\x80\x00\x00", 4), std::string("\x30\x85\x01\x01\x01\x01\x01", 7),
        Element('\x31', ""), Element('\x30', Element('\x04', "cn"))}) {
    EXPECT_FALSE(decoder.ResetTo("CN=x", Bytes(bad)));
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
