// Values of the directory interface and of the property cache, as the port sees them.
#include "platform/windows/ads_values.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>

namespace zorvan::platform::windows {
namespace {

Value ReadOne(const ADSVALUE& value) {
  std::vector<Value> values;
  const Column column = ReadAdsValues(value.dwType, &value, 1, values);
  EXPECT_EQ(static_cast<ADSTYPE>(column.type), value.dwType);
  EXPECT_EQ(column.values.size(), 1U);
  return values.front();
}

TEST(AdsValuesTest, TakesTheTextOfEveryKindOfString) {
  wchar_t text[] = L"Zoë";
  ADS_PATH path{0, nullptr, text};
  ADS_TYPEDNAME typed{text, 0, 0};
  ADS_FAXNUMBER fax{text, 0, nullptr};
  for (ADSTYPE type : {ADSTYPE_DN_STRING, ADSTYPE_CASE_EXACT_STRING, ADSTYPE_CASE_IGNORE_STRING,
                       ADSTYPE_PRINTABLE_STRING, ADSTYPE_NUMERIC_STRING, ADSTYPE_OBJECT_CLASS,
                       ADSTYPE_PATH, ADSTYPE_TYPEDNAME, ADSTYPE_FAXNUMBER}) {
    ADSVALUE value{};
    value.dwType = type;
    value.CaseIgnoreString = text;
    if (type == ADSTYPE_PATH) value.pPath = &path;
    if (type == ADSTYPE_TYPEDNAME) value.pTypedName = &typed;
    if (type == ADSTYPE_FAXNUMBER) value.pFaxNumber = &fax;
    EXPECT_EQ(ReadOne(value).text, u"Zo\u00EB") << "type " << type;
  }
}

TEST(AdsValuesTest, KeepsTheSignOfNumbers) {
  ADSVALUE value{};
  value.dwType = ADSTYPE_INTEGER;
  value.Integer = static_cast<DWORD>(-2147483646);  // a group type
  EXPECT_EQ(ReadOne(value).number, -2147483646);
  value.dwType = ADSTYPE_LARGE_INTEGER;
  value.LargeInteger.QuadPart = std::numeric_limits<LONGLONG>::max();
  EXPECT_EQ(ReadOne(value).number, std::numeric_limits<std::int64_t>::max());
  value.dwType = ADSTYPE_BOOLEAN;
  value.Boolean = 0xFFFFFFFF;
  EXPECT_EQ(ReadOne(value).number, 1);
}

TEST(AdsValuesTest, ViewsOctetsAndTimesInPlace) {
  BYTE bytes[] = {0, 1, 0xFF};
  for (ADSTYPE type :
       {ADSTYPE_OCTET_STRING, ADSTYPE_PROV_SPECIFIC, ADSTYPE_NT_SECURITY_DESCRIPTOR}) {
    ADSVALUE value{};
    value.dwType = type;
    value.OctetString = {sizeof(bytes), bytes};
    const Value read = ReadOne(value);
    ASSERT_EQ(read.octets.size(), sizeof(bytes)) << "type " << type;
    EXPECT_EQ(read.octets[2], std::byte{0xFF});
  }
  ADSVALUE value{};
  value.dwType = ADSTYPE_UTC_TIME;
  value.UTCTime = {2024, 2, 4, 29, 23, 59, 58, 7};
  const UtcTime time = ReadOne(value).time;
  EXPECT_EQ(time.month, 2);
  EXPECT_EQ(time.day, 29) << "the day of the week comes between month and day";
  EXPECT_EQ(time.second, 58);
  EXPECT_EQ(time.millisecond, 7);
}

TEST(AdsValuesTest, PassesUnknownTypesThroughWithTheirCount) {
  std::array<ADSVALUE, 2> values{};
  for (ADSVALUE& value : values) value.dwType = static_cast<ADSTYPE>(30);
  std::vector<Value> storage;
  const Column column = ReadAdsValues(static_cast<ADSTYPE>(30), values.data(), 2, storage);
  EXPECT_EQ(static_cast<int>(column.type), 30);
  ASSERT_EQ(column.values.size(), 2U);
  EXPECT_TRUE(column.values[0].text.empty());
}

TEST(AdsValuesTest, TakesNullPointersForEmptyValues) {
  for (ADSTYPE type : {ADSTYPE_DN_STRING, ADSTYPE_PATH, ADSTYPE_TYPEDNAME, ADSTYPE_FAXNUMBER,
                       ADSTYPE_OCTET_STRING}) {
    ADSVALUE value{};
    value.dwType = type;
    const Value read = ReadOne(value);
    EXPECT_TRUE(read.text.empty() && read.octets.empty()) << "type " << type;
  }
  std::vector<Value> storage;
  EXPECT_TRUE(ReadAdsValues(ADSTYPE_INTEGER, nullptr, 3, storage).values.empty());
}

class VariantTest : public testing::Test {
 protected:
  // A variant of this kind that fill puts the value into, as the property cache gives it.
  template <typename Fill>
  const Column& Read(VARTYPE kind, Fill fill) {
    VARIANT* value = variant_.Out();
    V_VT(value) = kind;
    fill(value);
    set_ = {};
    AddVariant(u"attribute", variant_.get(), set_);
    return *set_.Find(u"ATTRIBUTE");
  }

  Variant variant_;
  AttributeSet set_;
};

TEST_F(VariantTest, TellsTheScalarKindsApart) {
  const Column& text =
      Read(VT_BSTR, [](VARIANT* value) { V_BSTR(value) = SysAllocStringLen(L"a\0b", 3); });
  EXPECT_EQ(text.type, AdsType::kCaseIgnoreString);
  EXPECT_EQ(text.values[0].text, std::u16string_view(u"a\0b", 3));
  const auto expectNumber = [this](VARTYPE kind, auto fill, AdsType type, std::int64_t number) {
    const Column& column = Read(kind, fill);
    EXPECT_EQ(column.type, type) << "kind " << kind;
    EXPECT_EQ(column.values[0].number, number) << "kind " << kind;
  };
  expectNumber(
      VT_BOOL, [](VARIANT* value) { V_BOOL(value) = VARIANT_TRUE; }, AdsType::kBoolean, 1);
  expectNumber(
      VT_I4, [](VARIANT* value) { V_I4(value) = -5; }, AdsType::kInteger, -5);
  expectNumber(
      VT_I2, [](VARIANT* value) { V_I2(value) = -6; }, AdsType::kInteger, -6);
  constexpr std::int64_t kLeast = std::numeric_limits<LONGLONG>::min();
  expectNumber(
      VT_I8, [](VARIANT* value) { V_I8(value) = kLeast; }, AdsType::kLargeInteger, kLeast);
  const Column& date = Read(VT_DATE, [](VARIANT* value) {
    SYSTEMTIME time{2024, 2, 4, 29, 23, 59, 58, 0};
    ASSERT_TRUE(SystemTimeToVariantTime(&time, &V_DATE(value)));
  });
  EXPECT_EQ(date.type, AdsType::kUtcTime);
  EXPECT_EQ(date.values[0].time.day, 29);
  EXPECT_EQ(date.values[0].time.second, 58);
}

TEST_F(VariantTest, ReadsOctetsAndListsFromTheirArrays) {
  const Column& octets = Read(VT_ARRAY | VT_UI1, [](VARIANT* value) {
    V_ARRAY(value) = SafeArrayCreateVector(VT_UI1, 0, 3);
    static_cast<BYTE*>(V_ARRAY(value)->pvData)[2] = 0xAB;
  });
  EXPECT_EQ(octets.type, AdsType::kOctetString);
  ASSERT_EQ(octets.values[0].octets.size(), 3U);
  EXPECT_EQ(octets.values[0].octets[2], std::byte{0xAB});

  const Column& list = Read(VT_ARRAY | VT_VARIANT, [](VARIANT* value) {
    V_ARRAY(value) = SafeArrayCreateVector(VT_VARIANT, 0, 2);
    auto* elements = static_cast<VARIANT*>(V_ARRAY(value)->pvData);
    V_VT(&elements[0]) = VT_CY;  // no attribute comes as money
    V_VT(&elements[1]) = VT_BSTR;
    V_BSTR(&elements[1]) = SysAllocString(L"two");
  });
  ASSERT_EQ(list.values.size(), 1U) << "an element without a form is left out";
  EXPECT_EQ(list.values[0].text, u"two");
}

TEST_F(VariantTest, LeavesKindsWithoutAFormWithoutAValue) {
  for (VARTYPE kind : {VT_EMPTY, VT_NULL, VT_CY, VT_R8}) {
    const Column& column = Read(kind, [](VARIANT*) {});
    EXPECT_EQ(column.type, AdsType::kUnknown) << "kind " << kind;
    EXPECT_TRUE(column.values.empty()) << "kind " << kind;
  }
  EXPECT_TRUE(
      Read(VT_DISPATCH, [](VARIANT* value) { V_DISPATCH(value) = nullptr; }).values.empty());
}

}  // namespace
}  // namespace zorvan::platform::windows
