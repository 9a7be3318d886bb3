// The directory port over LDAP.
//
// Connections are kept for the life of the Directory (one call) and shared by everything that is
// opened with the same server, port, identity and encryption. A server that refused or did not
// answer is not asked again: its first answer is repeated, so that a password that was refused is
// not counted twice and a dead server is waited for once.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "platform/directory.h"
#include "platform/posix/ads_path.h"
#include "platform/posix/call_conditions.h"
#include "platform/posix/directory_context.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/ldap_search.h"
#include "platform/posix/referral.h"

namespace zorvan::platform::posix {

class PosixDirectory final : public Directory {
 public:
  PosixDirectory();
  ~PosixDirectory() override;

  // For everything that is opened from now on.
  void SetConditions(CallConditions conditions) { context_->conditions = std::move(conditions); }

  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<DirectorySearch>& search) override;
  HResult OpenObject(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<DirectoryObject>& object) override;
  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<PropertyObject>& object) override;
  void ReadObjects(std::span<const std::u16string> paths, const Credentials& credentials,
                   std::uint32_t flags, std::span<const std::u16string_view> attributes,
                   const std::function<void(std::size_t index, HResult result, AttributeSet& set,
                                            const ExtendedError& error)>& visit) override;
  ExtendedError LastError() override;

 private:
  struct Slot;

  // Fills target: connection, name and path prefix. Without fast bind the object must exist.
  HResult Open(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
               LdapTarget& target);
  HResult ProbeTarget(LdapTarget& target);
  HResult Locate(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                 LdapTarget& target);
  HResult Connect(const Endpoint& endpoint, const Credentials& credentials, std::uint32_t flags,
                  const CallConditions& conditions, std::shared_ptr<LdapConnection>& connection,
                  ExtendedError& error);
  HResult ConnectTo(const Referral& referral, const LdapConnection& from, LdapTarget& target,
                    ExtendedError& error);
  bool HasAlternative(const CallConditions& conditions) const;
  std::string HostFor(const AdsPath& path) const;
  HResult FollowReferral(LdapTarget& target, ExtendedError& error);

  std::list<Slot> slots_;
  std::shared_ptr<DirectoryContext> context_;
};

}  // namespace zorvan::platform::posix
