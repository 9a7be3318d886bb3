#include "provider/directory_entry.h"

#include <algorithm>
#include <utility>

#include "platform/posix/search_filter.h"
#include "platform/posix/unicode.h"
#include "provider/attribute_types.h"
#include "provider/values.h"

// The filter's own text conversion, over the system's.
namespace zorvan::platform::posix {

std::string ToUtf8(std::u16string_view text) {
  const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
  const int size = static_cast<int>(text.size());
  std::string narrow(static_cast<std::size_t>(
                         WideCharToMultiByte(CP_UTF8, 0, wide, size, nullptr, 0, nullptr, nullptr)),
                     '\0');
  WideCharToMultiByte(CP_UTF8, 0, wide, size, narrow.data(), static_cast<int>(narrow.size()),
                      nullptr, nullptr);
  return narrow;
}

}  // namespace zorvan::platform::posix

namespace zorvan::windows_test {
namespace {

using platform::windows::ComPtr;

// The platform's LDAP provider, which this one stands in front of.
constexpr CLSID kPlatformNamespace = {
    0x228d9a82, 0xc302, 0x11cf, {0x9a, 0xa4, 0x00, 0xaa, 0x00, 0x4a, 0x56, 0x91}};

// What the platform says of a refused password elsewhere, against what this one's own provider
// says.
constexpr HRESULT kRefusedHere = static_cast<HRESULT>(0x800720A2);

HRESULT Documented(HRESULT result) {
  return result == kRefusedHere ? HRESULT_FROM_WIN32(ERROR_LOGON_FAILURE) : result;
}

bool Equals(std::wstring_view text, const wchar_t* other) {
  return _wcsicmp(std::wstring(text).c_str(), other) == 0;
}

std::wstring Unescaped(std::wstring_view name) {
  std::wstring result;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] == L'\\' && i + 1 < name.size() && name[i + 1] == L'/') ++i;
    result.push_back(name[i]);
  }
  return result;
}

}  // namespace

HRESULT ObjectPath::Parse(const std::wstring& text, ObjectPath& path) {
  const std::size_t colon = text.find(L"://");
  if (colon == text.npos) return E_ADS_BAD_PATHNAME;
  path.provider = text.substr(0, colon);
  const std::size_t start = colon + 3;
  const std::size_t slash = std::min(text.find(L'/', start), text.size());
  path.server = text.substr(start, slash - start);
  if (path.server.empty() || path.server.find_first_of(L"=,") != text.npos) {
    return E_ADS_BAD_PATHNAME;  // the provider's choice of a server is not offered here
  }
  const std::size_t separator = path.server.find(L':');
  path.host = path.server.substr(0, separator);
  path.port = path.provider == L"GC" ? 3268 : LDAP_PORT;
  if (separator != text.npos) {
    path.port = static_cast<unsigned>(_wtoi(path.server.c_str() + separator + 1));
    if (path.port == 0 || path.port > 65535) return E_ADS_BAD_PATHNAME;
  }
  const std::wstring name = slash < text.size() ? text.substr(slash + 1) : std::wstring();
  path.name = Equals(name, L"RootDSE") ? std::wstring() : Unescaped(name);
  return S_OK;
}

HRESULT DirectoryEntry::Open(const std::wstring& text, const Login& login, IDispatch** object) {
  ObjectPath path;
  HRESULT result = ObjectPath::Parse(text, path);
  if (FAILED(result)) return result;
  ComPtr<DirectoryEntry> entry(new DirectoryEntry(text, std::move(path), login));
  result = entry->Connect();
  if (FAILED(result)) return result;
  return entry->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(object));
}

HRESULT DirectoryEntry::Connect() {
  const SessionKey key{path_.host, path_.port, login_.user, login_.password};
  HRESULT result = session_.Take(key);
  if (FAILED(result)) return result;
  result = CheckPresence();
  if (result == ResultFromLdap(LDAP_SERVER_DOWN) && session_.isReused()) {
    // The server went away since the session was used; it may be back.
    session_.Discard();
    result = session_.Take(key);
    if (SUCCEEDED(result)) result = CheckPresence();
  }
  return result;
}

HRESULT DirectoryEntry::CheckPresence() {
  RawEntry entry;
  const bool fast = (login_.flags & ADS_FAST_BIND) != 0;
  return session_->Read(fast ? std::wstring() : path_.name, {L"objectClass"}, entry);
}

// The attributes of RootDSE are not in the schema; all of them are texts.
ADSTYPE DirectoryEntry::TypeOf(const RawAttribute& attribute) {
  return path_.name.empty() ? ADSTYPE_CASE_IGNORE_STRING
                            : AttributeType(*session_.get(), attribute.name);
}

// ---- IADs

HRESULT DirectoryEntry::GetInfo() {
  RawEntry entry;
  const HRESULT result = session_->Read(path_.name, {}, entry);
  if (SUCCEEDED(result)) cache_ = std::move(entry);
  return result;
}

HRESULT DirectoryEntry::Get(BSTR name, VARIANT* value) {
  if (name == nullptr || value == nullptr) return E_ADS_BAD_PARAMETER;
  if (!cache_) {
    const HRESULT result = GetInfo();
    if (FAILED(result)) return result;
  }
  const RawAttribute* attribute = cache_->Find(name);
  if (attribute == nullptr || attribute->values.empty()) return E_ADS_PROPERTY_NOT_FOUND;
  return MakeVariant(TypeOf(*attribute), attribute->values, value);
}

HRESULT DirectoryEntry::get_ADsPath(BSTR* path) {
  *path = SysAllocString(text_.c_str());
  return *path != nullptr ? S_OK : E_OUTOFMEMORY;
}

// ---- IDirectoryObject

HRESULT DirectoryEntry::GetObjectAttributes(LPWSTR* names, DWORD count, PADS_ATTR_INFO* attributes,
                                            DWORD* found) {
  *attributes = nullptr;
  *found = 0;
  RawEntry entry;
  const HRESULT result =
      session_->Read(path_.name, std::vector<std::wstring>(names, names + count), entry);
  if (FAILED(result)) return result;
  std::vector<TypedAttribute> typed;
  for (const RawAttribute& attribute : entry.attributes) {
    typed.push_back({attribute.name, TypeOf(attribute), attribute.values});
  }
  if (typed.empty()) return S_OK;
  *attributes = MakeAttributeBlock(typed);
  if (*attributes == nullptr) return E_OUTOFMEMORY;
  *found = static_cast<DWORD>(typed.size());
  return S_OK;
}

// ---- IDirectorySearch

HRESULT DirectoryEntry::SetSearchPreference(PADS_SEARCHPREF_INFO preferences, DWORD count) {
  preferences_.assign(preferences, preferences + count);
  for (DWORD i = 0; i < count; ++i) preferences[i].dwStatus = ADS_STATUS_S_OK;
  return S_OK;
}

HRESULT DirectoryEntry::OpenPlatformSearch() {
  if (platformSearch_) return S_OK;
  ComPtr<IADsOpenDSObject> opener;
  HRESULT result = CoCreateInstance(kPlatformNamespace, nullptr, CLSCTX_INPROC_SERVER,
                                    IID_IADsOpenDSObject, opener.OutVoid());
  if (FAILED(result)) return result;
  // It knows the global catalog only by its port, and takes the name as the server does.
  const std::wstring server =
      path_.provider == L"GC" ? path_.host + L":" + std::to_wstring(path_.port) : path_.server;
  const platform::windows::Bstr path(
      SysAllocString((L"LDAP://" + server + L"/" + path_.name).c_str()));
  // A domain before the name is not understood here, see LdapSession.
  const std::wstring user = login_.user ? login_.user->substr(login_.user->find(L'\\') + 1) : L"";
  const platform::windows::Bstr userName(login_.user ? SysAllocString(user.c_str()) : nullptr);
  const platform::windows::Bstr password(login_.password ? SysAllocString(login_.password->c_str())
                                                         : nullptr);
  ComPtr<IDispatch> object;
  result = opener->OpenDSObject(path.get(), userName.get(), password.get(),
                                static_cast<LONG>(login_.flags), object.Out());
  if (FAILED(result)) return Documented(result);
  return object->QueryInterface(IID_IDirectorySearch, platformSearch_.OutVoid());
}

HRESULT DirectoryEntry::ExecuteSearch(LPWSTR filter, LPWSTR* attributes, DWORD count,
                                      PADS_SEARCH_HANDLE handle) {
  std::string strict;
  const auto* text = reinterpret_cast<const char16_t*>(filter);
  if (platform::Failed(platform::posix::NormalizeFilter(text, strict))) {
    return E_ADS_INVALID_FILTER;
  }
  HRESULT result = OpenPlatformSearch();
  if (FAILED(result)) return result;
  std::vector<ADS_SEARCHPREF_INFO> preferences = preferences_;
  platformSearch_->SetSearchPreference(preferences.data(), static_cast<DWORD>(preferences.size()));
  result = platformSearch_->ExecuteSearch(FromUtf8(strict).data(), attributes, count, handle);
  if (SUCCEEDED(result)) searches_.try_emplace(*handle);
  return Documented(result);
}

HRESULT DirectoryEntry::GetNextRow(ADS_SEARCH_HANDLE handle) {
  if (!searches_.contains(handle)) return E_ADS_BAD_PARAMETER;
  return Documented(platformSearch_->GetNextRow(handle));
}

HRESULT DirectoryEntry::GetColumn(ADS_SEARCH_HANDLE handle, LPWSTR name,
                                  PADS_SEARCH_COLUMN column) {
  if (!searches_.contains(handle)) return E_ADS_BAD_PARAMETER;
  const HRESULT result = platformSearch_->GetColumn(handle, name, column);
  if (SUCCEEDED(result)) columns_.try_emplace(column);
  return result;
}

HRESULT DirectoryEntry::FreeColumn(PADS_SEARCH_COLUMN column) {
  if (columns_.erase(column) == 0) return E_ADS_BAD_PARAMETER;
  return platformSearch_->FreeColumn(column);
}

HRESULT DirectoryEntry::CloseSearchHandle(ADS_SEARCH_HANDLE handle) {
  if (searches_.erase(handle) == 0) return E_ADS_BAD_PARAMETER;
  return platformSearch_->CloseSearchHandle(handle);
}

}  // namespace zorvan::windows_test
