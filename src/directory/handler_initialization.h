// From the domain settings that Java passes to a handler that is ready to work: settings checked
// and copied, a controller found that accepts the credentials.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "call/error_list.h"
#include "call/native_handler.h"

namespace zorvan::directory {

// The key of an initialisation that failed for no reason with a key of its own.
inline constexpr std::string_view kSomeAuthenticationProblem =
    "halden.common_authentication.native.failure.some_authentication_problem";

// The domain settings as they came, key by key; absent where Java had none. The password is wiped
// when this goes.
struct DomainProperties {
  DomainProperties() = default;
  DomainProperties(const DomainProperties&) = delete;
  DomainProperties& operator=(const DomainProperties&) = delete;
  ~DomainProperties();

  std::optional<std::u16string> domainName;                      // DOMAIN_NAME
  std::optional<std::u16string> userDomainName;                  // USER_DOMAIN_NAME
  std::optional<std::vector<std::u16string>> domainControllers;  // DOMAIN_CONTROLLER_LIST
  std::optional<std::vector<std::u16string>> globalCatalogs;     // GC_LIST
  std::optional<std::u16string> userName;                        // USER_NAME
  std::optional<std::u16string> userDistinguishedName;           // USER_DISTINGUISHED_NAME
  std::optional<std::u16string> password;                        // PASSWORD
  std::optional<std::u16string> defaultNamingContext;            // DEFAULT_NAMING_CONTEXT
  std::optional<std::u16string> rootDomainNamingContext;         // ROOT_DOMAIN_NAMING_CONTEXT
  std::optional<std::u16string> schemaNamingContext;             // SCHEMA_NAMING_CONTEXT
  std::optional<std::u16string> configurationNamingContext;      // CONFIGURATION_NAMING_CONTEXT
  std::optional<std::u16string> domainFunctionalLevel;           // DOMAIN_FUNCTIONAL_LEVEL
  std::optional<std::u16string> isAuthenticationRequired;        // IS_AUTHENTICATION_REQUIRED
  std::optional<std::int32_t> accountLookupStatus;               // ACCOUNT_LOOKUP_STATUS

  // Optional keys: terms of the call. One that cannot be understood fails the initialisation.
  std::optional<std::u16string> controllersFromDns;  // CONTROLLERS_FROM_DNS: "true" or "false"
  std::optional<std::u16string> allowNtlm;           // ALLOW_NTLM: "true" or "false"
  std::optional<std::u16string> allowRc4;            // ALLOW_RC4: "true" or "false"
  std::optional<std::u16string> trustedAuthorities;  // TRUSTED_AUTHORITIES: a file or folder
  std::optional<std::int32_t> connectTimeLimit;      // CONNECT_TIME_LIMIT: milliseconds
  std::optional<std::int32_t> idleTimeLimit;         // IDLE_TIME_LIMIT: milliseconds
  std::optional<std::int32_t> callTimeLimit;         // CALL_TIME_LIMIT: milliseconds, 0 for none
  std::optional<std::int32_t> maxMessageBytes;       // MAX_MESSAGE_BYTES
  std::uint32_t termsOfWrongClass = 0;  // optional keys whose value is no text or no number
};

// Fills handler.settings and finds a controller. False when the call cannot go on; the reason is
// then in the error list. The debug flag and the first log line ("Initialization Starts") are the
// frame's, because reading the settings comes after them.
bool InitializeHandler(call::NativeHandler& handler, DomainProperties& properties,
                       call::ErrorList& errors);

// Walks the controllers in order until one accepts a bind, refuses the credentials, or all are
// down. On success handler.settings.serverName is the one that answered.
bool FindValidDc(call::NativeHandler& handler, const std::vector<std::u16string>& controllers,
                 call::ErrorList& errors);

}  // namespace zorvan::directory
