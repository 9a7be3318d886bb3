#include "directory/bind.h"

#include "call/notice.h"

namespace zorvan::directory {
namespace {

using call::LogMessageW;
using call::NativeHandler;
using platform::Failed;
using platform::HResult;

// A slash ends a path's element, so one inside a name is written as "\/"; one that came so already
// is left alone.
void AppendToPath(std::u16string& path, std::u16string_view distinguishedName) {
  bool escaped = false;
  for (char16_t unit : distinguishedName) {
    if (unit == u'/' && !escaped) path.push_back(u'\\');
    escaped = unit == u'\\' && !escaped;
    path.push_back(unit);
  }
}

bool IsTooLong(std::u16string_view path) { return path.size() >= call::kPathCapacity; }

// Opens through whichever of the directory's open operations fits the interface.
template <typename Interface>
HResult Bind(NativeHandler& handler, std::u16string_view path, std::uint32_t flags,
             std::unique_ptr<Interface>& object,
             HResult (platform::Directory::*open)(std::u16string_view, const platform::Credentials&,
                                                  std::uint32_t, std::unique_ptr<Interface>&)) {
  LogMessageW(handler, call::kDetail, "[ldapDCPath %ws\t networkUserName %ws\t]", path,
              NetworkUserName(handler.settings));
  if (IsTooLong(path)) {
    LogMessageW(handler, call::kMilestone, "The path has %u characters, more than the %u allowed",
                path.size(), call::kPathCapacity - 1);
    return platform::kBadPathname;
  }
  platform::Directory& directory = handler.platform.directory();
  const HResult result = (directory.*open)(path, handler.settings.credentials(), flags, object);
  if (Failed(result)) LogWhatWasSaid(handler, directory.LastError());
  return result;
}

}  // namespace

std::u16string_view NetworkUserName(const call::DomainSettings& settings) {
  return settings.logonName ? std::u16string_view(*settings.logonName) : u"(null)";
}

std::u16string ObjectPath(const call::DomainSettings& settings,
                          std::u16string_view distinguishedName) {
  std::u16string path = settings.ldapRootPath;
  AppendToPath(path, distinguishedName);
  return path;
}

std::u16string ControllerPath(std::u16string_view controller,
                              std::u16string_view distinguishedName) {
  std::u16string path = u"LDAP://";
  path.append(controller).append(u"/");
  AppendToPath(path, distinguishedName);
  return path;
}

std::u16string DeletedObjectsPath(const call::DomainSettings& settings) {
  std::u16string path = settings.ldapRootPath;
  path.append(u"<WKGUID=").append(kDeletedObjectsGuid).append(u",");
  path.append(settings.defaultNamingContext).append(u">");
  return path;
}

HResult BindObject(NativeHandler& handler, std::u16string_view path,
                   std::unique_ptr<platform::DirectorySearch>& search, std::uint32_t flags) {
  return Bind(handler, path, flags, search, &platform::Directory::OpenSearch);
}

HResult BindObject(NativeHandler& handler, std::u16string_view path,
                   std::unique_ptr<platform::DirectoryObject>& object, std::uint32_t flags) {
  return Bind(handler, path, flags, object, &platform::Directory::OpenObject);
}

HResult BindObject(NativeHandler& handler, std::u16string_view path,
                   std::unique_ptr<platform::PropertyObject>& object, std::uint32_t flags) {
  return Bind(handler, path, flags, object, &platform::Directory::OpenPropertyObject);
}

void LogWhatWasSaid(NativeHandler& handler, const platform::ExtendedError& error) {
  if (error.text.empty()) return;
  LogMessageW(handler, call::kMilestone, "The directory said: %ws (%x)", error.text, error.code);
}

platform::ExtendedError OpenError(NativeHandler& handler, std::u16string_view path) {
  return IsTooLong(path) ? platform::ExtendedError{} : handler.platform.directory().LastError();
}

void NotifyFailure(NativeHandler& handler, platform::NoticeKind kind, std::u16string_view subject,
                   HResult result, const platform::ExtendedError& error) {
  std::u16string detail;
  if (!error.text.empty()) call::FormatLogText(detail, "%ws (%x)", {{error.text, error.code}});
  call::Notify(
      handler,
      {.kind = kind, .subject = subject, .detail = detail, .count = platform::Bits(result)});
}

std::string_view ReportBindFailureKey(HResult result) {
  return result == platform::kNoReadPermission ? "halden.reports.native.failure.no_view_permission"
                                               : "halden.reports.native.failure.authentication";
}

std::string_view ContainerBindFailureKey(HResult result) {
  return result == platform::kNoSuchObject ? "halden.reports.native.failure.object_not_found"
                                           : ReportBindFailureKey(result);
}

}  // namespace zorvan::directory
