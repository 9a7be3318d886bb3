// What every COM object here needs: a count of references, QueryInterface over the interfaces it
// has, and an IDispatch that nobody calls by name.
#pragma once

#include <atomic>

#include "platform/windows/windows_headers.h"
#include "provider/live_count.h"

namespace zorvan::windows_test {

// The identifiers as the import library has them: not every compiler's headers carry them.
template <typename Interface>
const IID& IdOf();
// clang-format off
template <> inline const IID& IdOf<IADs>() { return IID_IADs; }
template <> inline const IID& IdOf<IADsLargeInteger>() { return IID_IADsLargeInteger; }
template <> inline const IID& IdOf<IADsOpenDSObject>() { return IID_IADsOpenDSObject; }
template <> inline const IID& IdOf<IClassFactory>() { return IID_IClassFactory; }
template <> inline const IID& IdOf<IDirectoryObject>() { return IID_IDirectoryObject; }
template <> inline const IID& IdOf<IDirectorySearch>() { return IID_IDirectorySearch; }
// clang-format on

// Interfaces are in the order of their bases; the first gives the identity of the object.
template <typename First, typename... Others>
class ComObject : public First, public Others... {
 public:
  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (IsEqualIID(id, IID_IUnknown) || Is<First>(id)) {
      *object = static_cast<First*>(this);
    } else {
      static_cast<void>((... || Take<Others>(id, object)));
      if (*object == nullptr && IsDispatch(id)) *object = static_cast<First*>(this);
    }
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~ComObject() = default;

 private:
  template <typename Interface>
  static bool Is(REFIID id) {
    return IsEqualIID(id, IdOf<Interface>());
  }
  template <typename Interface>
  bool Take(REFIID id, void** object) {
    if (!Is<Interface>(id)) return false;
    *object = static_cast<Interface*>(this);
    return true;
  }
  static bool IsDispatch(REFIID id) {
    return std::is_base_of_v<IDispatch, First> && IsEqualIID(id, IID_IDispatch);
  }

  std::atomic<ULONG> references_{1};
  Counted counted_;
};

// The same over an interface that derives from IDispatch.
template <typename First, typename... Others>
class DispatchObject : public ComObject<First, Others...> {
 public:
  STDMETHODIMP GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                      UINT*) override {
    return E_NOTIMPL;
  }
};

}  // namespace zorvan::windows_test
