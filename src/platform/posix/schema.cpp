#include "platform/posix/schema.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/posix/ldap_result.h"
#include "platform/posix/search_request.h"
#include "platform/posix/unicode.h"
#include "platform/posix/value_decoding.h"

namespace zorvan::platform::posix {
namespace {

constexpr BuiltInAttribute kBuiltIn[] = {
    {"accountExpires", AdsType::kLargeInteger},
    {"adminCount", AdsType::kInteger},
    {"adminDescription", AdsType::kCaseIgnoreString},
    {"adminDisplayName", AdsType::kCaseIgnoreString},
    {"allowedAttributes", AdsType::kCaseIgnoreString},
    {"allowedAttributesEffective", AdsType::kCaseIgnoreString},
    {"allowedChildClasses", AdsType::kCaseIgnoreString},
    {"allowedChildClassesEffective", AdsType::kCaseIgnoreString},
    {"altRecipient", AdsType::kDnString},
    {"altSecurityIdentities", AdsType::kCaseIgnoreString},
    {"appliesTo", AdsType::kCaseIgnoreString},
    {"assistant", AdsType::kDnString},
    {"attributeDisplayNames", AdsType::kCaseIgnoreString},
    {"attributeID", AdsType::kCaseIgnoreString},
    {"attributeSecurityGUID", AdsType::kOctetString},
    {"attributeSyntax", AdsType::kCaseIgnoreString},
    {"auditingPolicy", AdsType::kOctetString},
    {"authOrig", AdsType::kDnString},
    {"badPasswordTime", AdsType::kLargeInteger},
    {"badPwdCount", AdsType::kInteger},
    {"bridgeheadServerListBL", AdsType::kDnString},
    {"c", AdsType::kCaseIgnoreString},
    {"canonicalName", AdsType::kCaseIgnoreString},
    {"cn", AdsType::kCaseIgnoreString},
    {"co", AdsType::kCaseIgnoreString},
    {"codePage", AdsType::kInteger},
    {"comment", AdsType::kCaseIgnoreString},
    {"company", AdsType::kCaseIgnoreString},
    {"configurationNamingContext", AdsType::kDnString},
    {"cost", AdsType::kInteger},
    {"countryCode", AdsType::kInteger},
    {"createTimeStamp", AdsType::kUtcTime},
    {"creationTime", AdsType::kLargeInteger},
    {"currentTime", AdsType::kUtcTime},
    {"defaultNamingContext", AdsType::kDnString},
    {"delivContLength", AdsType::kInteger},
    {"deliverAndRedirect", AdsType::kBoolean},
    {"department", AdsType::kCaseIgnoreString},
    {"description", AdsType::kCaseIgnoreString},
    {"destinationIndicator", AdsType::kPrintableString},
    {"directReports", AdsType::kDnString},
    {"displayName", AdsType::kCaseIgnoreString},
    {"displayNamePrintable", AdsType::kPrintableString},
    {"distinguishedName", AdsType::kDnString},
    {"division", AdsType::kCaseIgnoreString},
    {"dLMemRejectPerms", AdsType::kDnString},
    {"dLMemSubmitPerms", AdsType::kDnString},
    {"dMDLocation", AdsType::kDnString},
    {"dNSHostName", AdsType::kCaseIgnoreString},
    {"dnsRoot", AdsType::kCaseIgnoreString},
    {"dNSTombstoned", AdsType::kBoolean},
    {"domainControllerFunctionality", AdsType::kInteger},
    {"domainFunctionality", AdsType::kInteger},
    {"driverName", AdsType::kCaseIgnoreString},
    {"dSCorePropagationData", AdsType::kUtcTime},
    {"dsServiceName", AdsType::kDnString},
    {"employeeID", AdsType::kCaseIgnoreString},
    {"employeeNumber", AdsType::kCaseIgnoreString},
    {"employeeType", AdsType::kCaseIgnoreString},
    {"extensionAttribute1", AdsType::kCaseIgnoreString},
    {"extensionAttribute10", AdsType::kCaseIgnoreString},
    {"extensionAttribute11", AdsType::kCaseIgnoreString},
    {"extensionAttribute12", AdsType::kCaseIgnoreString},
    {"extensionAttribute13", AdsType::kCaseIgnoreString},
    {"extensionAttribute14", AdsType::kCaseIgnoreString},
    {"extensionAttribute15", AdsType::kCaseIgnoreString},
    {"extensionAttribute2", AdsType::kCaseIgnoreString},
    {"extensionAttribute3", AdsType::kCaseIgnoreString},
    {"extensionAttribute4", AdsType::kCaseIgnoreString},
    {"extensionAttribute5", AdsType::kCaseIgnoreString},
    {"extensionAttribute6", AdsType::kCaseIgnoreString},
    {"extensionAttribute7", AdsType::kCaseIgnoreString},
    {"extensionAttribute8", AdsType::kCaseIgnoreString},
    {"extensionAttribute9", AdsType::kCaseIgnoreString},
    {"extensionName", AdsType::kCaseIgnoreString},
    {"facsimileTelephoneNumber", AdsType::kCaseIgnoreString},
    {"flags", AdsType::kInteger},
    {"forceLogoff", AdsType::kLargeInteger},
    {"forestFunctionality", AdsType::kInteger},
    {"fSMORoleOwner", AdsType::kDnString},
    {"garbageCollPeriod", AdsType::kInteger},
    {"generationQualifier", AdsType::kCaseIgnoreString},
    {"gidNumber", AdsType::kInteger},
    {"givenName", AdsType::kCaseIgnoreString},
    {"governsID", AdsType::kCaseIgnoreString},
    {"gPCFileSysPath", AdsType::kCaseIgnoreString},
    {"gPCFunctionalityVersion", AdsType::kInteger},
    {"gPCMachineExtensionNames", AdsType::kCaseIgnoreString},
    {"gPCUserExtensionNames", AdsType::kCaseIgnoreString},
    {"gPLink", AdsType::kCaseIgnoreString},
    {"gPOptions", AdsType::kInteger},
    {"groupType", AdsType::kInteger},
    {"highestCommittedUSN", AdsType::kLargeInteger},
    {"homeDirectory", AdsType::kCaseIgnoreString},
    {"homeDrive", AdsType::kCaseIgnoreString},
    {"homeMDB", AdsType::kDnString},
    {"homeMTA", AdsType::kDnString},
    {"homePhone", AdsType::kCaseIgnoreString},
    {"homePostalAddress", AdsType::kCaseIgnoreString},
    {"houseIdentifier", AdsType::kCaseIgnoreString},
    {"info", AdsType::kCaseIgnoreString},
    {"initials", AdsType::kCaseIgnoreString},
    {"instanceType", AdsType::kInteger},
    {"internationalISDNNumber", AdsType::kNumericString},
    {"ipPhone", AdsType::kCaseIgnoreString},
    {"isCriticalSystemObject", AdsType::kBoolean},
    {"isDeleted", AdsType::kBoolean},
    {"isGlobalCatalogReady", AdsType::kBoolean},
    {"isMemberOfPartialAttributeSet", AdsType::kBoolean},
    {"isRecycled", AdsType::kBoolean},
    {"isSingleValued", AdsType::kBoolean},
    {"isSynchronized", AdsType::kBoolean},
    {"jpegPhoto", AdsType::kOctetString},
    {"l", AdsType::kCaseIgnoreString},
    {"lastKnownParent", AdsType::kDnString},
    {"lastLogoff", AdsType::kLargeInteger},
    {"lastLogon", AdsType::kLargeInteger},
    {"lastLogonTimestamp", AdsType::kLargeInteger},
    {"lastSetTime", AdsType::kLargeInteger},
    {"lDAPDisplayName", AdsType::kCaseIgnoreString},
    {"ldapServiceName", AdsType::kCaseIgnoreString},
    {"legacyExchangeDN", AdsType::kCaseIgnoreString},
    {"linkID", AdsType::kInteger},
    {"localeID", AdsType::kInteger},
    {"localPolicyFlags", AdsType::kInteger},
    {"location", AdsType::kCaseIgnoreString},
    {"lockoutDuration", AdsType::kLargeInteger},
    {"lockOutObservationWindow", AdsType::kLargeInteger},
    {"lockoutThreshold", AdsType::kInteger},
    {"lockoutTime", AdsType::kLargeInteger},
    {"loginShell", AdsType::kPrintableString},
    {"logonCount", AdsType::kInteger},
    {"logonHours", AdsType::kOctetString},
    {"logonWorkstation", AdsType::kOctetString},
    {"machineRole", AdsType::kInteger},
    {"mail", AdsType::kCaseIgnoreString},
    {"mailNickname", AdsType::kCaseIgnoreString},
    {"managedBy", AdsType::kDnString},
    {"managedObjects", AdsType::kDnString},
    {"manager", AdsType::kDnString},
    {"maxPwdAge", AdsType::kLargeInteger},
    {"mayContain", AdsType::kCaseIgnoreString},
    {"mDBOverHardQuotaLimit", AdsType::kInteger},
    {"mDBOverQuotaLimit", AdsType::kInteger},
    {"mDBStorageQuota", AdsType::kInteger},
    {"mDBUseDefaults", AdsType::kBoolean},
    {"member", AdsType::kDnString},
    {"memberOf", AdsType::kDnString},
    {"middleName", AdsType::kCaseIgnoreString},
    {"minPwdAge", AdsType::kLargeInteger},
    {"minPwdLength", AdsType::kInteger},
    {"mobile", AdsType::kCaseIgnoreString},
    {"modifiedCount", AdsType::kLargeInteger},
    {"modifiedCountAtLastProm", AdsType::kLargeInteger},
    {"modifyTimeStamp", AdsType::kUtcTime},
    {"mS-DS-CreatorSID", AdsType::kOctetString},
    {"ms-DS-MachineAccountQuota", AdsType::kInteger},
    {"msDS-AllowedToDelegateTo", AdsType::kCaseIgnoreString},
    {"msDS-Behavior-Version", AdsType::kInteger},
    {"msDS-isGC", AdsType::kBoolean},
    {"msDS-isRODC", AdsType::kBoolean},
    {"msDS-KeyVersionNumber", AdsType::kInteger},
    {"msDS-LastSuccessfulInteractiveLogonTime", AdsType::kLargeInteger},
    {"msDS-LockoutDuration", AdsType::kLargeInteger},
    {"msDS-LockoutObservationWindow", AdsType::kLargeInteger},
    {"msDS-LockoutThreshold", AdsType::kInteger},
    {"msDS-MaximumPasswordAge", AdsType::kLargeInteger},
    {"msDS-MinimumPasswordAge", AdsType::kLargeInteger},
    {"msDS-MinimumPasswordLength", AdsType::kInteger},
    {"msDS-PasswordComplexityEnabled", AdsType::kBoolean},
    {"msDS-PasswordHistoryLength", AdsType::kInteger},
    {"msDS-PasswordReversibleEncryptionEnabled", AdsType::kBoolean},
    {"msDS-PasswordSettingsPrecedence", AdsType::kInteger},
    {"msDS-PrincipalName", AdsType::kCaseIgnoreString},
    {"msDS-PSOApplied", AdsType::kDnString},
    {"msDS-PSOAppliesTo", AdsType::kDnString},
    {"msDS-ResultantPSO", AdsType::kDnString},
    {"msDS-SupportedEncryptionTypes", AdsType::kInteger},
    {"msDS-User-Account-Control-Computed", AdsType::kInteger},
    {"msDS-UserPasswordExpiryTimeComputed", AdsType::kLargeInteger},
    {"msExchHideFromAddressLists", AdsType::kBoolean},
    {"msExchHomeServerName", AdsType::kCaseIgnoreString},
    {"msExchMailboxGuid", AdsType::kOctetString},
    {"msExchMasterAccountSid", AdsType::kOctetString},
    {"msExchOmaAdminWirelessEnable", AdsType::kInteger},
    {"msExchRecipientTypeDetails", AdsType::kLargeInteger},
    {"msExchRecipLimit", AdsType::kInteger},
    {"msExchUserAccountControl", AdsType::kInteger},
    {"msExchVersion", AdsType::kLargeInteger},
    {"msNPAllowDialin", AdsType::kBoolean},
    {"msNPCallingStationID", AdsType::kPrintableString},
    {"msNPSavedCallingStationID", AdsType::kPrintableString},
    {"msRADIUSCallbackNumber", AdsType::kPrintableString},
    {"msRADIUSFramedIPAddress", AdsType::kInteger},
    {"msRADIUSFramedRoute", AdsType::kPrintableString},
    {"msRADIUSServiceType", AdsType::kInteger},
    {"msTSAllowLogon", AdsType::kBoolean},
    {"msTSHomeDirectory", AdsType::kCaseIgnoreString},
    {"msTSHomeDrive", AdsType::kCaseIgnoreString},
    {"msTSInitialProgram", AdsType::kCaseIgnoreString},
    {"msTSProfilePath", AdsType::kCaseIgnoreString},
    {"msTSWorkDirectory", AdsType::kCaseIgnoreString},
    {"mustContain", AdsType::kCaseIgnoreString},
    {"name", AdsType::kCaseIgnoreString},
    {"namingContexts", AdsType::kDnString},
    {"nCName", AdsType::kDnString},
    {"nETBIOSName", AdsType::kCaseIgnoreString},
    {"netbootGUID", AdsType::kOctetString},
    {"netbootInitialization", AdsType::kCaseIgnoreString},
    {"netbootMachineFilePath", AdsType::kCaseIgnoreString},
    {"networkAddress", AdsType::kCaseIgnoreString},
    {"nextRid", AdsType::kInteger},
    {"nTMixedDomain", AdsType::kInteger},
    {"nTSecurityDescriptor", AdsType::kNtSecurityDescriptor},
    {"o", AdsType::kCaseIgnoreString},
    {"objectCategory", AdsType::kDnString},
    {"objectClass", AdsType::kCaseIgnoreString},
    {"objectClassCategory", AdsType::kInteger},
    {"objectGUID", AdsType::kOctetString},
    {"objectSid", AdsType::kOctetString},
    {"objectVersion", AdsType::kInteger},
    {"oMObjectClass", AdsType::kOctetString},
    {"oMSyntax", AdsType::kInteger},
    {"operatingSystem", AdsType::kCaseIgnoreString},
    {"operatingSystemHotfix", AdsType::kCaseIgnoreString},
    {"operatingSystemServicePack", AdsType::kCaseIgnoreString},
    {"operatingSystemVersion", AdsType::kCaseIgnoreString},
    {"options", AdsType::kInteger},
    {"otherFacsimileTelephoneNumber", AdsType::kCaseIgnoreString},
    {"otherHomePhone", AdsType::kCaseIgnoreString},
    {"otherIpPhone", AdsType::kCaseIgnoreString},
    {"otherLoginWorkstations", AdsType::kCaseIgnoreString},
    {"otherMailbox", AdsType::kCaseIgnoreString},
    {"otherMobile", AdsType::kCaseIgnoreString},
    {"otherPager", AdsType::kCaseIgnoreString},
    {"otherTelephone", AdsType::kCaseIgnoreString},
    {"otherWellKnownObjects", AdsType::kDnWithBinary},
    {"ou", AdsType::kCaseIgnoreString},
    {"pager", AdsType::kCaseIgnoreString},
    {"parentGUID", AdsType::kOctetString},
    {"personalTitle", AdsType::kCaseIgnoreString},
    {"physicalDeliveryOfficeName", AdsType::kCaseIgnoreString},
    {"portName", AdsType::kCaseIgnoreString},
    {"possSuperiors", AdsType::kCaseIgnoreString},
    {"postalAddress", AdsType::kCaseIgnoreString},
    {"postalCode", AdsType::kCaseIgnoreString},
    {"postOfficeBox", AdsType::kCaseIgnoreString},
    {"preferredDeliveryMethod", AdsType::kInteger},
    {"preferredLanguage", AdsType::kCaseIgnoreString},
    {"preferredOU", AdsType::kDnString},
    {"primaryGroupID", AdsType::kInteger},
    {"primaryGroupToken", AdsType::kInteger},
    {"primaryInternationalISDNNumber", AdsType::kCaseIgnoreString},
    {"primaryTelexNumber", AdsType::kCaseIgnoreString},
    {"printBinNames", AdsType::kCaseIgnoreString},
    {"printCollate", AdsType::kBoolean},
    {"printColor", AdsType::kBoolean},
    {"printDuplexSupported", AdsType::kBoolean},
    {"printerName", AdsType::kCaseIgnoreString},
    {"printMaxResolutionSupported", AdsType::kInteger},
    {"printMediaReady", AdsType::kCaseIgnoreString},
    {"printMediaSupported", AdsType::kCaseIgnoreString},
    {"printMemory", AdsType::kInteger},
    {"printNetworkAddress", AdsType::kCaseIgnoreString},
    {"printOrientationsSupported", AdsType::kCaseIgnoreString},
    {"printPagesPerMinute", AdsType::kInteger},
    {"printRateUnit", AdsType::kCaseIgnoreString},
    {"printShareName", AdsType::kCaseIgnoreString},
    {"printSpooling", AdsType::kCaseIgnoreString},
    {"printStaplingSupported", AdsType::kBoolean},
    {"priority", AdsType::kInteger},
    {"profilePath", AdsType::kCaseIgnoreString},
    {"protocolSettings", AdsType::kCaseIgnoreString},
    {"proxyAddresses", AdsType::kCaseIgnoreString},
    {"publicDelegates", AdsType::kDnString},
    {"pwdHistoryLength", AdsType::kInteger},
    {"pwdLastSet", AdsType::kLargeInteger},
    {"pwdProperties", AdsType::kInteger},
    {"replPropertyMetaData", AdsType::kOctetString},
    {"repsFrom", AdsType::kOctetString},
    {"repsTo", AdsType::kOctetString},
    {"rIDSetReferences", AdsType::kDnString},
    {"rightsGuid", AdsType::kCaseIgnoreString},
    {"rootDomainNamingContext", AdsType::kDnString},
    {"sAMAccountName", AdsType::kCaseIgnoreString},
    {"sAMAccountType", AdsType::kInteger},
    {"schedule", AdsType::kOctetString},
    {"schemaIDGUID", AdsType::kOctetString},
    {"schemaNamingContext", AdsType::kDnString},
    {"scriptPath", AdsType::kCaseIgnoreString},
    {"sDRightsEffective", AdsType::kInteger},
    {"searchFlags", AdsType::kInteger},
    {"securityIdentifier", AdsType::kOctetString},
    {"seeAlso", AdsType::kDnString},
    {"serialNumber", AdsType::kPrintableString},
    {"serverName", AdsType::kCaseIgnoreString},
    {"serverReference", AdsType::kDnString},
    {"servicePrincipalName", AdsType::kCaseIgnoreString},
    {"shortServerName", AdsType::kCaseIgnoreString},
    {"showInAddressBook", AdsType::kDnString},
    {"showInAdvancedViewOnly", AdsType::kBoolean},
    {"sIDHistory", AdsType::kOctetString},
    {"siteLinkList", AdsType::kDnString},
    {"siteList", AdsType::kDnString},
    {"siteObject", AdsType::kDnString},
    {"siteObjectBL", AdsType::kDnString},
    {"sn", AdsType::kCaseIgnoreString},
    {"st", AdsType::kCaseIgnoreString},
    {"street", AdsType::kCaseIgnoreString},
    {"streetAddress", AdsType::kCaseIgnoreString},
    {"structuralObjectClass", AdsType::kCaseIgnoreString},
    {"subClassOf", AdsType::kCaseIgnoreString},
    {"submissionContLength", AdsType::kInteger},
    {"subRefs", AdsType::kDnString},
    {"subSchemaSubEntry", AdsType::kDnString},
    {"supportedCapabilities", AdsType::kCaseIgnoreString},
    {"supportedControl", AdsType::kCaseIgnoreString},
    {"supportedExtension", AdsType::kCaseIgnoreString},
    {"supportedLDAPPolicies", AdsType::kCaseIgnoreString},
    {"supportedLDAPVersion", AdsType::kInteger},
    {"supportedSASLMechanisms", AdsType::kCaseIgnoreString},
    {"systemFlags", AdsType::kInteger},
    {"systemMayContain", AdsType::kCaseIgnoreString},
    {"systemMustContain", AdsType::kCaseIgnoreString},
    {"targetAddress", AdsType::kCaseIgnoreString},
    {"telephoneNumber", AdsType::kCaseIgnoreString},
    {"telexNumber", AdsType::kOctetString},
    {"textEncodedORAddress", AdsType::kCaseIgnoreString},
    {"thumbnailPhoto", AdsType::kOctetString},
    {"title", AdsType::kCaseIgnoreString},
    {"tokenGroups", AdsType::kOctetString},
    {"tokenGroupsGlobalAndUniversal", AdsType::kOctetString},
    {"treatAsLeaf", AdsType::kBoolean},
    {"trustAttributes", AdsType::kInteger},
    {"trustDirection", AdsType::kInteger},
    {"trustPartner", AdsType::kCaseIgnoreString},
    {"trustType", AdsType::kInteger},
    {"uASCompat", AdsType::kInteger},
    {"uid", AdsType::kCaseIgnoreString},
    {"uidNumber", AdsType::kInteger},
    {"unauthOrig", AdsType::kDnString},
    {"uNCName", AdsType::kCaseIgnoreString},
    {"unixHomeDirectory", AdsType::kPrintableString},
    {"uPNSuffixes", AdsType::kCaseIgnoreString},
    {"url", AdsType::kCaseIgnoreString},
    {"userAccountControl", AdsType::kInteger},
    {"userCertificate", AdsType::kOctetString},
    {"userParameters", AdsType::kCaseIgnoreString},
    {"userPrincipalName", AdsType::kCaseIgnoreString},
    {"userSharedFolder", AdsType::kCaseIgnoreString},
    {"userSharedFolderOther", AdsType::kCaseIgnoreString},
    {"userWorkstations", AdsType::kCaseIgnoreString},
    {"uSNChanged", AdsType::kLargeInteger},
    {"uSNCreated", AdsType::kLargeInteger},
    {"validAccesses", AdsType::kInteger},
    {"versionNumber", AdsType::kInteger},
    {"wellKnownObjects", AdsType::kDnWithBinary},
    {"whenChanged", AdsType::kUtcTime},
    {"whenCreated", AdsType::kUtcTime},
    {"wWWHomePage", AdsType::kCaseIgnoreString},
};

constexpr char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

constexpr bool LessIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::lexicographical_compare(left, right,
                                              [](char a, char b) { return Lower(a) < Lower(b); });
}

static_assert(std::ranges::is_sorted(kBuiltIn, LessIgnoringCase, &BuiltInAttribute::name));

std::string Lowered(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), Lower);
  return lower;
}

// oMObjectClass of OR-Name, the one kind of 2.5.5.7 that is a plain name.
constexpr std::array<std::byte, 7> kOrNameClass = {
    std::byte{0x56}, std::byte{0x06}, std::byte{0x01}, std::byte{0x02},
    std::byte{0x05}, std::byte{0x0B}, std::byte{0x1D}};
// oMObjectClass of Access-Point, which shares 2.5.5.14 with DN-String.
constexpr std::array<std::byte, 9> kAccessPointClass = {
    std::byte{0x2B}, std::byte{0x0C}, std::byte{0x02}, std::byte{0x87}, std::byte{0x73},
    std::byte{0x1C}, std::byte{0x00}, std::byte{0x85}, std::byte{0x3E}};

std::span<const std::byte> FirstValue(EntryDecoder& entry, std::string_view attribute) {
  const std::optional<std::size_t> index = entry.Find(attribute);
  Column column;
  if (!index || Failed(entry.Decode(*index, AdsType::kOctetString, column)) ||
      column.values.empty()) {
    return {};
  }
  return column.values.front().octets;
}

std::string_view AsText(std::span<const std::byte> octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

// One for each forest that a server has proved to belong to. References stay valid.
ForestSchema& SharedForest(const std::string& key) {
  static std::mutex mutex;
  static std::map<std::string, ForestSchema> forests;
  const std::lock_guard lock(mutex);
  return forests[key];
}

}  // namespace

AdsType TypeOfSyntax(std::string_view attributeSyntax, std::span<const std::byte> omObjectClass) {
  struct Row {
    std::string_view syntax;
    AdsType type;
  };
  static constexpr Row kSyntaxes[] = {
      {"2.5.5.1", AdsType::kDnString},
      {"2.5.5.2", AdsType::kCaseIgnoreString},  // object identifier
      {"2.5.5.3", AdsType::kCaseExactString},
      {"2.5.5.4", AdsType::kCaseIgnoreString},  // teletex
      {"2.5.5.5", AdsType::kPrintableString},   // printable and IA5
      {"2.5.5.6", AdsType::kNumericString},
      {"2.5.5.7", AdsType::kDnWithBinary},
      {"2.5.5.8", AdsType::kBoolean},
      {"2.5.5.9", AdsType::kInteger},  // integer and enumeration
      {"2.5.5.10", AdsType::kOctetString},
      {"2.5.5.11", AdsType::kUtcTime},           // UTC and generalized time
      {"2.5.5.12", AdsType::kCaseIgnoreString},  // Unicode
      {"2.5.5.13", AdsType::kCaseIgnoreString},  // presentation address
      {"2.5.5.14", AdsType::kDnWithString},
      {"2.5.5.15", AdsType::kNtSecurityDescriptor},
      {"2.5.5.16", AdsType::kLargeInteger},
      {"2.5.5.17", AdsType::kOctetString},  // SID
  };
  if (std::ranges::equal(omObjectClass, kOrNameClass)) return AdsType::kDnString;
  if (std::ranges::equal(omObjectClass, kAccessPointClass)) return AdsType::kCaseIgnoreString;
  const auto row = std::ranges::find(kSyntaxes, attributeSyntax, &Row::syntax);
  return row == std::end(kSyntaxes) ? AdsType::kProviderSpecific : row->type;
}

std::optional<AdsType> BuiltInType(std::string_view attribute) {
  const auto row =
      std::ranges::lower_bound(kBuiltIn, attribute, LessIgnoringCase, &BuiltInAttribute::name);
  if (row == std::end(kBuiltIn) || LessIgnoringCase(attribute, row->name)) return std::nullopt;
  return row->type;
}

std::span<const BuiltInAttribute> BuiltInAttributes() { return kBuiltIn; }

HResult ReadSchema(LdapConnection& connection, Deadline deadline, SchemaTypes& types,
                   ExtendedError& error) {
  // Several times what the largest forests define.
  constexpr std::size_t kMaxAttributes = 100'000;
  const RequestLimit limit(connection, deadline);
  SearchRequest request;
  request.base = connection.names().schemaNamingContext;
  request.scope = SearchScope::kOneLevel;
  request.filter = "(objectClass=attributeSchema)";
  request.attributes = {"lDAPDisplayName", "attributeSyntax", "oMObjectClass"};
  request.pageSize = 1000;
  PagedSearch search(connection, std::move(request));

  EntryDecoder entry;
  HResult result = search.Start(error);
  while (Succeeded(result) && (result = search.Next(error)) == kOk) {
    if (types.size() > kMaxAttributes) {
      error.text = u"it has more attributes than any schema";
      return HResultFromLdap(LDAP_SIZELIMIT_EXCEEDED);
    }
    if (!entry.Reset(connection.handle(), search.current())) {
      error.text = u"a definition in it is damaged";
      return HResultFromLdap(LDAP_DECODING_ERROR);
    }
    const std::string_view name = AsText(FirstValue(entry, "lDAPDisplayName"));
    const std::string_view syntax = AsText(FirstValue(entry, "attributeSyntax"));
    types[Lowered(name)] = TypeOfSyntax(syntax, FirstValue(entry, "oMObjectClass"));
  }
  return result == kNoMoreRows ? kOk : result;
}

bool ForestSchema::IsYoung(Clock::time_point now) const {
  return types_ != nullptr && now - readAt_ < kMinimumAge;
}

bool ForestSchema::IsDue(const std::string& server, const std::string& needed,
                         Clock::time_point now) const {
  if (IsYoung(now) || (types_ != nullptr && types_->contains(needed))) return false;
  const auto failed = failedAt_.find(server);
  return failed == failedAt_.end() || now - failed->second >= kRetryAfter;
}

bool ForestSchema::Keep(HResult result, SchemaTypes types, const std::string& server) {
  const std::size_t least = types_ == nullptr ? 1 : types_->size();
  if (Failed(result) || types.size() < least) {
    if (result != kCancelled) failedAt_[server] = Clock::now();
    return false;
  }
  types_ = std::make_shared<const SchemaTypes>(std::move(types));
  readAt_ = Clock::now();
  failedAt_.erase(server);
  return true;
}

ForestSchema::View ForestSchema::Find(const std::string& needed, const std::string& server,
                                      const Reader& read, Patience patience) {
  // The caller is asked between these.
  constexpr std::chrono::milliseconds kPeriod{100};
  const Clock::time_point begun = Clock::now();
  std::unique_lock lock(mutex_);
  const auto isDue = [&] { return IsDue(server, needed, Clock::now()); };
  while (isDue() && readers_ != 0 && Clock::now() - begun < kPatience) {
    changed_.wait_for(lock, kPeriod);
    lock.unlock();
    const bool goesOn = Succeeded(patience.Check());
    lock.lock();
    if (!goesOn) return {types_, false};
  }
  bool whole = true;
  if (isDue()) {
    ++readers_;
    lock.unlock();
    SchemaTypes types;
    const HResult result = read(types);
    lock.lock();
    --readers_;
    whole = Keep(result, std::move(types), server);
    changed_.notify_all();
  }
  whole = IsYoung(Clock::now()) || (whole && !failedAt_.contains(server));
  return {types_, whole};
}

ForestSchema& CallSchemas::ForestOf(const LdapConnection& connection) {
  return connection.hasProvenForest() ? SharedForest(connection.forestKey())
                                      : own_[connection.forestKey()];
}

void CallSchemas::Notify(NoticeKind kind, const std::string& server, std::u16string_view detail) {
  if (conditions_.observer == nullptr) return;
  const std::u16string subject = server.empty() ? u"the server" : ToUtf16(server);
  conditions_.observer->Notify({kind, subject, detail});
}

CallSchemas::Typed CallSchemas::TypeOf(LdapConnection& connection, std::string_view attribute) {
  attribute = attribute.substr(0, attribute.find(';'));
  if (const std::optional<AdsType> known = BuiltInType(attribute)) return {*known, true};
  if (connection.names().schemaNamingContext.empty()) return {AdsType::kProviderSpecific, true};
  const std::string name = Lowered(attribute);
  const std::string& server = connection.names().dnsHostName;
  const Deadline deadline = std::min(conditions_.end, ForestSchema::Clock::now() + kTimeLimit);
  ExtendedError error{0, u"it has no attributes, or fewer than it had"};
  bool asked = false;
  const auto read = [&](SchemaTypes& types) {
    asked = true;
    const HResult result = ReadSchema(connection, deadline, types, error);
    const bool over = Failed(conditions_.ForTheCall().Verdict());
    return Failed(result) && over ? kCancelled : result;
  };
  const ForestSchema::View view =
      ForestOf(connection).Find(name, server, read, Patience(deadline, conditions_.observer));
  if (asked && !view.whole) Notify(NoticeKind::kSchemaNotRead, server, error.text);
  if (view.types != nullptr) {
    const auto found = view.types->find(name);
    if (found != view.types->end()) return {found->second, true};
  }
  if (!view.whole && told_.emplace(attribute).second) {
    Notify(NoticeKind::kTypesUnknown, server, ToUtf16(attribute));
  }
  return {AdsType::kProviderSpecific, view.whole};
}

}  // namespace zorvan::platform::posix
