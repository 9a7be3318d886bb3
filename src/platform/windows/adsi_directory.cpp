#include "platform/windows/adsi_directory.h"

#include <deque>
#include <utility>
#include <vector>

#include "platform/windows/ads_error.h"
#include "platform/windows/ads_values.h"
#include "platform/windows/adsi_search.h"
#include "platform/windows/handles.h"
#include "platform/windows/native_text.h"

namespace zorvan::platform::windows {
namespace {

class AdsiObject : public DirectoryObject {
 public:
  explicit AdsiObject(ComPtr<IDirectoryObject> object) : object_(std::move(object)) {}

  HResult GetObjectAttributes(std::span<const std::u16string_view> names,
                              AttributeSet& attributes) override {
    attributes = {};
    error_ = {};
    ADsSetLastError(ERROR_SUCCESS, L"", L"");
    std::deque<NativeText> texts;
    std::vector<wchar_t*> pointers;
    for (std::u16string_view name : names) {
      if (IsTellable(name)) pointers.push_back(texts.emplace_back(name).get());
    }
    AdsMemory<ADS_ATTR_INFO> infos;
    DWORD count = 0;
    const HRESULT result = object_->GetObjectAttributes(
        pointers.data(), static_cast<DWORD>(pointers.size()), infos.Out(), &count);
    // What the object does not have is missing, be it one of the attributes or all.
    if (FAILED(result) && result != E_ADS_PROPERTY_NOT_FOUND) {
      error_ = TakeExtendedError();
      return result;
    }
    if (!infos) return S_OK;
    std::vector<Value> values;
    for (const ADS_ATTR_INFO& info : std::span(infos.get(), count)) {
      attributes.Add(TextView(info.pszAttrName),
                     ReadAdsValues(info.dwADsType, info.pADsValues, info.dwNumValues, values));
    }
    return S_OK;
  }

  // What was said of the latest read, if it failed.
  const ExtendedError& error() const { return error_; }

 private:
  ComPtr<IDirectoryObject> object_;
  ExtendedError error_;
};

class AdsiPropertyObject : public PropertyObject {
 public:
  AdsiPropertyObject(ComPtr<IADs> object, const CallLimits& limits)
      : object_(std::move(object)), limits_(limits) {}

  HResult Get(std::u16string_view attribute, AttributeSet& value) override {
    value = {};
    if (!IsTellable(attribute)) return kPropertyNotFound;
    NativeText text(attribute);
    const Bstr name(SysAllocString(text.get()));
    if (!name) return kOutOfMemory;
    Variant variant;
    const HRESULT result = object_->Get(name.get(), variant.Out());
    if (SUCCEEDED(result)) AddVariant(attribute, variant.get(), value);
    return result;
  }

  HResult QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) override {
    ComPtr<IDirectorySearch> found;
    const HRESULT result = object_->QueryInterface(IID_IDirectorySearch, found.OutVoid());
    if (SUCCEEDED(result)) search = std::make_unique<AdsiSearch>(std::move(found), limits_);
    return result;
  }

 private:
  ComPtr<IADs> object_;
  CallLimits limits_;
};

}  // namespace

template <typename Interface>
HResult AdsiDirectory::Open(std::u16string_view path, const Credentials& credentials,
                            std::uint32_t flags, REFIID id, ComPtr<Interface>& object) {
  const HResult call = limits_.Check();
  if (Failed(call)) return call;
  // Or an older failure of the thread would be told as the reason of this one.
  ADsSetLastError(ERROR_SUCCESS, L"", L"");
  openError_ = {};
  const bool tellable = IsTellable(path) && IsTellable(credentials.userName.value_or(u"")) &&
                        IsTellable(credentials.password.value_or(u""));
  if (!tellable) return IsTellable(path) ? kLogonFailure : kBadPathname;
  NativeText nativePath(path);
  OptionalNativeText userName(credentials.userName);
  OptionalNativeText password(credentials.password);
  const HRESULT result =
      ADsOpenObject(nativePath.get(), userName.get(), password.get(), flags, id, object.OutVoid());
  if (FAILED(result)) {
    openError_ = TakeExtendedError();
  } else {
    object->AddRef();
    latest_.Reset(object.get());
  }
  return result;
}

HResult AdsiDirectory::OpenSearch(std::u16string_view path, const Credentials& credentials,
                                  std::uint32_t flags, std::unique_ptr<DirectorySearch>& search) {
  ComPtr<IDirectorySearch> opened;
  const HResult result = Open(path, credentials, flags, IID_IDirectorySearch, opened);
  if (Succeeded(result)) search = std::make_unique<AdsiSearch>(std::move(opened), limits_);
  return result;
}

HResult AdsiDirectory::OpenObject(std::u16string_view path, const Credentials& credentials,
                                  std::uint32_t flags, std::unique_ptr<DirectoryObject>& object) {
  ComPtr<IDirectoryObject> opened;
  const HResult result = Open(path, credentials, flags, IID_IDirectoryObject, opened);
  if (Succeeded(result)) object = std::make_unique<AdsiObject>(std::move(opened));
  return result;
}

HResult AdsiDirectory::OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                                          std::uint32_t flags,
                                          std::unique_ptr<PropertyObject>& object) {
  ComPtr<IADs> opened;
  const HResult result = Open(path, credentials, flags, IID_IADs, opened);
  if (Succeeded(result)) object = std::make_unique<AdsiPropertyObject>(std::move(opened), limits_);
  return result;
}

// The interface reads one object at a time. That each is there shows when it is read, so it need
// not be asked for when it is opened.
void AdsiDirectory::ReadObjects(
    std::span<const std::u16string> paths, const Credentials& credentials, std::uint32_t flags,
    std::span<const std::u16string_view> attributes,
    const std::function<void(std::size_t, HResult, AttributeSet&, const ExtendedError&)>& visit) {
  for (std::size_t i = 0; i < paths.size(); ++i) {
    AttributeSet set;
    ComPtr<IDirectoryObject> opened;
    HResult result = Open(paths[i], credentials, flags | kFastBind, IID_IDirectoryObject, opened);
    if (Failed(result)) {
      visit(i, result, set, openError_);
      continue;
    }
    AdsiObject object(std::move(opened));
    result = object.GetObjectAttributes(attributes, set);
    visit(i, result, set, object.error());
  }
}

}  // namespace zorvan::platform::windows
