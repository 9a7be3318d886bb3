// Opening directory objects with the call's credentials, and what a failed bind means to whom.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "call/error_list.h"
#include "call/native_handler.h"
#include "platform/call_terms.h"
#include "platform/directory.h"

namespace zorvan::directory {

inline constexpr std::u16string_view kDeletedObjectsGuid = u"18e2ea80684f11d2b9aa00c04f79f805";

// The user in log lines; the process's own identity has no name here.
std::u16string_view NetworkUserName(const call::DomainSettings& settings);

// ldapRootPath + distinguished name.
std::u16string ObjectPath(const call::DomainSettings& settings,
                          std::u16string_view distinguishedName);
// "LDAP://" + controller + "/" + distinguished name.
std::u16string ControllerPath(std::u16string_view controller,
                              std::u16string_view distinguishedName);
// The container of deleted objects, bound with kDeletedObjectsFlags.
std::u16string DeletedObjectsPath(const call::DomainSettings& settings);
inline constexpr std::uint32_t kDeletedObjectsFlags =
    platform::kSecureAuthentication | platform::kFastBind;

// Log the path and the user, then open. A path of kPathCapacity characters or more is kBadPathname
// without asking the platform.
platform::HResult BindObject(call::NativeHandler& handler, std::u16string_view path,
                             std::unique_ptr<platform::DirectorySearch>& search,
                             std::uint32_t flags = platform::kSecureAuthentication);
platform::HResult BindObject(call::NativeHandler& handler, std::u16string_view path,
                             std::unique_ptr<platform::DirectoryObject>& object,
                             std::uint32_t flags = platform::kSecureAuthentication);
platform::HResult BindObject(call::NativeHandler& handler, std::u16string_view path,
                             std::unique_ptr<platform::PropertyObject>& object,
                             std::uint32_t flags = platform::kSecureAuthentication);

// The line for what was said of a failure; none when nothing was.
void LogWhatWasSaid(call::NativeHandler& handler, const platform::ExtendedError& error);

// What was said of the open of this path that failed just now; empty when it was never sent.
platform::ExtendedError OpenError(call::NativeHandler& handler, std::u16string_view path);
// The notice of the failure that ends the call; its kind says what the subject is.
void NotifyFailure(call::NativeHandler& handler, platform::NoticeKind kind,
                   std::u16string_view subject, platform::HResult result,
                   const platform::ExtendedError& error);

// The error key of a report whose bind failed: missing read permission, or everything else.
std::string_view ReportBindFailureKey(platform::HResult result);
// The same where a missing object has a key of its own (group members, group reports).
std::string_view ContainerBindFailureKey(platform::HResult result);

}  // namespace zorvan::directory
