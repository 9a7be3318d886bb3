// The provider's doors: the class that ADsOpenObject creates for a namespace, and its registration
// for "LDAP:" and "GC:". For tests only; the platform that runs them lacks most of these objects.
#include <array>
#include <string>

#include "platform/windows/handles.h"
#include "provider/com_object.h"
#include "provider/directory_entry.h"

namespace zorvan::windows_test {
namespace {

constexpr CLSID kNamespaceClass = {
    0x7d4f1c52, 0x0a6e, 0x4b1d, {0x9c, 0x83, 0x5e, 0x21, 0xb4, 0x77, 0x0f, 0xd6}};
constexpr wchar_t kNamespaceClassText[] = L"{7D4F1C52-0A6E-4B1D-9C83-5E21B4770FD6}";
constexpr wchar_t kProgramId[] = L"ZorvanTestNamespace";
constexpr std::array kProviders{L"LDAP", L"GC"};

class Namespace : public DispatchObject<IADsOpenDSObject> {
 public:
  STDMETHODIMP OpenDSObject(BSTR path, BSTR user, BSTR password, LONG flags,
                            IDispatch** object) override {
    if (path == nullptr || object == nullptr) return E_ADS_BAD_PARAMETER;
    *object = nullptr;
    DirectoryEntry::Login login;
    if (user != nullptr) login.user = user;
    if (password != nullptr) login.password = password;
    login.flags = static_cast<DWORD>(flags);
    return DirectoryEntry::Open(path, login, object);
  }
};

class Factory : public ComObject<IClassFactory> {
 public:
  STDMETHODIMP CreateInstance(IUnknown* outer, REFIID id, void** object) override {
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    const platform::windows::ComPtr<Namespace> made(new Namespace);
    return made->QueryInterface(id, object);
  }
  STDMETHODIMP LockServer(BOOL lock) override {
    liveCount += lock ? 1 : -1;
    return S_OK;
  }
};

HINSTANCE ownModule = nullptr;

HRESULT SetText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
  return HRESULT_FROM_WIN32(
      RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.c_str(),
                      static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))));
}

}  // namespace
}  // namespace zorvan::windows_test

using namespace zorvan::windows_test;

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, void*) {
  if (reason == DLL_PROCESS_ATTACH) ownModule = instance;
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID id, REFIID interfaceId, void** object) {
  if (!IsEqualCLSID(id, kNamespaceClass)) return CLASS_E_CLASSNOTAVAILABLE;
  const zorvan::platform::windows::ComPtr<Factory> factory(new Factory);
  return factory->QueryInterface(interfaceId, object);
}

STDAPI DllCanUnloadNow() { return liveCount == 0 ? S_OK : S_FALSE; }

// How much is in use, for the tests.
extern "C" long WINAPI LiveCount() { return liveCount; }

STDAPI DllRegisterServer() {
  wchar_t file[MAX_PATH] = {};
  if (GetModuleFileNameW(ownModule, file, MAX_PATH) == 0) return E_FAIL;
  const std::wstring classes = L"Software\\Classes\\";
  const std::wstring own = classes + L"CLSID\\" + kNamespaceClassText;
  HRESULT result = SetText(own + L"\\InprocServer32", nullptr, file);
  if (SUCCEEDED(result)) result = SetText(own + L"\\InprocServer32", L"ThreadingModel", L"Both");
  if (SUCCEEDED(result)) result = SetText(own + L"\\ProgID", nullptr, kProgramId);
  if (SUCCEEDED(result)) {
    result = SetText(classes + kProgramId + L"\\CLSID", nullptr, kNamespaceClassText);
  }
  for (const wchar_t* provider : kProviders) {
    if (FAILED(result)) break;
    result = SetText(std::wstring(L"Software\\Microsoft\\ADs\\Providers\\") + provider, nullptr,
                     kProgramId);
  }
  return result;
}
