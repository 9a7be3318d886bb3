package com.velmora.tesk.zorvan.common.server.domain;

import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.ADDRESS;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.BASE;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.DNS_NAME;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.DOWN_HOSTS;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.HOST;
import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.NOTABLE;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTimeout;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.time.Duration;
import java.util.Collections;
import java.util.List;
import java.util.Properties;
import java.util.Set;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** What goes wrong between a caller and a real controller. */
@Timeout(60)
class FailuresTest {
  private static final String AUTHENTICATION = "halden.common_authentication.native.failure.";
  private static final String WRONG_PASSWORD = AUTHENTICATION + "username/password.wrong";
  private static final String SERVERS_DOWN = AUTHENTICATION + "given_servers_not_opertional";
  private static final String REPORT_FAILED = "halden.reports.native.failure.authentication";
  private static final String LOGON_FAILURE = "8007052e";
  private static final String SERVER_DOWN = "8007203a";
  private static final String BAD_PATHNAME = "80005000";

  private static Call chief(Properties settings) {
    return new Call().users(settings, "CN=Chief," + NOTABLE, "cn");
  }

  private static void assertFound(Call call) {
    assertEquals(List.of("Chief"), call.onlyRow().get("cn"));
  }

  private static void assertOneError(Call call, String severity, String code, String key) {
    assertEquals(1, call.errors.entries().size(), call.errors::toString);
    NativeError.Entry entry = call.errors.entries().get(0);
    assertEquals(
        List.of(DNS_NAME, severity, code, key),
        List.of(entry.objectName(), entry.severity(), entry.code(), entry.key()));
  }

  private static List<String> failures(Call call) {
    return call.errors.notices().stream()
        .filter(notice -> notice.kind().endsWith("Failed"))
        .map(notice -> notice.kind() + " " + Long.toHexString(notice.count()))
        .toList();
  }

  private static void assertRefused(Call call, String code, String key) {
    assertOneError(call, "SEVERE", code, key);
    assertEquals(List.of(), call.rows);
  }

  private static void assertLogonRefused(String user, String password, String... controllers) {
    assertRefused(
        chief(TestDomain.settingsOf(user, password, controllers)), LOGON_FAILURE, WRONG_PASSWORD);
  }

  /** A report with one parameter. */
  private static Call of(String name, String base, String argument) {
    PlainReport report = new PlainReport(name, base, "", Collections.singletonList(argument));
    return new Call().report(report, TestDomain.settings(), List.of("distinguishedName"));
  }

  // ---- Credentials ----

  private static int wrongPasswordsOf(String account) {
    Properties row =
        new Call().search(BASE, "(sAMAccountName=" + account + ")", "badPwdCount").onlyRow();
    List<?> count = (List<?>) row.get("badPwdCount");
    return count == null ? 0 : Integer.parseInt((String) count.get(0));
  }

  // The same controller under both its names: the second must not be asked after a refusal.
  @Test
  void wrongPasswordIsTriedOnce() {
    int before = wrongPasswordsOf(Expected.MISTYPED);
    assertLogonRefused(Expected.MISTYPED, "wrong", HOST, ADDRESS);
    assertLogonRefused(Expected.MISTYPED, "wrong", ADDRESS);
    assertEquals(before + 2, wrongPasswordsOf(Expected.MISTYPED), "as the controller counts them");
  }

  @Test
  void accountsThatMayNotLogOnAreRefused() {
    assertLogonRefused(
        TestDomain.property("disabledUserName"), TestDomain.password("disabledPasswordFile"));
    assertLogonRefused(Expected.REFUSED + "locked", TestDomain.password("readerPasswordFile"));
    assertLogonRefused("nobody.of.that.name", "secret");
    Call disabled =
        chief(
            TestDomain.settingsOf(
                TestDomain.property("disabledUserName"),
                TestDomain.password("disabledPasswordFile")));
    assertEquals(List.of("ControllerFailed " + LOGON_FAILURE), failures(disabled));
    // Wine's directory interface gives no reasons.
    assertEquals(OS.WINDOWS.isCurrentOs(), disabled.errors.notices().get(0).detail().isEmpty());
  }

  // ---- Controllers ----

  @Test
  void controllersThatAreDownArePassedOver() {
    String down = DOWN_HOSTS.get(0);
    assertFound(chief(TestDomain.settings(HOST, down, DOWN_HOSTS.get(1))));
    assertFound(chief(TestDomain.settings(down, HOST, DOWN_HOSTS.get(1))));
    assertFound(chief(TestDomain.settings(down, DOWN_HOSTS.get(2), HOST)));
    assertFound(chief(TestDomain.settings("x".repeat(300), HOST)));
    assertLogonRefused(Expected.MISTYPED, "wrong", down, HOST);
  }

  @ParameterizedTest
  @ValueSource(
      strings = {"", " ", "a\0b", "[::1", "host/path", "127.0.0.1:", "127.0.0.1:99999", "LONG"})
  void oddNameOfAControllerIsOneErrorAndNoRow(String name) {
    Call call = chief(TestDomain.settings(name.equals("LONG") ? "x".repeat(300) : name));
    assertEquals(1, call.errors.entries().size(), call.errors::toString);
    assertTrue(call.errors.entries().get(0).isSevere());
    assertEquals(List.of(), call.rows);
  }

  @Test
  void noControllerThatAnswersIsOneError() {
    assertRefused(
        chief(TestDomain.settings(DOWN_HOSTS.toArray(String[]::new))), SERVER_DOWN, SERVERS_DOWN);
    assertRefused(chief(TestDomain.settings("no.such.host.invalid")), SERVER_DOWN, SERVERS_DOWN);
  }

  @Test
  void controllerOfAReportThatIsDownIsAnError() {
    assertRefused(
        of("GetNeverLoggedInUsers", NOTABLE, DOWN_HOSTS.get(0)), SERVER_DOWN, REPORT_FAILED);
    assertRefused(
        of("GetNeverLoggedInUsers", NOTABLE, "x".repeat(300)), BAD_PATHNAME, REPORT_FAILED);
  }

  @Test
  void controllerThatNeverAnswersIsGivenUp() throws IOException {
    try (ServerSocket silent = new ServerSocket(0, 5, InetAddress.getByName("127.0.0.30"))) {
      Properties settings = TestDomain.settings("127.0.0.30:" + silent.getLocalPort(), HOST);
      settings.remove(DomainSettings.CONNECT_TIME_LIMIT);
      Call call = new Call();
      assertTimeout(
          Duration.ofSeconds(20), () -> call.users(settings, "CN=Chief," + NOTABLE, "cn"));
      assertFound(call);
    }
  }

  // A proxy passes on LDAP alone, so that only NTLM can log on through it.
  private static Properties behind(CuttingProxy proxy) {
    Properties settings = TestDomain.settings(proxy.address());
    settings.put(DomainSettings.ALLOW_NTLM, "true");
    return settings;
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = "the system itself chooses NTLM there")
  void controllerWithoutKerberosIsPassedOverAndNotAskedByNtlm() throws IOException {
    try (CuttingProxy proxy = new CuttingProxy(ADDRESS, 389, Long.MAX_VALUE)) {
      assertFound(chief(TestDomain.settings(proxy.address(), HOST)));
      assertRefused(chief(TestDomain.settings(proxy.address())), SERVER_DOWN, SERVERS_DOWN);
    }
  }

  @Test
  void connectionCutInMidPageLeavesTheRowsAndAWarning() throws IOException {
    Call all = new Call();
    long bytes;
    try (CuttingProxy proxy = new CuttingProxy(ADDRESS, 389, Long.MAX_VALUE)) {
      all.users(behind(proxy), BASE, "distinguishedName", "description");
      bytes = proxy.carried();
    }
    // In the second page: a reset throws away what Windows has received and not read yet.
    try (CuttingProxy proxy = new CuttingProxy(ADDRESS, 389, bytes * 7 / 10)) {
      Call call = new Call();
      call.users(behind(proxy), BASE, "distinguishedName", "description");
      assertTrue(proxy.hasCut(), "the whole answer was smaller than expected");
      assertTrue(call.rows.size() > 10, () -> call.rows.size() + " rows, " + call.errors);
      assertTrue(call.rows.size() < all.rows.size(), () -> call.rows.size() + " rows");
      assertEquals(
          Set.of(), missing(call.sortedColumn("distinguishedName"), all.byName().keySet()));
      assertOneError(call, "WARNING", SERVER_DOWN, REPORT_FAILED);
    }
    assertFound(chief(TestDomain.settings()));
  }

  private static Set<String> missing(Set<String> some, Set<String> all) {
    some.removeAll(all);
    return some;
  }

  // ---- Bases and filters ----

  @ParameterizedTest
  @CsvSource(
      delimiter = '|',
      nullValues = "NULL",
      value = {
        "OU=Nowhere,DC=zorvan,DC=test | 80072030",
        "DC=example,DC=com | 80072030",
        "this is no name | 80005000",
        "CN=Chief,,DC=zorvan | 80072032",
        "NULL | 80005000",
        "LONG | 80005000",
      })
  void baseThatCannotBeOpenedIsAnErrorOfAReportOnly(String given, String code) {
    String base = "LONG".equals(given) ? "OU=" + "x".repeat(5000) + "," + BASE : given;
    Call report = new Call().users(TestDomain.settings(), base, "cn");
    assertRefused(report, code, REPORT_FAILED);
    Call search = new Call().search(base, "(objectClass=*)", "cn");
    assertEquals(List.of(), search.rows);
    assertTrue(search.errors.isEmpty(), search.errors::toString);
    for (Call call : List.of(report, search)) {
      assertEquals(List.of("OpenFailed " + code), failures(call));
    }
  }

  @Test
  void missingParameterIsAnError() {
    assertRefused(of("GetManagerBasedUsers", NOTABLE, null), "80070057", "");
  }

  @ParameterizedTest
  @ValueSource(strings = {"(cn=", "(&(cn=a)", "(cn=a))", "((", "()", "(cn=\\zz)", "(&)(", ")"})
  void malformedFilterFindsNothing(String filter) {
    Call call = new Call().search(NOTABLE, filter, "cn");
    assertEquals(List.of(), call.rows);
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    // A backslash that begins no escape is text, so that filter is sent.
    boolean sent = filter.contains("\\");
    assertEquals(sent ? List.of() : List.of("SearchFailed 80005014"), failures(call));
  }

  @ParameterizedTest
  @ValueSource(
      strings = {"*", "PC*", "x)(cn=*", "x))(|(cn=*", "\\2a", "\\", "(", ")", "*)(&", "QQ\0"})
  void parametersAreTextAndNoPartOfTheFilter(String text) {
    // Nobody's list holds such a name, so that all users with a list are shown.
    Call everybody =
        new Call()
            .search(
                BASE,
                "(&(objectCategory=person)(objectClass=user)(userWorkstations=*))",
                "distinguishedName");
    Call call = of("GetLogonRestrictionUsers", BASE, text);
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    assertEquals(everybody.byName().keySet(), call.byName().keySet());
    Call none = of("GetProxyAddressBasedUsers", BASE, text);
    assertTrue(none.errors.isEmpty(), none.errors::toString);
    assertEquals(List.of(), none.rows);
  }
}
