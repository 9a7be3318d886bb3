#include "platform/windows/ads_values.h"

#include <span>

#include "platform/windows/native_text.h"

namespace zorvan::platform::windows {
namespace {

std::span<const std::byte> Octets(const void* data, DWORD size) {
  return {static_cast<const std::byte*>(data), size};
}

UtcTime ToUtcTime(const SYSTEMTIME& time) {
  return {time.wYear,   time.wMonth,  time.wDay,         time.wHour,
          time.wMinute, time.wSecond, time.wMilliseconds};
}

Value ReadAdsValue(const ADSVALUE& value) {
  Value result;
  switch (value.dwType) {
    case ADSTYPE_DN_STRING:
      result.text = TextView(value.DNString);
      break;
    case ADSTYPE_CASE_EXACT_STRING:
      result.text = TextView(value.CaseExactString);
      break;
    case ADSTYPE_CASE_IGNORE_STRING:
      result.text = TextView(value.CaseIgnoreString);
      break;
    case ADSTYPE_PRINTABLE_STRING:
      result.text = TextView(value.PrintableString);
      break;
    case ADSTYPE_NUMERIC_STRING:
      result.text = TextView(value.NumericString);
      break;
    case ADSTYPE_OBJECT_CLASS:
      result.text = TextView(value.ClassName);
      break;
    case ADSTYPE_PATH:
      if (value.pPath != nullptr) result.text = TextView(value.pPath->Path);
      break;
    case ADSTYPE_TYPEDNAME:
      if (value.pTypedName != nullptr) result.text = TextView(value.pTypedName->ObjectName);
      break;
    case ADSTYPE_FAXNUMBER:
      if (value.pFaxNumber != nullptr) result.text = TextView(value.pFaxNumber->TelephoneNumber);
      break;
    case ADSTYPE_BOOLEAN:
      result.number = value.Boolean != 0 ? 1 : 0;
      break;
    case ADSTYPE_INTEGER:
      result.number = static_cast<LONG>(value.Integer);
      break;
    case ADSTYPE_LARGE_INTEGER:
      result.number = value.LargeInteger.QuadPart;
      break;
    case ADSTYPE_UTC_TIME:
      result.time = ToUtcTime(value.UTCTime);
      break;
    case ADSTYPE_OCTET_STRING:
      result.octets = Octets(value.OctetString.lpValue, value.OctetString.dwLength);
      break;
    case ADSTYPE_PROV_SPECIFIC:
      result.octets = Octets(value.ProviderSpecific.lpValue, value.ProviderSpecific.dwLength);
      break;
    case ADSTYPE_NT_SECURITY_DESCRIPTOR:
      result.octets = Octets(value.SecurityDescriptor.lpValue, value.SecurityDescriptor.dwLength);
      break;
    default:
      break;
  }
  return result;
}

// The values of one VARIANT, with their storage.
class VariantReader {
 public:
  void Read(const VARIANT& variant) {
    switch (V_VT(&variant)) {
      case VT_BSTR:
        AddText(V_BSTR(&variant));
        break;
      case VT_BOOL:
        AddNumber(AdsType::kBoolean, V_BOOL(&variant) != VARIANT_FALSE ? 1 : 0);
        break;
      case VT_I2:
        AddNumber(AdsType::kInteger, V_I2(&variant));
        break;
      case VT_I4:
        AddNumber(AdsType::kInteger, V_I4(&variant));
        break;
      case VT_I8:
        AddNumber(AdsType::kLargeInteger, V_I8(&variant));
        break;
      case VT_DATE:
        AddDate(V_DATE(&variant));
        break;
      case VT_DISPATCH:
        AddObject(V_DISPATCH(&variant));
        break;
      case VT_ARRAY | VT_UI1:
        AddOctets(V_ARRAY(&variant));
        break;
      case VT_ARRAY | VT_VARIANT:
        AddElements(V_ARRAY(&variant));
        break;
      default:
        break;
    }
  }

  Column column() const { return {type_, values_}; }

 private:
  Value& Add(AdsType type) {
    type_ = type;
    return values_.emplace_back();
  }

  void AddNumber(AdsType type, std::int64_t number) { Add(type).number = number; }

  void AddText(BSTR text) {
    Add(AdsType::kCaseIgnoreString).text = TextView(text, SysStringLen(text));
  }

  void AddDate(DATE date) {
    SYSTEMTIME time{};
    if (VariantTimeToSystemTime(date, &time)) Add(AdsType::kUtcTime).time = ToUtcTime(time);
  }

  // Large integers come as objects, and so do values that the port has no form for.
  void AddObject(IDispatch* object) {
    ComPtr<IADsLargeInteger> number;
    LONG high = 0;
    LONG low = 0;
    if (object != nullptr &&
        SUCCEEDED(object->QueryInterface(IID_IADsLargeInteger, number.OutVoid())) &&
        SUCCEEDED(number->get_HighPart(&high)) && SUCCEEDED(number->get_LowPart(&low))) {
      LARGE_INTEGER value;
      value.HighPart = high;
      value.LowPart = static_cast<DWORD>(low);
      AddNumber(AdsType::kLargeInteger, value.QuadPart);
    }
  }

  void AddOctets(SAFEARRAY* array) {
    void* data = nullptr;
    if (array == nullptr || FAILED(SafeArrayAccessData(array, &data))) return;
    const SafeArrayData access(array);
    // Valid beyond the access: the VARIANT that owns the array outlives the reading.
    Add(AdsType::kOctetString).octets = Octets(data, array->rgsabound[0].cElements);
  }

  void AddElements(SAFEARRAY* array) {
    void* data = nullptr;
    if (array == nullptr || FAILED(SafeArrayAccessData(array, &data))) return;
    const SafeArrayData access(array);
    for (const VARIANT& element :
         std::span(static_cast<const VARIANT*>(data), array->rgsabound[0].cElements)) {
      Read(element);
    }
  }

  AdsType type_ = AdsType::kUnknown;
  std::vector<Value> values_;
};

}  // namespace

Column ReadAdsValues(ADSTYPE type, const ADSVALUE* first, DWORD count, std::vector<Value>& values) {
  values.clear();
  if (first != nullptr) {
    for (const ADSVALUE& value : std::span(first, count)) values.push_back(ReadAdsValue(value));
  }
  return {static_cast<AdsType>(type), values};
}

void AddVariant(std::u16string_view name, const VARIANT& variant, AttributeSet& attributes) {
  VariantReader reader;
  reader.Read(variant);
  attributes.Add(name, reader.column());
}

}  // namespace zorvan::platform::windows
