#include "reports/report_table.h"

#include <algorithm>
#include <array>

namespace zorvan::reports {
namespace {

constexpr std::uint32_t kAccountDisabled = 0x2;
constexpr std::uint32_t kSmartCardRequired = 0x40000;

using enum ReportGroup;
using Kind = ParameterKind;

constexpr std::array<ReportParameter, 0> kNoParameters{};
constexpr std::array kManager{
    ReportParameter{"manager", Kind::kDistinguishedName, "distinguished name of the manager"}};
constexpr std::array kWorkstation{
    ReportParameter{"workstation", Kind::kText, "name of the workstation"}};
constexpr std::array kCreatedSince{
    ReportParameter{"since", Kind::kGeneralizedTime, "created at this time or later"}};
constexpr std::array kChangedSince{
    ReportParameter{"since", Kind::kGeneralizedTime, "changed at this time or later"}};
constexpr std::array kDeletedSince{ReportParameter{
    "since", Kind::kGeneralizedTime, "deleted, or changed after that, at this time or later"}};
constexpr std::array kPasswordSince{
    ReportParameter{"since", Kind::kTime, "password set after this time"}};
constexpr std::array kPasswordBefore{
    ReportParameter{"since", Kind::kTime, "password set before this time and not after it"}};
constexpr std::array kPasswordSetBefore{
    ReportParameter{"before", Kind::kTime, "password set at this time or earlier"}};
constexpr std::array kPasswordSetBetween{
    ReportParameter{"after", Kind::kTime, "password set after this time"},
    ReportParameter{"before", Kind::kTime, "password set at this time or earlier"}};
constexpr ReportParameter kController{"controller", Kind::kController,
                                      "domain controller that is asked"};
constexpr std::array kControllerOnly{kController};
constexpr std::array kControllerBadPasswordSince{
    kController,
    ReportParameter{"since", Kind::kTime, "wrong password given at this time or later"}};
constexpr std::array kControllerLogonBefore{
    kController, ReportParameter{"before", Kind::kTime, "last logon at this time or earlier"}};
constexpr std::array kControllerLogonSince{
    kController, ReportParameter{"since", Kind::kTime, "last logon at this time or later"}};
constexpr std::array kExpiredBetween{
    ReportParameter{"after", Kind::kTime, "expired at this time or later"},
    ReportParameter{"before", Kind::kTime, "expired at this time or earlier"}};
constexpr std::array kExpiringBetween{
    ReportParameter{"after", Kind::kTime, "expires after this time"},
    ReportParameter{"before", Kind::kTime, "expires at this time or earlier"}};
constexpr std::array kOperatingSystem{
    ReportParameter{"os", Kind::kText, "name of the operating system"},
    ReportParameter{"servicePack", Kind::kText,
                    "beginning of the service pack's name; empty: computers without one"}};
constexpr std::array kForwardTo{
    ReportParameter{"forwardTo", Kind::kDistinguishedName, "distinguished name of the recipient"}};
constexpr std::array kAddressEnding{
    ReportParameter{"ending", Kind::kText, "what the address ends in, such as @example.com"}};

constexpr std::string_view kUserColumns = "sAMAccountName,displayName,mail,distinguishedName";
constexpr std::string_view kPasswordColumns =
    "sAMAccountName,displayName,pwdLastSet,userAccountControl,distinguishedName";
constexpr std::string_view kScriptColumns =
    "sAMAccountName,displayName,scriptPath,distinguishedName";
constexpr std::string_view kManagerColumns = "sAMAccountName,displayName,manager,distinguishedName";
constexpr std::string_view kWorkstationColumns =
    "sAMAccountName,displayName,userWorkstations,distinguishedName";
constexpr std::string_view kCreatedColumns =
    "sAMAccountName,displayName,whenCreated,distinguishedName";
constexpr std::string_view kChangedColumns =
    "sAMAccountName,displayName,whenChanged,distinguishedName";
constexpr std::string_view kDeletedColumns =
    "sAMAccountName,whenChanged,lastKnownParent,distinguishedName";
constexpr std::string_view kBadPasswordColumns =
    "sAMAccountName,displayName,badPasswordTime,badPwdCount,distinguishedName";
constexpr std::string_view kLogonColumns =
    "sAMAccountName,displayName,lastLogon,lastLogonTimestamp,distinguishedName";
constexpr std::string_view kExpiryColumns =
    "sAMAccountName,displayName,accountExpires,distinguishedName";
constexpr std::string_view kTerminalServicesColumns =
    "sAMAccountName,tsAllowLogon,tsProfilePath,tsHomeDir,tsHomeDirDrive,tsIntialProgram,"
    "tsWorkingDir,"
    "distinguishedName";
constexpr std::string_view kPrinterColumns =
    "printerName,serverName,driverName,location,distinguishedName";
constexpr std::string_view kComputerColumns =
    "name,dNSHostName,operatingSystem,operatingSystemServicePack,pwdLastSet,distinguishedName";
constexpr std::string_view kManagedComputerColumns =
    "name,dNSHostName,operatingSystem,managedBy,distinguishedName";
constexpr std::string_view kMailColumns =
    "sAMAccountName,displayName,mail,mailNickname,distinguishedName";
constexpr std::string_view kMailGroupColumns = "sAMAccountName,mail,mailNickname,distinguishedName";
constexpr std::string_view kSendingColumns =
    "sAMAccountName,mail,submissionContLength,distinguishedName";
constexpr std::string_view kReceivingColumns =
    "sAMAccountName,mail,delivContLength,distinguishedName";
constexpr std::string_view kRestrictionColumns =
    "sAMAccountName,mail,authOrig,unauthOrig,distinguishedName";
constexpr std::string_view kRecipientColumns =
    "sAMAccountName,mail,msExchRecipLimit,distinguishedName";
constexpr std::string_view kForwardColumns = "sAMAccountName,mail,altRecipient,distinguishedName";
constexpr std::string_view kProxyColumns = "sAMAccountName,mail,proxyAddresses,distinguishedName";
constexpr std::string_view kContactColumns = "name,mail,targetAddress,distinguishedName";
constexpr std::string_view kUnitColumns = "name,description,whenCreated,distinguishedName";
constexpr std::string_view kLinkedUnitColumns = "name,gPLink,gPOptions,distinguishedName";
constexpr std::string_view kGroupColumns = "sAMAccountName,groupType,description,distinguishedName";
constexpr std::string_view kManagedGroupColumns =
    "sAMAccountName,groupType,managedBy,distinguishedName";
constexpr std::string_view kSubnetColumns = "name,location,siteObject,distinguishedName";

#define ZORVAN_REPORT(method, shape, group, title, parameters, filter, columns, ...) \
  ReportDefinition{#method, group, title, parameters, filter, columns __VA_OPT__(, ) __VA_ARGS__},
constexpr std::array kReports{
#include "reports/reports.def"
};

}  // namespace

std::span<const ReportDefinition> AllReports() { return kReports; }

bool IsAmongDeletedObjects(const ReportDefinition& report) {
  return report.rule == ReportRule::kDeletedUsers || report.rule == ReportRule::kDeletedComputers;
}

const ReportDefinition* FindReport(std::string_view method) {
  const auto found = std::find_if(kReports.begin(), kReports.end(),
                                  [&](const auto& report) { return report.method == method; });
  return found == kReports.end() ? nullptr : &*found;
}

std::string_view GroupName(ReportGroup group) {
  switch (group) {
    case kUsers:
      return "users";
    case kComputers:
      return "computers";
    case kMail:
      return "mail";
    case kOrganizationalUnits:
      return "ous";
    case kGroups:
      return "groups";
  }
  return {};
}

}  // namespace zorvan::reports
