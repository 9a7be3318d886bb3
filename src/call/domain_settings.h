// The connection context of one call, read from the domain settings that Java passes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/call_terms.h"
#include "platform/directory.h"

namespace zorvan::call {

// Capacities in characters, a terminator included: what the field was declared to hold on the Java
// side. A longer value fails the initialisation instead of being cut.
inline constexpr std::size_t kNameCapacity = 100;
inline constexpr std::size_t kLogonNameCapacity = 256;
inline constexpr std::size_t kControllerCapacity = 255;
inline constexpr std::size_t kPathCapacity = 260;

// Whom the routines that translate SIDs to names ask; any other value counts as kDisabled.
inline constexpr std::int32_t kLookupLocally = 0;
inline constexpr std::int32_t kLookupOnServer = 1;
inline constexpr std::int32_t kLookupDisabled = 2;

// Texts that are absent from the settings are empty; those that only exist with explicit
// authentication, and gcName, are optional. The password is wiped when the settings go.
struct DomainSettings {
  DomainSettings() = default;
  DomainSettings(const DomainSettings&) = delete;
  DomainSettings& operator=(const DomainSettings&) = delete;
  ~DomainSettings();

  std::u16string domainName;
  std::u16string userDomainName;
  std::u16string serverName;  // the controller that answered
  std::optional<std::u16string> gcName;
  std::optional<std::u16string> userName;
  std::optional<std::u16string> userDistinguishedName;
  std::optional<std::u16string> password;
  std::optional<std::u16string> logonName;  // the user name of every bind
  std::u16string defaultNamingContext;
  std::u16string rootDomainNamingContext;
  std::u16string schemaNamingContext;
  std::u16string configurationNamingContext;
  std::u16string ldapRootPath;  // "LDAP://" + serverName + "/"
  std::u16string isAuthenticationRequired;
  std::u16string domainFunctionalLevel;
  std::int32_t accountLookupStatus = kLookupOnServer;
  platform::CallTerms terms;  // from the optional keys

  // What every bind of the call passes; borrows from this object.
  platform::Credentials credentials() const;
};

// Overwrites all that the text has room for, what a swap or a shorter text left behind included.
void Wipe(std::u16string& text);

}  // namespace zorvan::call
