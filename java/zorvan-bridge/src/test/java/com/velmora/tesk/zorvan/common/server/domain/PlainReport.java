package com.velmora.tesk.zorvan.common.server.domain;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.time.Instant;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * A report with arguments, and a filter that finds the same objects in the server's database.
 *
 * @param name the method
 * @param base where it looks
 * @param filter written from what the report is to show, not from the library's own filter
 * @param arguments one for each parameter, chosen so that the report shows something but not all
 */
record PlainReport(String name, String base, String filter, List<Object> arguments) {
  private static final Map<String, String> SHORT_FORMS =
      Map.of(
          "ACCOUNT", "$PERSON(sAMAccountType=805306368)",
          "PERSON", "(objectCategory=person)(objectClass=user)",
          "BOX", "$PERSON(mailNickname=*)(|(homeMDB=*)(msExchHomeServerName=*))",
          "OR_TARGET",
              "$PERSON(mailNickname=*)(|(homeMDB=*)(msExchHomeServerName=*)(targetAddress=*))",
          "COMPUTER", "(objectCategory=computer)(objectClass=computer)",
          "BITS", ":1.2.840.113556.1.4.803:=",
          "HOST", TestDomain.HOST,
          "NOTABLE", TestDomain.NOTABLE,
          "MAIL", TestDomain.MAIL);
  private static final Pattern SHORT = Pattern.compile("\\$([A-Z_]+)");
  private static final Pattern DAY = Pattern.compile("\\{([^}]+)}");

  // NAME[@CONTAINER,] ; FILTER [; ARGUMENT]... with {DAY} in a filter for its count of intervals
  // since 1601, and a day or moment as an argument for its milliseconds since 1970.
  private static final String TABLE =
      """
      GetUsers ; (&$ACCOUNT)
      GetEnabledAccounts ; (&$ACCOUNT(!(userAccountControl$BITS2)))
      GetDisabledAccounts ; (&$ACCOUNT(userAccountControl$BITS2))
      GetSmartCardEnabledUsers ; (&$ACCOUNT(userAccountControl$BITS262144))
      GetDialInAccessAllowedUsers ; (&$ACCOUNT(msNPAllowDialin=TRUE))
      GetDialInAccessDeniedUsers ; (&$ACCOUNT(msNPAllowDialin=FALSE))
      GetPwdNotRequiredUsers ; (&$ACCOUNT(userAccountControl$BITS32))
      GetPwdNeverExpireUsers ; (&$ACCOUNT(userAccountControl$BITS65536))
      GetMustChangePwdUsers ; (&$PERSON(pwdLastSet=0))
      GetUsersWithScriptPath ; (&$ACCOUNT(scriptPath=*))
      GetUsersWithoutScriptPath ; (&$ACCOUNT(!(scriptPath=*)))
      GetAllManagerUsers ; (&$ACCOUNT(directReports=*))
      GetUnManagedUsers ; (&$ACCOUNT(!(manager=*)))
      GetManagerBasedUsers ; (&$ACCOUNT(|(sAMAccountName=n.report.one)(sAMAccountName=n.report.two))) ; CN=Deputy (Chief\\, acting)*,$NOTABLE
      GetUsersOfDomainUsersGroupOnly ; (&$ACCOUNT(primaryGroupID=513)(!(memberOf=*)))
      GetLogonRestrictionUsers ; (&$PERSON(userWorkstations=*)(!(|(userWorkstations=PC7)(userWorkstations=PC7,*)\
      (userWorkstations=*,PC7)(userWorkstations=*,PC7,*)))) ; PC7
      GetRecentlyCreatedUsers ; (&$ACCOUNT(whenCreated>=20200101000000.0Z)) ; 20200101000000.0Z
      GetRecentlyModifiedUsers ; (&$ACCOUNT(whenChanged>=20200101000000.0Z)) ; 20200101000000.0Z
      GetRecentlyPwdChangedUsers ; (&$ACCOUNT(!(pwdLastSet<={2024-06-01}))) ; 2024-06-01
      GetRecentlyPwdUnChangedUsers ; (&$ACCOUNT(pwdLastSet>=1)(!(pwdLastSet>={2018-05-05}))) ; 2018-05-05
      GetSoonToPasswordExpireUsers ; (&$ACCOUNT(!(userAccountControl$BITS65536))(!(pwdLastSet<={2010-01-01}))\
      (pwdLastSet<={2024-06-01})) ; 2010-01-01 ; 2024-06-01
      GetPasswordExpiredUsers ; (&$ACCOUNT(!(userAccountControl$BITS65536))(pwdLastSet>=1)(pwdLastSet<={2018-05-05})) ; 2018-05-05
      GetRecentlyBadLoginUsers ; (&$ACCOUNT(badPasswordTime>={2024-04-01})) ; $HOST ; 2024-04-01T00:00:00.999Z
      GetInActiveUsers ; (&$ACCOUNT(|(!(lastLogon=*))(lastLogon<={2019-07-01}))(|(!(lastLogonTimestamp=*))\
      (lastLogonTimestamp<={2019-07-01}))) ; $HOST ; 2019-07-01
      GetRecentlyLoggedOnUsers ; (&$ACCOUNT(|(lastLogon>={2024-01-15})(lastLogonTimestamp>={2024-01-15}))) ; $HOST ; 2024-01-15
      GetNeverLoggedInUsers ; (&$ACCOUNT(!(lastLogon>=1))(!(lastLogonTimestamp>=1))) ; $HOST
      GetAccountNeverExpiredUsers ; (&$ACCOUNT(|(accountExpires=0)(accountExpires=9223372036854775807)))
      GetAccountExpiredUsers ; (&$ACCOUNT(accountExpires>=1)(accountExpires<={2026-01-01}))
      GetRecentlyExpiredUsers ; (&$ACCOUNT(accountExpires>={2015-06-30})(accountExpires<={2020-01-01})) ; 2015-06-30 ; 2020-01-01
      GetSoonToExpireUsers ; (&$ACCOUNT(!(accountExpires<={2024-01-15}))(accountExpires<={2099-01-31})) ; 2024-01-15 ; 2099-01-31
      GetUsersTerminalServiceProperties@OU=Notable,OU=Company, ; (&$PERSON)
      GetAllPrinters ; (objectClass=printQueue)

      GetAllComputers ; (&$COMPUTER)
      GetDomainControllerObjects ; (&$COMPUTER(userAccountControl$BITS8192))
      GetComputerObjects ; (&$COMPUTER(userAccountControl$BITS4096))
      GetTrustedObjects ; (&$COMPUTER(userAccountControl$BITS524288))
      GetDisabledObjects ; (&$COMPUTER(userAccountControl$BITS2))
      GetManagedComputers ; (&(objectCategory=computer)(managedBy=*))
      GetUnManagedComputers ; (&(objectCategory=computer)(!(managedBy=*)))
      GetRecentlyCreatedComputers ; (&$COMPUTER(whenCreated>=20200101000000.0Z)) ; 20200101000000.0Z
      GetRecentlyModifiedComputers ; (&$COMPUTER(whenChanged>=20200101000000.0Z)) ; 20200101000000.0Z
      GetInActiveComputers ; (&$COMPUTER(pwdLastSet<={2024-01-01})) ; 2024-01-01
      GetInActiveObjects ; (&$COMPUTER(|(!(lastLogon=*))(lastLogon<={2012-03-04}))(|(!(lastLogonTimestamp=*))\
      (lastLogonTimestamp<={2012-03-04}))) ; $HOST ; 2012-03-04
      GetOSBasedComputers ; (&$COMPUTER(operatingSystem=Windows XP Professional)(operatingSystemServicePack=Service Pack 3)) ; \
      Windows XP Professional ; Service Pack 3

      GetMailBoxEnabledUsers ; (&$BOX)
      GetUsersWithoutMailBox ; (&$PERSON(!(&$BOX)))
      GetMailEnabledUsers ; (&$PERSON(mailNickname=*)(targetAddress=*))
      GetMailEnabledGroups ; (&(objectCategory=group)(mailNickname=*))
      GetOWADisabledUsers ; (&$BOX(|(protocolSettings=*http§0§1§*)(protocolSettings=*owa§0*)))
      GetOWAEnabledUsers ; (&$BOX(!(protocolSettings=*http§0§1§*))(!(protocolSettings=*owa§0*)))
      GetPOP3DisabledUsers ; (&$BOX(protocolSettings=*POP3§0*))
      GetPOP3EnabledUsers ; (&$BOX(!(protocolSettings=*POP3§0*)))
      GetIMAP4DisabledUsers ; (&$BOX(protocolSettings=*IMAP4§0*))
      GetIMAP4EnabledUsers ; (&$BOX(!(protocolSettings=*IMAP4§0*)))
      GetOMAEnabledUsers ; (&$BOX(!(msExchVersion=*))(!(msExchOmaAdminWirelessEnable$BITS2)))
      GetOMADisabledUsers ; (&$BOX(msExchOmaAdminWirelessEnable$BITS2))
      GetSyncDisabledUsers ; (&$BOX(msExchVersion=*)(!(cn=SystemMailbox*))(msExchOmaAdminWirelessEnable$BITS4))
      GetSyncEnabledUsers ; (&$BOX(msExchVersion=*)(!(cn=SystemMailbox*))(!(msExchOmaAdminWirelessEnable$BITS4)))
      GetUsersWithDefaultSendingLimit ; (&$BOX(!(submissionContLength=*)))
      GetUsersWithRestrictedSendingLimit ; (&$BOX(submissionContLength=*))
      GetUsersWithDefaultReceivingLimit ; (&$OR_TARGET(!(delivContLength=*)))
      GetUsersWithRestrictedReceivingLimit ; (&$OR_TARGET(delivContLength=*))
      GetUsersWithMessageRestrictions ; (&$OR_TARGET(|(authOrig=*)(unauthOrig=*)(dLMemSubmitPerms=*)(dLMemRejectPerms=*)))
      GetUsersWithoutMessageRestrictions ; (&$OR_TARGET(!(|(authOrig=*)(unauthOrig=*))))
      GetUsersWithDefaultRecipLimit ; (&$BOX(!(msExchRecipLimit=*)))
      GetUsersWithRestrictedRecipLimit ; (&$BOX(msExchRecipLimit=*))
      GetUsersHideFromExchAddresslist ; (&$OR_TARGET(msExchHideFromAddressLists=TRUE))
      GetUsersWithoutDefaultStorageLimit ; (&$PERSON(mDBUseDefaults=FALSE))
      GetUsersWithDefaultStorageLimit ; (&$PERSON(mDBUseDefaults=TRUE))
      GetForwardToBasedUsers ; (&$PERSON(altRecipient=CN=Mail Contact,$MAIL)) ; CN=Mail Contact,$MAIL
      GetProxyAddressBasedUsers ; (&$PERSON(proxyAddresses=*@example.org)) ; @example.org
      GetProxyAddressBasedGroups ; (&(objectCategory=group)(proxyAddresses=*@example.org)) ; @example.org
      GetMailEnabledContacts ; (&(objectClass=contact)(mailNickname=*)(targetAddress=*))
      GetAllContacts ; (objectClass=contact)

      GetOUs ; (|(objectClass=organizationalUnit)(objectClass=container)(objectClass=builtinDomain))
      GetAllOUs ; (objectClass=organizationalUnit)
      GetGPOLinkedOUs ; (&(objectClass=organizationalUnit)(gPLink=[LDAP*))
      GetGPOBlockedInheritanceOUs ; (&(objectClass=organizationalUnit)(gPOptions=1))
      GetRecentlyCreatedOUs ; (&(objectClass=organizationalUnit)(whenCreated>=20200101000000.0Z)) ; 20200101000000.0Z
      GetRecentlyModifiedOUs ; (&(objectClass=organizationalUnit)(whenChanged>=20200101000000.0Z)) ; 20200101000000.0Z

      GetAllGroups ; (objectClass=group)
      GetGroups ; (objectClass=group)
      GetManagedGroups ; (&(objectClass=group)(managedBy=*))
      GetUnManagedGroups ; (&(objectClass=group)(!(managedBy=*)))
      GetAllSubnets@CN=Configuration, ; (objectClass=subnet)
      """;

  static final List<PlainReport> ALL =
      TABLE.lines().filter(line -> !line.isBlank()).map(PlainReport::parse).toList();

  private static PlainReport parse(String line) {
    List<String> parts = Arrays.stream(line.split(" ; ")).map(PlainReport::spelledOut).toList();
    String[] place = (parts.get(0) + "@").split("@", -1);
    String filter =
        DAY.matcher(parts.get(1))
            .replaceAll(day -> String.valueOf(Expected.intervals(day.group(1))));
    List<Object> arguments = parts.stream().skip(2).map(PlainReport::argument).toList();
    return new PlainReport(place[0], place[1] + TestDomain.BASE, filter, arguments);
  }

  private static String spelledOut(String text) {
    String spelled =
        SHORT
            .matcher(text)
            .replaceAll(name -> Matcher.quoteReplacement(SHORT_FORMS.get(name.group(1))));
    return spelled.equals(text) ? text : spelledOut(spelled);
  }

  private static Object argument(String text) {
    if (!text.matches("\\d{4}-.*")) {
      return text;
    }
    return Instant.parse(text.length() == 10 ? text + "T00:00:00Z" : text).toEpochMilli();
  }

  /** The report's entry in the library's own catalogue. */
  ReportCatalogue.Report described() {
    return catalogue().find(name).orElseThrow(() -> new AssertionError("no report " + name));
  }

  static ReportCatalogue catalogue() {
    try {
      return ReportCatalogue.load();
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  @Override
  public String toString() {
    return name;
  }
}
