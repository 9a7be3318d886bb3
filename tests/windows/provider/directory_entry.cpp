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

std::string Narrow(const std::wstring& text) {
  return platform::posix::ToUtf8({reinterpret_cast<const char16_t*>(text.data()), text.size()});
}

// As the name stands in a path.
std::wstring Escaped(const std::wstring& name) {
  std::wstring result;
  for (wchar_t unit : name) {
    if (unit == L'/') result.push_back(L'\\');
    result.push_back(unit);
  }
  return result;
}

ULONG LdapScope(DWORD scope) {
  switch (scope) {
    case ADS_SCOPE_BASE:
      return LDAP_SCOPE_BASE;
    case ADS_SCOPE_ONELEVEL:
      return LDAP_SCOPE_ONELEVEL;
    default:
      return LDAP_SCOPE_SUBTREE;
  }
}

DWORD PreferenceOf(const std::vector<ADS_SEARCHPREF_INFO>& preferences, ADS_SEARCHPREF id,
                   DWORD otherwise) {
  for (const ADS_SEARCHPREF_INFO& preference : preferences) {
    if (preference.dwSearchPref == id) return preference.vValue.Integer;
  }
  return otherwise;
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
  if (Equals(name, L"RootDSE")) return S_OK;
  const bool isName = name.find(L'=') != name.npos;  // "<GUID=...>" and its kind have one too
  if (slash < text.size() && !isName) return E_ADS_BAD_PATHNAME;
  path.name = Unescaped(name);
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
  if (typed.empty()) return E_ADS_PROPERTY_NOT_FOUND;
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

HRESULT DirectoryEntry::ExecuteSearch(LPWSTR filter, LPWSTR* attributes, DWORD count,
                                      PADS_SEARCH_HANDLE handle) {
  std::string strict;
  const auto* text = reinterpret_cast<const char16_t*>(filter);
  if (platform::Failed(platform::posix::NormalizeFilter(text, strict))) {
    return E_ADS_INVALID_FILTER;
  }
  LdapRequest request;
  request.base = path_.name;
  request.scope =
      LdapScope(PreferenceOf(preferences_, ADS_SEARCHPREF_SEARCH_SCOPE, ADS_SCOPE_SUBTREE));
  request.filter = FromUtf8(strict);
  request.attributes.assign(attributes, attributes + count);
  request.pageSize = PreferenceOf(preferences_, ADS_SEARCHPREF_PAGESIZE, 0);
  request.tombstones = PreferenceOf(preferences_, ADS_SEARCHPREF_TOMBSTONE, FALSE) != FALSE;
  std::unique_ptr<OpenSearch> search(new OpenSearch{{*session_.get(), std::move(request)}, {}});
  *handle = search.get();
  searches_[*handle] = std::move(search);
  ++liveCount;
  return S_OK;
}

HRESULT DirectoryEntry::GetNextRow(ADS_SEARCH_HANDLE handle) {
  const auto found = searches_.find(handle);
  if (found == searches_.end()) return E_ADS_BAD_PARAMETER;
  OpenSearch& search = *found->second;
  search.row = {};
  return search.search.Next(search.row);
}

HRESULT DirectoryEntry::GetColumn(ADS_SEARCH_HANDLE handle, LPWSTR name,
                                  PADS_SEARCH_COLUMN column) {
  const auto found = searches_.find(handle);
  if (found == searches_.end()) return E_ADS_BAD_PARAMETER;
  const RawEntry& row = found->second->row;
  ADS_ATTR_INFO* info = nullptr;
  if (Equals(name, L"ADsPath")) {
    const std::vector<std::string> values{
        Narrow(path_.provider + L"://" + path_.server + L"/" + Escaped(row.distinguishedName))};
    info = MakeAttributeBlock({{name, ADSTYPE_CASE_IGNORE_STRING, values}});
  } else {
    const RawAttribute* attribute = row.Find(name);
    if (attribute == nullptr || attribute->values.empty()) return E_ADS_COLUMN_NOT_SET;
    info = MakeAttributeBlock({{name, TypeOf(*attribute), attribute->values}});
  }
  if (info == nullptr) return E_OUTOFMEMORY;
  *column = {info->pszAttrName, info->dwADsType, info->pADsValues, info->dwNumValues, info};
  columns_.insert(column);
  ++liveCount;
  return S_OK;
}

HRESULT DirectoryEntry::FreeColumn(PADS_SEARCH_COLUMN column) {
  if (columns_.erase(column) == 0) return E_ADS_BAD_PARAMETER;
  --liveCount;
  FreeADsMem(column->hReserved);
  return S_OK;
}

HRESULT DirectoryEntry::CloseSearchHandle(ADS_SEARCH_HANDLE handle) {
  if (searches_.erase(handle) == 0) return E_ADS_BAD_PARAMETER;
  --liveCount;
  return S_OK;
}

}  // namespace zorvan::windows_test
