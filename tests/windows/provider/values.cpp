#include "provider/values.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "provider/com_object.h"

namespace zorvan::windows_test {
namespace {

constexpr std::size_t kAlignment = 8;

std::size_t Aligned(std::size_t size) { return (size + kAlignment - 1) / kAlignment * kAlignment; }

// Writes what values point to behind them.
class BlockWriter {
 public:
  explicit BlockWriter(BYTE* position) : position_(position) {}

  wchar_t* Text(const std::wstring& text) {
    return static_cast<wchar_t*>(Copy(text.c_str(), (text.size() + 1) * sizeof(wchar_t)));
  }
  BYTE* Octets(const std::string& octets) {
    return static_cast<BYTE*>(Copy(octets.data(), octets.size()));
  }

 private:
  void* Copy(const void* data, std::size_t size) {
    void* start = position_;
    std::memcpy(start, data, size);
    position_ += Aligned(size);
    return start;
  }

  BYTE* position_;
};

bool IsTrue(const std::string& text) { return text == "TRUE"; }

void WriteValue(ADSTYPE type, const std::string& raw, ADSVALUE& value, BlockWriter& writer) {
  value.dwType = type;
  switch (type) {
    case ADSTYPE_BOOLEAN:
      value.Boolean = IsTrue(raw) ? TRUE : FALSE;
      break;
    case ADSTYPE_INTEGER:
      value.Integer = static_cast<DWORD>(std::strtol(raw.c_str(), nullptr, 10));
      break;
    case ADSTYPE_LARGE_INTEGER:
      value.LargeInteger.QuadPart = std::strtoll(raw.c_str(), nullptr, 10);
      break;
    case ADSTYPE_UTC_TIME:
      ParseTime(raw, value.UTCTime);
      break;
    case ADSTYPE_OCTET_STRING:
      value.OctetString = {static_cast<DWORD>(raw.size()), writer.Octets(raw)};
      break;
    case ADSTYPE_NT_SECURITY_DESCRIPTOR:
      value.SecurityDescriptor = {static_cast<DWORD>(raw.size()), writer.Octets(raw)};
      break;
    case ADSTYPE_PROV_SPECIFIC:
      value.ProviderSpecific = {static_cast<DWORD>(raw.size()), writer.Octets(raw)};
      break;
    case ADSTYPE_DN_WITH_BINARY:
    case ADSTYPE_DN_WITH_STRING:
      value.pDNWithString = nullptr;
      break;
    default:
      value.CaseIgnoreString = writer.Text(FromUtf8(raw));
      break;
  }
}

// Large integers are objects behind the property cache.
class LargeInteger : public DispatchObject<IADsLargeInteger> {
 public:
  explicit LargeInteger(LONGLONG value) { value_.QuadPart = value; }

  STDMETHODIMP get_HighPart(LONG* high) override {
    *high = value_.HighPart;
    return S_OK;
  }
  STDMETHODIMP put_HighPart(LONG high) override {
    value_.HighPart = high;
    return S_OK;
  }
  STDMETHODIMP get_LowPart(LONG* low) override {
    *low = static_cast<LONG>(value_.LowPart);
    return S_OK;
  }
  STDMETHODIMP put_LowPart(LONG low) override {
    value_.LowPart = static_cast<DWORD>(low);
    return S_OK;
  }

 private:
  LARGE_INTEGER value_;
};

HRESULT MakeOctets(const std::string& raw, VARIANT& variant) {
  SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(raw.size()));
  if (array == nullptr) return E_OUTOFMEMORY;
  std::memcpy(array->pvData, raw.data(), raw.size());
  V_VT(&variant) = VT_ARRAY | VT_UI1;
  V_ARRAY(&variant) = array;
  return S_OK;
}

HRESULT MakeOne(ADSTYPE type, const std::string& raw, VARIANT& variant) {
  switch (type) {
    case ADSTYPE_BOOLEAN:
      V_VT(&variant) = VT_BOOL;
      V_BOOL(&variant) = IsTrue(raw) ? VARIANT_TRUE : VARIANT_FALSE;
      return S_OK;
    case ADSTYPE_INTEGER:
      V_VT(&variant) = VT_I4;
      V_I4(&variant) = static_cast<LONG>(std::strtol(raw.c_str(), nullptr, 10));
      return S_OK;
    case ADSTYPE_LARGE_INTEGER:
      V_VT(&variant) = VT_DISPATCH;
      V_DISPATCH(&variant) = new LargeInteger(std::strtoll(raw.c_str(), nullptr, 10));
      return S_OK;
    case ADSTYPE_UTC_TIME: {
      SYSTEMTIME time{};
      V_VT(&variant) = VT_DATE;
      ParseTime(raw, time);
      SystemTimeToVariantTime(&time, &V_DATE(&variant));
      return S_OK;
    }
    case ADSTYPE_OCTET_STRING:
    case ADSTYPE_PROV_SPECIFIC:
      return MakeOctets(raw, variant);
    case ADSTYPE_NT_SECURITY_DESCRIPTOR:
    case ADSTYPE_DN_WITH_BINARY:
    case ADSTYPE_DN_WITH_STRING:
      // Objects whose interfaces nobody asks for yet.
      V_VT(&variant) = VT_DISPATCH;
      V_DISPATCH(&variant) = nullptr;
      return S_OK;
    default: {
      const std::wstring text = FromUtf8(raw);
      V_VT(&variant) = VT_BSTR;
      V_BSTR(&variant) = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
      return S_OK;
    }
  }
}

}  // namespace

std::wstring FromUtf8(std::string_view text) {
  const int size = static_cast<int>(text.size());
  std::wstring wide(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
      L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
  return wide;
}

bool ParseTime(const std::string& text, SYSTEMTIME& time) {
  unsigned year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hour = 0;
  unsigned minute = 0;
  unsigned second = 0;
  const bool isShort = text.size() < 15;
  const char* form = isShort ? "%2u%2u%2u%2u%2u%2u" : "%4u%2u%2u%2u%2u%2u";
  if (std::sscanf(text.c_str(), form, &year, &month, &day, &hour, &minute, &second) != 6) {
    return false;
  }
  if (isShort) year += year < 50 ? 2000 : 1900;
  time = {};
  time.wYear = static_cast<WORD>(year);
  time.wMonth = static_cast<WORD>(month);
  time.wDay = static_cast<WORD>(day);
  time.wHour = static_cast<WORD>(hour);
  time.wMinute = static_cast<WORD>(minute);
  time.wSecond = static_cast<WORD>(second);
  return true;
}

ADS_ATTR_INFO* MakeAttributeBlock(const std::vector<TypedAttribute>& attributes) {
  std::size_t fixed = Aligned(attributes.size() * sizeof(ADS_ATTR_INFO));
  std::size_t texts = 0;
  for (const TypedAttribute& attribute : attributes) {
    fixed += attribute.values.size() * sizeof(ADSVALUE);
    texts += Aligned((attribute.name.size() + 1) * sizeof(wchar_t));
    for (const std::string& value : attribute.values) {
      texts += Aligned((value.size() + 1) * sizeof(wchar_t));
    }
  }
  auto* block = static_cast<BYTE*>(AllocADsMem(static_cast<DWORD>(fixed + texts)));
  if (block == nullptr) return nullptr;
  auto* infos = reinterpret_cast<ADS_ATTR_INFO*>(block);
  auto* values =
      reinterpret_cast<ADSVALUE*>(block + Aligned(attributes.size() * sizeof(ADS_ATTR_INFO)));
  BlockWriter writer(block + fixed);
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const TypedAttribute& attribute = attributes[i];
    infos[i] = {writer.Text(attribute.name), 0, attribute.type, values,
                static_cast<DWORD>(attribute.values.size())};
    for (const std::string& raw : attribute.values) {
      *values = {};
      WriteValue(attribute.type, raw, *values++, writer);
    }
  }
  return infos;
}

HRESULT MakeVariant(ADSTYPE type, const std::vector<std::string>& values, VARIANT* variant) {
  VariantInit(variant);
  if (values.size() == 1) return MakeOne(type, values.front(), *variant);
  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, static_cast<ULONG>(values.size()));
  if (array == nullptr) return E_OUTOFMEMORY;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const HRESULT result = MakeOne(type, values[i], static_cast<VARIANT*>(array->pvData)[i]);
    if (FAILED(result)) {
      SafeArrayDestroy(array);
      return result;
    }
  }
  V_VT(variant) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(variant) = array;
  return S_OK;
}

}  // namespace zorvan::windows_test
