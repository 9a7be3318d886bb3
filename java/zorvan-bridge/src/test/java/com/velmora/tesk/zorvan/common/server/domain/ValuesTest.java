package com.velmora.tesk.zorvan.common.server.domain;

import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.BASE;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.NOTABLE;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.ODD;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.TreeMap;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.aggregator.ArgumentsAccessor;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Values of the real directory as Java gets them. */
class ValuesTest {
  private static final String TERMINAL_SERVICES =
      "tsInheritInitialProgram tsIntialProgram tsWorkingDir tsProfilePath tsHomeDir tsHomeDirDrive"
          + " tsServerRemoteHomeDir tsAllowLogon tsDeviceClientDrives tsDeviceClientPrinters"
          + " tsDeviceClientDefaultPrinter tsTimeOutSettingsConnections"
          + " tsTimeOutSettingsDisConnections tsTimeOutSettingsIdle tsBrokenTimeOutSettings"
          + " tsReConnectSettings tsShadowSettings";

  private final Expected expected = Expected.get();

  private Properties account(String name, String... attributes) {
    return new Call().search(BASE, "(sAMAccountName=" + name + ")", attributes).onlyRow();
  }

  private static List<?> list(Properties row, String attribute) {
    return (List<?>) row.get(attribute);
  }

  /** That a row holds what the database has, and that the database has each attribute. */
  private void assertAsInDatabase(Ldif.Entry object, Properties row, List<String> attributes) {
    Map<String, Object> wanted = new TreeMap<>();
    for (String attribute : attributes) {
      List<Object> values = expected.values(object, attribute);
      assertFalse(values.isEmpty(), () -> object.dn() + " has no " + attribute);
      wanted.put(attribute, values);
    }
    assertEquals(wanted, new TreeMap<>(row));
  }

  @ParameterizedTest
  @CsvSource({
    "n.values, objectSid objectGUID whenCreated whenChanged uSNCreated uSNChanged instanceType"
        + " userAccountControl accountExpires pwdLastSet sAMAccountType"
        + " objectClass otherTelephone url postOfficeBox departmentNumber info countryCode c"
        + " userPrincipalName objectCategory distinguishedName name cn badPwdCount codePage",
    "n.mustchange, pwdLastSet",
    "n.expires.zero, accountExpires",
    "n.expiring, accountExpires",
    "n.locked, lockoutTime badPasswordTime badPwdCount",
    "n.hours.office, logonHours",
    "n.hours.always, logonHours",
    "n.hours.never, logonHours",
    "n.dialin.allowed, msNPAllowDialin msRADIUSFramedIPAddress msNPCallingStationID",
    "n.dialin.denied, msNPAllowDialin",
    "n.script, scriptPath profilePath homeDirectory homeDrive",
    "n.formula, displayName description title",
    "n.security.universal, groupType sAMAccountType",
    "m.system, msExchVersion msExchOmaAdminWirelessEnable homeMDB",
    "Domain Admins, isCriticalSystemObject adminCount objectSid",
  })
  void valuesAreThoseOfTheDatabase(String account, String names) {
    List<String> attributes = List.of(names.split(" "));
    Properties row = account(account, attributes.toArray(String[]::new));
    assertAsInDatabase(expected.account(account), row, attributes);
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      value = {
        "'' | maxPwdAge minPwdAge lockoutDuration lockoutThreshold ms-DS-MachineAccountQuota"
            + " pwdProperties objectSid isCriticalSystemObject",
        "CN=Hall Printer,OU=Notable,OU=Company, | printerName uNCName versionNumber",
        "CN=TRUSTED-SERVER-Farbe,CN=TRUSTED-SERVER,OU=Computers,OU=Company, | printerName printColor",
        "CN=User,CN=Schema,CN=Configuration, | schemaIDGUID governsID defaultHidingValue",
        "CN=Send-As,CN=Extended-Rights,CN=Configuration, | rightsGuid validAccesses appliesTo",
        "CN=2001:db8:10::/48,CN=Subnets,CN=Sites,CN=Configuration, | siteObject name",
        "CN=Strict,CN=Password Settings Container,CN=System, | msDS-MaximumPasswordAge"
            + " msDS-PasswordComplexityEnabled msDS-PSOAppliesTo",
      })
  void valuesOfOtherObjectsAreThoseOfTheDatabase(String relative, String names) {
    String dn = relative + BASE;
    List<String> attributes = List.of(names.split(" "));
    String name = expected.object(dn).texts("name").get(0);
    Properties row =
        new Call().search(dn, "(name=" + name + ")", attributes.toArray(String[]::new)).onlyRow();
    assertAsInDatabase(expected.object(dn), row, attributes);
  }

  @ParameterizedTest
  @CsvSource({
    "thumbnailPhoto, true",
    "photo, true",
    "jpegPhoto, true",
    "nTSecurityDescriptor, true",
    "telephoneNumber, false",
    "noSuchAttribute, false",
  })
  void attributeWithoutTextOrValueLeavesTheOthersAlone(String attribute, boolean hasValues) {
    Properties row = account("n.values", "cn", attribute, "sAMAccountName");
    assertEquals(hasValues ? List.of() : null, row.get(attribute));
    row.remove(attribute);
    assertEquals(Map.of("cn", List.of("Many Values"), "sAMAccountName", List.of("n.values")), row);
  }

  @Test
  void attributesAreKeysAsTheyWereAskedFor() {
    Properties row = account("n.chief", "OBJECTSID", "objectguid", "SamAccountName", "MEMBEROF");
    Ldif.Entry chief = expected.account("n.chief");
    assertEquals(expected.values(chief, "objectSid"), row.get("OBJECTSID"));
    assertEquals(expected.values(chief, "objectGUID"), row.get("objectguid"));
    assertEquals(List.of("n.chief"), row.get("SamAccountName"));
    assertEquals(3, list(row, "MEMBEROF").size());
    assertEquals(4, row.size(), row::toString);
  }

  @Test
  void emptyAttributeListGivesOneRowForEachObject() {
    Call report = new Call().users(TestDomain.settings(), NOTABLE);
    Call named = new Call().users(TestDomain.settings(), NOTABLE, "distinguishedName");
    assertEquals(named.rows.size(), report.rows.size());
    assertTrue(report.rows.size() > 50);
    assertEquals(named.rows, report.rows);
    assertTrue(report.errors.isEmpty(), report.errors::toString);
  }

  // ---- Names ----

  @Test
  void awkwardNamesAreWhole() {
    Call call =
        new Call()
            .search(ODD, "(objectClass=*)", "distinguishedName", "cn", "name", "ou", "member");
    Map<String, Properties> rows = call.byName();
    assertTrue(rows.size() > 20, () -> rows.size() + " rows");
    rows.forEach(
        (dn, row) -> {
          Ldif.Entry object = expected.object(dn);
          assertEquals(object.texts("name"), row.get("name"));
          assertEquals(object.texts("cn"), row.getOrDefault("cn", List.of()));
          assertEquals(expected.values(object, "member"), row.getOrDefault("member", List.of()));
        });
  }

  @Test
  void everyAwkwardNameCanBeTheBase() {
    List<String> wrong = new ArrayList<>();
    // One name is too long for a path.
    Call all =
        new Call()
            .search(ODD, "(&(objectClass=user)(!(sAMAccountName=o.deep)))", "distinguishedName");
    assertTrue(all.rows.size() > 18, () -> all.rows.size() + " names");
    for (String dn : Call.column(all.rows, "distinguishedName")) {
      Call one = new Call().users(TestDomain.settings(), dn, "distinguishedName");
      if (!one.errors.isEmpty()
          || !Call.column(one.rows, "distinguishedName").equals(List.of(dn))) {
        wrong.add(dn + ": " + one.rows + " " + one.errors);
      }
    }
    assertEquals(List.of(), wrong);
  }

  // ---- Attributes that point to objects ----

  @Test
  void linkedObjectsAreNestedPropertiesOrNames() {
    assertAsInDatabase(
        expected.account("n.managed"), account("n.managed", "managedBy"), List.of("managedBy"));
    assertAsInDatabase(
        expected.account("o.group"),
        account("o.group", "member", "managedBy"),
        List.of("member", "managedBy"));
    assertEquals(
        List.of("Deputy (Chief, acting)*"), account("n.report.one", "manager").get("manager"));
    Call mail =
        new Call()
            .search(
                TestDomain.MAIL,
                "(|(altRecipient=*)(publicDelegates=*)(authOrig=*)(unauthOrig=*)"
                    + "(dLMemSubmitPerms=*)(dLMemRejectPerms=*))",
                "distinguishedName",
                "altRecipient",
                "publicDelegates",
                "authOrig",
                "unauthOrig");
    HashSet<Object> seen = new HashSet<>();
    mail.byName()
        .forEach(
            (dn, row) -> {
              seen.addAll(row.keySet());
              List<String> keys = row.keySet().stream().map(String.class::cast).toList();
              assertAsInDatabase(expected.object(dn), row, keys);
            });
    assertEquals(5, seen.size(), () -> "only " + seen);
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      value = {
        "n.chief | CN=Domain Users,CN=Users",
        "n.report.one | CN=Domain Users,CN=Users",
        "n.group.none | CN=Domain Users,CN=Users",
        "n.group.primary | CN=Primary Only,OU=Notable,OU=Company",
        "PC7$ | CN=Domain Computers,CN=Users",
      })
  void primaryGroupIsTheLastOfTheGroups(String account, String primaryGroup) {
    Properties row = account(account, "memberOf", "primaryGroupID");
    Properties primary = expected.nested(primaryGroup + "," + BASE);
    List<?> groups = list(row, "memberOf");
    List<Object> others = expected.values(expected.account(account), "memberOf");
    assertEquals(primary, groups.get(groups.size() - 1));
    assertEquals(new HashSet<>(others), new HashSet<>(groups.subList(0, groups.size() - 1)));
    assertEquals(others.size() + 1, groups.size());
    assertEquals(List.of(primary.get("cn")), row.get("primaryGroupID"));
  }

  @Test
  void membersByPrimaryGroupAreMembers() {
    Properties row = account("n.primary", "member");
    assertEquals(
        List.of("CN=Primary Elsewhere Too," + NOTABLE, "CN=Primary Elsewhere," + NOTABLE),
        list(row, "member").stream()
            .map(member -> ((Properties) member).getProperty("distinguishedName"))
            .sorted()
            .toList());
  }

  @ParameterizedTest
  @ValueSource(strings = {"member", "Member"})
  void bigGroupIsComplete(String attribute) {
    List<?> members = list(account("biggroup", attribute), attribute);
    List<Object> wanted = expected.values(expected.account("biggroup"), "member");
    assertEquals(2500, wanted.size());
    assertEquals(wanted.size(), members.size());
    assertEquals(new HashSet<>(wanted), new HashSet<>(members));
  }

  // ---- Terminal services ----

  @DisabledOnOs(
      value = OS.WINDOWS,
      disabledReason = "Windows reads these settings by a call of its own, which Wine lacks")
  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      value = {
        "n.ts.full | 0|C:\\Tools\\start.exe|C:\\Tools|\\\\files\\profiles\\full|\\\\files\\home\\full"
            + "|H:|1|1|1|0|0|1800000|300000|900000|1|1|2",
        "n.ts.usual | 1||||||0|1|1|1|1|0|0|0|0|0|1",
        "n.ts.barred | 1||||||0|0|1|1|1|0|0|0|0|0|0",
        "n.ts.odd | 1|||\\\\dc1\\Büro\\Müller|||0|1|1|1|1|0|0|0|0|0|1",
        "n.ts.none | 1||||||0|1|1|1|1|0|0|0|0|0|1",
        "n.ts.dialin | 1||||||0|1|1|1|1|0|0|0|0|0|1",
      })
  void terminalServicesSettingsAreThoseSeeded(ArgumentsAccessor settings) {
    List<String> names = List.of(TERMINAL_SERVICES.split(" "));
    List<String> attributes = new ArrayList<>(List.of("sAMAccountName"));
    attributes.addAll(names);
    Properties row = account(settings.getString(0), attributes.toArray(String[]::new));
    Map<String, Object> wanted = new TreeMap<>();
    wanted.put("sAMAccountName", List.of(settings.getString(0)));
    for (int i = 0; i < names.size(); i++) {
      String value = settings.getString(i + 1);
      wanted.put(names.get(i), List.of(value == null ? "" : value));
    }
    assertEquals(wanted, new TreeMap<>(row));
  }
}
