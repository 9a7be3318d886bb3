package com.velmora.tesk.zorvan.common.server.domain;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.time.Instant;
import java.util.List;

/**
 * A report with arguments, and a filter that finds the same objects in the server's database.
 *
 * @param name the method
 * @param base where it looks
 * @param filter written from what the report is to show, not from the library's own filter
 * @param arguments one for each parameter, chosen so that the report shows something but not all
 */
record PlainReport(String name, String base, String filter, List<Object> arguments) {
  private static final String USER =
      "(objectCategory=person)(objectClass=user)(sAMAccountType=805306368)";
  private static final String BOX =
      "(objectCategory=person)(objectClass=user)(mailNickname=*)"
          + "(|(homeMDB=*)(msExchHomeServerName=*))";
  private static final String BOX_OR_TARGET =
      "(objectCategory=person)(objectClass=user)(mailNickname=*)"
          + "(|(homeMDB=*)(msExchHomeServerName=*)(targetAddress=*))";
  private static final String COMPUTER = "(objectCategory=computer)(objectClass=computer)";
  private static final String UNIT = "(objectClass=organizationalUnit)";
  private static final String ALL_BITS = ":1.2.840.113556.1.4.803:=";
  private static final String NEVER = "9223372036854775807";
  private static final String SINCE = "20200101000000.0Z";

  static final List<PlainReport> ALL =
      List.of(
          // Users
          user("GetUsers", ""),
          user("GetEnabledAccounts", "(!(userAccountControl" + ALL_BITS + "2))"),
          user("GetDisabledAccounts", "(userAccountControl" + ALL_BITS + "2)"),
          user("GetSmartCardEnabledUsers", "(userAccountControl" + ALL_BITS + "262144)"),
          user("GetDialInAccessAllowedUsers", "(msNPAllowDialin=TRUE)"),
          user("GetDialInAccessDeniedUsers", "(msNPAllowDialin=FALSE)"),
          user("GetPwdNotRequiredUsers", "(userAccountControl" + ALL_BITS + "32)"),
          user("GetPwdNeverExpireUsers", "(userAccountControl" + ALL_BITS + "65536)"),
          of("GetMustChangePwdUsers", "(&(objectCategory=person)(objectClass=user)(pwdLastSet=0))"),
          user("GetUsersWithScriptPath", "(scriptPath=*)"),
          user("GetUsersWithoutScriptPath", "(!(scriptPath=*))"),
          user("GetAllManagerUsers", "(directReports=*)"),
          user("GetUnManagedUsers", "(!(manager=*))"),
          user(
              "GetManagerBasedUsers",
              "(|(sAMAccountName=n.report.one)(sAMAccountName=n.report.two))",
              "CN=Deputy (Chief\\, acting)*," + TestDomain.NOTABLE),
          user("GetUsersOfDomainUsersGroupOnly", "(primaryGroupID=513)(!(memberOf=*))"),
          of(
              "GetLogonRestrictionUsers",
              "(&(objectCategory=person)(objectClass=user)(userWorkstations=*)(!(|"
                  + "(userWorkstations=PC7)(userWorkstations=PC7,*)(userWorkstations=*,PC7)"
                  + "(userWorkstations=*,PC7,*))))",
              "PC7"),
          user("GetRecentlyCreatedUsers", "(whenCreated>=" + SINCE + ")", SINCE),
          user("GetRecentlyModifiedUsers", "(whenChanged>=" + SINCE + ")", SINCE),
          user(
              "GetRecentlyPwdChangedUsers",
              "(!(pwdLastSet<=" + Expected.intervals("2024-06-01") + "))",
              millis("2024-06-01")),
          user(
              "GetRecentlyPwdUnChangedUsers",
              "(pwdLastSet>=1)(!(pwdLastSet>=" + Expected.intervals("2018-05-05") + "))",
              millis("2018-05-05")),
          user(
              "GetSoonToPasswordExpireUsers",
              "(!(userAccountControl"
                  + ALL_BITS
                  + "65536))(!(pwdLastSet<="
                  + Expected.intervals("2010-01-01")
                  + "))(pwdLastSet<="
                  + Expected.intervals("2024-06-01")
                  + ")",
              millis("2010-01-01"),
              millis("2024-06-01")),
          user(
              "GetPasswordExpiredUsers",
              "(!(userAccountControl"
                  + ALL_BITS
                  + "65536))(pwdLastSet>=1)(pwdLastSet<="
                  + Expected.intervals("2018-05-05")
                  + ")",
              millis("2018-05-05")),
          // Milliseconds are cut off: with them, the users of that very second would be missed.
          user(
              "GetRecentlyBadLoginUsers",
              "(badPasswordTime>=" + Expected.intervals("2024-04-01") + ")",
              TestDomain.HOST,
              millis("2024-04-01") + 999),
          user(
              "GetInActiveUsers",
              "(|(!(lastLogon=*))(lastLogon<=%1$d))(|(!(lastLogonTimestamp=*))(lastLogonTimestamp<=%1$d))"
                  .formatted(Expected.intervals("2019-07-01")),
              TestDomain.HOST,
              millis("2019-07-01")),
          user(
              "GetRecentlyLoggedOnUsers",
              "(|(lastLogon>=%1$d)(lastLogonTimestamp>=%1$d))"
                  .formatted(Expected.intervals("2024-01-15")),
              TestDomain.HOST,
              millis("2024-01-15")),
          user(
              "GetNeverLoggedInUsers",
              "(!(lastLogon>=1))(!(lastLogonTimestamp>=1))",
              TestDomain.HOST),
          user(
              "GetAccountNeverExpiredUsers", "(|(accountExpires=0)(accountExpires=" + NEVER + "))"),
          user(
              "GetAccountExpiredUsers",
              "(accountExpires>=1)(accountExpires<=" + Expected.intervals("2026-01-01") + ")"),
          user(
              "GetRecentlyExpiredUsers",
              "(accountExpires>=%d)(accountExpires<=%d)"
                  .formatted(Expected.intervals("2015-06-30"), Expected.intervals("2020-01-01")),
              millis("2015-06-30"),
              millis("2020-01-01")),
          user(
              "GetSoonToExpireUsers",
              "(!(accountExpires<=%d))(accountExpires<=%d)"
                  .formatted(Expected.intervals("2024-01-15"), Expected.intervals("2099-01-31")),
              millis("2024-01-15"),
              millis("2099-01-31")),
          of(
              "GetUsersTerminalServiceProperties",
              "(&(objectCategory=person)(objectClass=user))",
              TestDomain.NOTABLE,
              List.of()),
          of("GetAllPrinters", "(objectClass=printQueue)"),

          // Computers
          of("GetAllComputers", "(&" + COMPUTER + ")"),
          of("GetManagedComputers", "(&(objectCategory=computer)(managedBy=*))"),
          of("GetUnManagedComputers", "(&(objectCategory=computer)(!(managedBy=*)))"),
          of(
              "GetRecentlyCreatedComputers",
              "(&" + COMPUTER + "(whenCreated>=" + SINCE + "))",
              SINCE),
          of(
              "GetRecentlyModifiedComputers",
              "(&" + COMPUTER + "(whenChanged>=" + SINCE + "))",
              SINCE),
          of(
              "GetInActiveComputers",
              "(&" + COMPUTER + "(pwdLastSet<=" + Expected.intervals("2024-01-01") + "))",
              millis("2024-01-01")),
          of(
              "GetInActiveObjects",
              ("(&"
                      + COMPUTER
                      + "(|(!(lastLogon=*))(lastLogon<=%1$d))"
                      + "(|(!(lastLogonTimestamp=*))(lastLogonTimestamp<=%1$d)))")
                  .formatted(Expected.intervals("2012-03-04")),
              TestDomain.HOST,
              millis("2012-03-04")),
          of(
              "GetOSBasedComputers",
              "(&"
                  + COMPUTER
                  + "(operatingSystem=Windows XP Professional)"
                  + "(operatingSystemServicePack=Service Pack 3))",
              "Windows XP Professional",
              "Service Pack 3"),

          // Mail
          of("GetMailBoxEnabledUsers", "(&" + BOX + ")"),
          of(
              "GetUsersWithoutMailBox",
              "(&(objectCategory=person)(objectClass=user)(!(&" + BOX + ")))"),
          of(
              "GetMailEnabledUsers",
              "(&(objectCategory=person)(objectClass=user)(mailNickname=*)(targetAddress=*))"),
          of("GetMailEnabledGroups", "(&(objectCategory=group)(mailNickname=*))"),
          of(
              "GetOWADisabledUsers",
              "(&" + BOX + "(|(protocolSettings=*http§0§1§*)(protocolSettings=*owa§0*)))"),
          of(
              "GetOWAEnabledUsers",
              "(&" + BOX + "(!(protocolSettings=*http§0§1§*))(!(protocolSettings=*owa§0*)))"),
          of("GetPOP3DisabledUsers", "(&" + BOX + "(protocolSettings=*POP3§0*))"),
          of("GetPOP3EnabledUsers", "(&" + BOX + "(!(protocolSettings=*POP3§0*)))"),
          of("GetIMAP4DisabledUsers", "(&" + BOX + "(protocolSettings=*IMAP4§0*))"),
          of("GetIMAP4EnabledUsers", "(&" + BOX + "(!(protocolSettings=*IMAP4§0*)))"),
          of(
              "GetOMAEnabledUsers",
              "(&"
                  + BOX
                  + "(!(msExchVersion=*))(!(msExchOmaAdminWirelessEnable"
                  + ALL_BITS
                  + "2)))"),
          of(
              "GetOMADisabledUsers",
              "(&" + BOX + "(msExchOmaAdminWirelessEnable" + ALL_BITS + "2))"),
          of(
              "GetSyncDisabledUsers",
              "(&"
                  + BOX
                  + "(msExchVersion=*)(!(cn=SystemMailbox*))(msExchOmaAdminWirelessEnable"
                  + ALL_BITS
                  + "4))"),
          of(
              "GetSyncEnabledUsers",
              "(&"
                  + BOX
                  + "(msExchVersion=*)(!(cn=SystemMailbox*))(!(msExchOmaAdminWirelessEnable"
                  + ALL_BITS
                  + "4)))"),
          of("GetUsersWithDefaultSendingLimit", "(&" + BOX + "(!(submissionContLength=*)))"),
          of("GetUsersWithRestrictedSendingLimit", "(&" + BOX + "(submissionContLength=*))"),
          of("GetUsersWithDefaultReceivingLimit", "(&" + BOX_OR_TARGET + "(!(delivContLength=*)))"),
          of("GetUsersWithRestrictedReceivingLimit", "(&" + BOX_OR_TARGET + "(delivContLength=*))"),
          of(
              "GetUsersWithMessageRestrictions",
              "(&"
                  + BOX_OR_TARGET
                  + "(|(authOrig=*)(unauthOrig=*)(dLMemSubmitPerms=*)(dLMemRejectPerms=*)))"),
          of(
              "GetUsersWithoutMessageRestrictions",
              "(&" + BOX_OR_TARGET + "(!(|(authOrig=*)(unauthOrig=*))))"),
          of("GetUsersWithDefaultRecipLimit", "(&" + BOX + "(!(msExchRecipLimit=*)))"),
          of("GetUsersWithRestrictedRecipLimit", "(&" + BOX + "(msExchRecipLimit=*))"),
          of(
              "GetUsersHideFromExchAddresslist",
              "(&" + BOX_OR_TARGET + "(msExchHideFromAddressLists=TRUE))"),
          of(
              "GetUsersWithoutDefaultStorageLimit",
              "(&(objectCategory=person)(objectClass=user)(mDBUseDefaults=FALSE))"),
          of(
              "GetUsersWithDefaultStorageLimit",
              "(&(objectCategory=person)(objectClass=user)(mDBUseDefaults=TRUE))"),
          of(
              "GetForwardToBasedUsers",
              "(&(objectCategory=person)(objectClass=user)(altRecipient=CN=Mail Contact,"
                  + TestDomain.MAIL
                  + "))",
              "CN=Mail Contact," + TestDomain.MAIL),
          of(
              "GetProxyAddressBasedUsers",
              "(&(objectCategory=person)(objectClass=user)(proxyAddresses=*@example.org))",
              "@example.org"),
          of(
              "GetProxyAddressBasedGroups",
              "(&(objectCategory=group)(proxyAddresses=*@example.org))",
              "@example.org"),
          of("GetMailEnabledContacts", "(&(objectClass=contact)(mailNickname=*)(targetAddress=*))"),
          of("GetAllContacts", "(objectClass=contact)"),

          // Organizational units
          of("GetOUs", "(|" + UNIT + "(objectClass=container)(objectClass=builtinDomain))"),
          of("GetAllOUs", UNIT),
          of("GetGPOLinkedOUs", "(&" + UNIT + "(gPLink=[LDAP*))"),
          of("GetGPOBlockedInheritanceOUs", "(&" + UNIT + "(gPOptions=1))"),
          of("GetRecentlyCreatedOUs", "(&" + UNIT + "(whenCreated>=" + SINCE + "))", SINCE),
          of("GetRecentlyModifiedOUs", "(&" + UNIT + "(whenChanged>=" + SINCE + "))", SINCE),

          // Groups and sites
          of("GetAllGroups", "(objectClass=group)"),
          of("GetGroups", "(objectClass=group)"),
          of("GetManagedGroups", "(&(objectClass=group)(managedBy=*))"),
          of("GetUnManagedGroups", "(&(objectClass=group)(!(managedBy=*)))"),
          of("GetAllSubnets", "(objectClass=subnet)", TestDomain.CONFIGURATION, List.of()));

  /** The report's entry in the library's own catalogue. */
  ReportCatalogue.Report described() {
    return catalogue().find(name).orElseThrow(() -> new AssertionError("no report " + name));
  }

  static PlainReport named(String name) {
    return ALL.stream().filter(report -> report.name().equals(name)).findFirst().orElseThrow();
  }

  static ReportCatalogue catalogue() {
    try {
      return ReportCatalogue.load();
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  private static PlainReport user(String name, String conditions, Object... arguments) {
    return of(name, "(&" + USER + conditions + ")", arguments);
  }

  private static PlainReport of(String name, String filter, Object... arguments) {
    return of(name, filter, TestDomain.BASE, List.of(arguments));
  }

  private static PlainReport of(String name, String filter, String base, List<Object> arguments) {
    return new PlainReport(name, base, filter, arguments);
  }

  private static long millis(String date) {
    return Instant.parse(date + "T00:00:00Z").toEpochMilli();
  }

  @Override
  public String toString() {
    return name;
  }
}
