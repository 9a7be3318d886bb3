#include "objects/search_operations.h"

#include <memory>

#include "directory/bind.h"
#include "directory/paged_search.h"

namespace zorvan::objects {
namespace {

using platform::Bits;
using platform::Failed;
using platform::HResult;

// A search root is opened as an object first, which tells a container that is not there from one
// that is empty.
HResult OpenSearchRoot(call::NativeHandler& handler, std::u16string_view path,
                       std::unique_ptr<platform::DirectorySearch>& search) {
  std::unique_ptr<platform::PropertyObject> object;
  const HResult result = directory::BindObject(handler, path, object);
  return Failed(result) ? result : object->QueryDirectorySearch(search);
}

}  // namespace

void GetObjects(call::NativeHandler& handler, const std::optional<std::u16string>& container,
                const std::optional<std::u16string>& filter,
                std::span<const std::u16string> attributes, call::RowListener& listener) {
  const std::u16string path =
      directory::ObjectPath(handler.settings, container.value_or(std::u16string()));
  std::unique_ptr<platform::DirectorySearch> search;
  const HResult result = OpenSearchRoot(handler, path, search);
  if (call::EndedByCaller(handler, result)) return;
  if (Failed(result)) {
    call::LogMessageW(
        handler, call::kMilestone,
        "Error Occured while Binding to the LDAP Object %ws and the error code is : %x", path,
        Bits(result));
    directory::NotifyFailure(handler, platform::NoticeKind::kOpenFailed, path, result,
                             directory::OpenError(handler, path));
    return;
  }
  const std::u16string text = filter.value_or(std::u16string());
  call::LogMessageW(handler, call::kDetail, "Search String is : %ws", text);
  directory::StreamRows(handler, *search, {text, attributes}, directory::FirstAnswer::kDiscarded,
                        listener);
}

}  // namespace zorvan::objects
