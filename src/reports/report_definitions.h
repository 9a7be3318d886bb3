// The definition of each report under its method's name, for whoever must know one when it is
// compiled. Everybody else walks AllReports().
#pragma once

#include <array>

#include "reports/report_filter.h"
#include "reports/report_selection.h"
#include "reports/report_table.h"

namespace zorvan::reports {
namespace definitions {

using enum ReportGroup;
using Kind = ParameterKind;

// userAccountControl
inline constexpr std::uint32_t kAccountDisabled = 0x2;
inline constexpr std::uint32_t kWorkstation = 0x1000;
inline constexpr std::uint32_t kDomainController = 0x2000;
inline constexpr std::uint32_t kSmartCardRequired = 0x40000;
inline constexpr std::uint32_t kTrustedForDelegation = 0x80000;

// What reports are told.
inline constexpr std::array kManager{
    ReportParameter{"manager", Kind::kDistinguishedName, "distinguished name of the manager"}};
inline constexpr std::array kWorkstationName{
    ReportParameter{"workstation", Kind::kText, "name of the workstation"}};
inline constexpr std::array kCreatedSince{
    ReportParameter{"since", Kind::kGeneralizedTime, "created at this time or later"}};
inline constexpr std::array kChangedSince{
    ReportParameter{"since", Kind::kGeneralizedTime, "changed at this time or later"}};
inline constexpr std::array kDeletedSince{ReportParameter{
    "since", Kind::kGeneralizedTime, "deleted, or changed after that, at this time or later"}};
inline constexpr std::array kPasswordSince{
    ReportParameter{"since", Kind::kTime, "password set after this time"}};
inline constexpr std::array kPasswordBefore{
    ReportParameter{"since", Kind::kTime, "password set before this time and not after it"}};
inline constexpr std::array kPasswordSetBefore{
    ReportParameter{"before", Kind::kTime, "password set at this time or earlier"}};
inline constexpr std::array kPasswordSetBetween{
    ReportParameter{"after", Kind::kTime, "password set after this time"},
    ReportParameter{"before", Kind::kTime, "password set at this time or earlier"}};
inline constexpr ReportParameter kController{"controller", Kind::kController,
                                             "domain controller that is asked"};
inline constexpr std::array kControllerOnly{kController};
inline constexpr std::array kControllerBadPasswordSince{
    kController,
    ReportParameter{"since", Kind::kTime, "wrong password given at this time or later"}};
inline constexpr std::array kControllerLogonBefore{
    kController, ReportParameter{"before", Kind::kTime, "last logon at this time or earlier"}};
inline constexpr std::array kControllerLogonSince{
    kController, ReportParameter{"since", Kind::kTime, "last logon at this time or later"}};
inline constexpr std::array kExpiredBetween{
    ReportParameter{"after", Kind::kTime, "expired at this time or later"},
    ReportParameter{"before", Kind::kTime, "expired at this time or earlier"}};
inline constexpr std::array kExpiringBetween{
    ReportParameter{"after", Kind::kTime, "expires after this time"},
    ReportParameter{"before", Kind::kTime, "expires at this time or earlier"}};
inline constexpr std::array kOperatingSystem{
    ReportParameter{"os", Kind::kText, "name of the operating system"},
    ReportParameter{"servicePack", Kind::kText,
                    "beginning of the service pack's name; empty: computers without one"}};
inline constexpr std::array kForwardTo{
    ReportParameter{"forwardTo", Kind::kDistinguishedName, "distinguished name of the recipient"}};
inline constexpr std::array kAddressEnding{
    ReportParameter{"ending", Kind::kText, "what the address ends in, such as @example.com"}};

// What reports show.
inline constexpr std::string_view kUserColumns =
    "sAMAccountName,displayName,mail,distinguishedName";
inline constexpr std::string_view kPasswordColumns =
    "sAMAccountName,displayName,pwdLastSet,userAccountControl,distinguishedName";
inline constexpr std::string_view kScriptColumns =
    "sAMAccountName,displayName,scriptPath,distinguishedName";
inline constexpr std::string_view kManagerColumns =
    "sAMAccountName,displayName,manager,distinguishedName";
inline constexpr std::string_view kWorkstationColumns =
    "sAMAccountName,displayName,userWorkstations,distinguishedName";
inline constexpr std::string_view kCreatedColumns =
    "sAMAccountName,displayName,whenCreated,distinguishedName";
inline constexpr std::string_view kChangedColumns =
    "sAMAccountName,displayName,whenChanged,distinguishedName";
inline constexpr std::string_view kDeletedColumns =
    "sAMAccountName,whenChanged,lastKnownParent,distinguishedName";
inline constexpr std::string_view kBadPasswordColumns =
    "sAMAccountName,displayName,badPasswordTime,badPwdCount,distinguishedName";
inline constexpr std::string_view kLogonColumns =
    "sAMAccountName,displayName,lastLogon,lastLogonTimestamp,distinguishedName";
inline constexpr std::string_view kExpiryColumns =
    "sAMAccountName,displayName,accountExpires,distinguishedName";
inline constexpr std::string_view kTerminalServicesColumns =
    "sAMAccountName,tsAllowLogon,tsProfilePath,tsHomeDir,tsHomeDirDrive,tsIntialProgram,"
    "tsWorkingDir,"
    "distinguishedName";
inline constexpr std::string_view kPrinterColumns =
    "printerName,serverName,driverName,location,distinguishedName";
inline constexpr std::string_view kComputerColumns =
    "name,dNSHostName,operatingSystem,operatingSystemServicePack,pwdLastSet,distinguishedName";
inline constexpr std::string_view kManagedComputerColumns =
    "name,dNSHostName,operatingSystem,managedBy,distinguishedName";
inline constexpr std::string_view kMailColumns =
    "sAMAccountName,displayName,mail,mailNickname,distinguishedName";
inline constexpr std::string_view kMailGroupColumns =
    "sAMAccountName,mail,mailNickname,distinguishedName";
inline constexpr std::string_view kSendingColumns =
    "sAMAccountName,mail,submissionContLength,distinguishedName";
inline constexpr std::string_view kReceivingColumns =
    "sAMAccountName,mail,delivContLength,distinguishedName";
inline constexpr std::string_view kRestrictionColumns =
    "sAMAccountName,mail,authOrig,unauthOrig,distinguishedName";
inline constexpr std::string_view kRecipientColumns =
    "sAMAccountName,mail,msExchRecipLimit,distinguishedName";
inline constexpr std::string_view kForwardColumns =
    "sAMAccountName,mail,altRecipient,distinguishedName";
inline constexpr std::string_view kProxyColumns =
    "sAMAccountName,mail,proxyAddresses,distinguishedName";
inline constexpr std::string_view kContactColumns = "name,mail,targetAddress,distinguishedName";
inline constexpr std::string_view kUnitColumns = "name,description,whenCreated,distinguishedName";
inline constexpr std::string_view kLinkedUnitColumns = "name,gPLink,gPOptions,distinguishedName";
inline constexpr std::string_view kGroupColumns =
    "sAMAccountName,groupType,description,distinguishedName";
inline constexpr std::string_view kManagedGroupColumns =
    "sAMAccountName,groupType,managedBy,distinguishedName";
inline constexpr std::string_view kSubnetColumns = "name,location,siteObject,distinguishedName";

constexpr ReportDefinition Named(std::string_view method, ReportDefinition report) {
  report.method = method;
  return report;
}

#define ZORVAN_REPORT(method, shape, ...) \
  inline constexpr ReportDefinition method = Named(#method, __VA_ARGS__);
#include "reports/reports.def"

}  // namespace definitions

// A row says what it finds and shows, and only what its routine reads.
consteval bool IsWhole(const ReportDefinition& report) {
  const bool searches = report.run == RunSearch;
  return !report.method.empty() && !report.title.empty() && !report.columns.empty() &&
         (!searches || !report.filter.empty());
}

#define ZORVAN_REPORT(method, shape, ...) \
  static_assert(IsWhole(definitions::method), #method " lacks a title, columns or a filter");
#include "reports/reports.def"

}  // namespace zorvan::reports
