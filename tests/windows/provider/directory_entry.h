// An object of the directory, as ADsOpenObject gives it.
//
// It answers what the platform documents. Filters are read as leniently as the platform reads them
// elsewhere, and written as strictly as this one's client library wants them.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/windows/handles.h"
#include "provider/com_object.h"
#include "provider/ldap_session.h"

namespace zorvan::windows_test {

// "LDAP://server[:port]/name" and its relatives, taken apart.
struct ObjectPath {
  std::wstring provider;  // "LDAP" or "GC"
  std::wstring server;    // with its port, as it was written
  std::wstring host;
  unsigned port = 0;
  std::wstring name;  // as the server takes it; empty for RootDSE

  static HRESULT Parse(const std::wstring& text, ObjectPath& path);
};

class DirectoryEntry : public DispatchObject<IADs, IDirectoryObject, IDirectorySearch> {
 public:
  struct Login {
    std::optional<std::wstring> user;
    std::optional<std::wstring> password;
    DWORD flags = 0;
  };

  // Binds, and unless the flags ask for a fast bind makes sure that the object is there.
  static HRESULT Open(const std::wstring& path, const Login& login, IDispatch** object);

  // IADs
  STDMETHODIMP Get(BSTR name, VARIANT* value) override;
  STDMETHODIMP GetInfo() override;
  STDMETHODIMP get_ADsPath(BSTR* path) override;
  STDMETHODIMP get_Name(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Class(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_GUID(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Parent(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP get_Schema(BSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP SetInfo() override { return E_NOTIMPL; }
  STDMETHODIMP Put(BSTR, VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP GetEx(BSTR, VARIANT*) override { return E_NOTIMPL; }
  STDMETHODIMP PutEx(LONG, BSTR, VARIANT) override { return E_NOTIMPL; }
  STDMETHODIMP GetInfoEx(VARIANT, LONG) override { return E_NOTIMPL; }

  // IDirectoryObject
  STDMETHODIMP GetObjectInformation(PADS_OBJECT_INFO*) override { return E_NOTIMPL; }
  STDMETHODIMP GetObjectAttributes(LPWSTR* names, DWORD count, PADS_ATTR_INFO* attributes,
                                   DWORD* found) override;
  STDMETHODIMP SetObjectAttributes(PADS_ATTR_INFO, DWORD, DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP CreateDSObject(LPWSTR, PADS_ATTR_INFO, DWORD, IDispatch**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP DeleteDSObject(LPWSTR) override { return E_NOTIMPL; }

  // IDirectorySearch
  STDMETHODIMP SetSearchPreference(PADS_SEARCHPREF_INFO preferences, DWORD count) override;
  STDMETHODIMP ExecuteSearch(LPWSTR filter, LPWSTR* attributes, DWORD count,
                             PADS_SEARCH_HANDLE handle) override;
  STDMETHODIMP AbandonSearch(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetFirstRow(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextRow(ADS_SEARCH_HANDLE handle) override;
  STDMETHODIMP GetPreviousRow(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextColumnName(ADS_SEARCH_HANDLE, LPWSTR*) override { return E_NOTIMPL; }
  STDMETHODIMP GetColumn(ADS_SEARCH_HANDLE handle, LPWSTR name, PADS_SEARCH_COLUMN column) override;
  STDMETHODIMP FreeColumn(PADS_SEARCH_COLUMN column) override;
  STDMETHODIMP CloseSearchHandle(ADS_SEARCH_HANDLE handle) override;

 private:
  struct OpenSearch {
    LdapSearch search;
    RawEntry row;
  };

  DirectoryEntry(std::wstring text, ObjectPath path, Login login)
      : text_(std::move(text)), path_(std::move(path)), login_(std::move(login)) {}

  HRESULT Connect();
  HRESULT CheckPresence();
  ADSTYPE TypeOf(const RawAttribute& attribute);

  const std::wstring text_;
  const ObjectPath path_;
  const Login login_;
  SessionLease session_;
  std::optional<RawEntry> cache_;  // the property cache
  std::vector<ADS_SEARCHPREF_INFO> preferences_;
  std::map<ADS_SEARCH_HANDLE, std::unique_ptr<OpenSearch>> searches_;
  std::set<PADS_SEARCH_COLUMN> columns_;  // those that were not given back yet
};

}  // namespace zorvan::windows_test
