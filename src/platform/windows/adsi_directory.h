// Directory access through ADSI: ADsOpenObject and the interfaces that it gives.
#pragma once

#include "platform/directory.h"
#include "platform/windows/call_limits.h"
#include "platform/windows/handles.h"

namespace zorvan::platform::windows {

class AdsiDirectory : public Directory {
 public:
  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<DirectorySearch>& search) override;
  HResult OpenObject(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<DirectoryObject>& object) override;
  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<PropertyObject>& object) override;
  void ReadObjects(std::span<const std::u16string> paths, const Credentials& credentials,
                   std::uint32_t flags, std::span<const std::u16string_view> attributes,
                   const std::function<void(std::size_t, HResult, AttributeSet&,
                                            const ExtendedError&)>& visit) override;
  ExtendedError LastError() override { return openError_; }

  // For everything that is opened from now on.
  void SetLimits(const CallLimits& limits) { limits_ = limits; }

  // Lets go of what keeps the connection; COM must still be initialized for the thread.
  void Disconnect() { latest_.Reset(); }

 private:
  template <typename Interface>
  HResult Open(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
               REFIID id, ComPtr<Interface>& object);

  // A connection is closed with the last object that uses it. The latest one keeps it for the next,
  // or each object of a call would log on anew.
  ComPtr<IUnknown> latest_;
  CallLimits limits_;
  ExtendedError openError_;
};

}  // namespace zorvan::platform::windows
