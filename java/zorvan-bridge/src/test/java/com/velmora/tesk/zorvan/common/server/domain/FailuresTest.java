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

import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.time.Duration;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Set;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
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

  private static void assertRefused(Call call, String code, String key) {
    assertOneError(call, "SEVERE", code, key);
    assertEquals(List.of(), call.rows);
  }

  // ---- Credentials ----

  private static int wrongPasswordsOf(String account) {
    Properties row =
        new Call().search(BASE, "(sAMAccountName=" + account + ")", "badPwdCount").onlyRow();
    List<?> count = (List<?>) row.get("badPwdCount");
    return count == null ? 0 : Integer.parseInt((String) count.get(0));
  }

  @Test
  void wrongPasswordIsTriedOnce() {
    int before = wrongPasswordsOf(Expected.MISTYPED);
    // The same controller under both its names: the second must not be asked after a refusal.
    assertRefused(
        chief(TestDomain.settingsOf(Expected.MISTYPED, "wrong", HOST, ADDRESS)),
        LOGON_FAILURE,
        WRONG_PASSWORD);
    assertEquals(
        before + 1, wrongPasswordsOf(Expected.MISTYPED), "wrong passwords that the controller saw");
  }

  @Test
  void wrongPasswordWithAnAddressIsTriedOnce() {
    int before = wrongPasswordsOf(Expected.MISTYPED);
    assertRefused(
        chief(TestDomain.settingsOf(Expected.MISTYPED, "wrong", ADDRESS)),
        LOGON_FAILURE,
        WRONG_PASSWORD);
    assertEquals(
        before + 1, wrongPasswordsOf(Expected.MISTYPED), "wrong passwords that the controller saw");
  }

  @Test
  void disabledAndUnknownUsersAreRefused() {
    assertRefused(
        chief(
            TestDomain.settingsOf(
                TestDomain.property("disabledUserName"),
                TestDomain.password("disabledPasswordFile"))),
        LOGON_FAILURE,
        WRONG_PASSWORD);
    assertRefused(
        chief(TestDomain.settingsOf("nobody.of.that.name", "secret")),
        LOGON_FAILURE,
        WRONG_PASSWORD);
  }

  @ParameterizedTest
  @ValueSource(strings = {"expired", "mustchange", "locked", "pwexpired", "hours"})
  void accountsThatMayNotLogOnAreRefused(String why) {
    assertRefused(
        chief(
            TestDomain.settingsOf(
                Expected.REFUSED + why, TestDomain.password("readerPasswordFile"))),
        LOGON_FAILURE,
        WRONG_PASSWORD);
  }

  @Test
  void ordinaryUserMayRead() {
    assertFound(
        chief(
            TestDomain.settingsOf(
                TestDomain.property("readerUserName"), TestDomain.password("readerPasswordFile"))));
  }

  // ---- Controllers ----

  @Test
  void controllersThatAreDownArePassedOver() {
    String down = DOWN_HOSTS.get(0);
    assertFound(chief(TestDomain.settings(HOST, down, DOWN_HOSTS.get(1))));
    assertFound(chief(TestDomain.settings(down, HOST, DOWN_HOSTS.get(1))));
    assertFound(chief(TestDomain.settings(down, DOWN_HOSTS.get(2), HOST)));
    assertFound(chief(TestDomain.settings("x".repeat(300), HOST)));
    assertRefused(
        chief(TestDomain.settingsOf(Expected.MISTYPED, "wrong", down, HOST)),
        LOGON_FAILURE,
        WRONG_PASSWORD);
  }

  @Test
  void noControllerThatAnswersIsOneError() {
    assertRefused(
        chief(TestDomain.settings(DOWN_HOSTS.toArray(String[]::new))), SERVER_DOWN, SERVERS_DOWN);
    assertRefused(chief(TestDomain.settings("no.such.host.invalid")), SERVER_DOWN, SERVERS_DOWN);
  }

  @Test
  void controllerOfAReportThatIsDownIsAnError() {
    Map<String, String> codes =
        Map.of(DOWN_HOSTS.get(0), SERVER_DOWN, "x".repeat(300), BAD_PATHNAME);
    codes.forEach(
        (controller, code) -> {
          Call call = new Call();
          NativeLibraryLoader.handler()
              .GetNeverLoggedInUsers(
                  TestDomain.settings(), NOTABLE, Call.names("cn"), call, controller, call.errors);
          assertRefused(call, code, REPORT_FAILED);
        });
  }

  @Test
  void controllerThatNeverAnswersIsGivenUp() throws IOException {
    try (ServerSocket silent = new ServerSocket(0, 5, InetAddress.getByName("127.0.0.30"))) {
      Properties settings = TestDomain.settings("127.0.0.30:" + silent.getLocalPort(), HOST);
      Call call = new Call();
      assertTimeout(
          Duration.ofSeconds(20), () -> call.users(settings, "CN=Chief," + NOTABLE, "cn"));
      assertFound(call);
    }
  }

  @Test
  void connectionCutInMidPageLeavesTheRowsAndAWarning() throws IOException {
    Call all = new Call();
    long bytes;
    try (CuttingProxy proxy = new CuttingProxy(ADDRESS, 389, Long.MAX_VALUE)) {
      all.users(TestDomain.settings(proxy.address()), BASE, "distinguishedName", "description");
      bytes = proxy.carried();
    }
    // In the second page: a reset throws away what Windows has received and not read yet.
    try (CuttingProxy proxy = new CuttingProxy(ADDRESS, 389, bytes * 7 / 10)) {
      Call call = new Call();
      call.users(TestDomain.settings(proxy.address()), BASE, "distinguishedName", "description");
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
  }

  @Test
  void missingParameterIsAnError() {
    Call call = new Call();
    NativeLibraryLoader.handler()
        .GetManagerBasedUsers(
            TestDomain.settings(), NOTABLE, Call.names("cn"), call, null, call.errors);
    assertRefused(call, "80070057", REPORT_FAILED);
  }

  @ParameterizedTest
  @ValueSource(strings = {"(cn=", "(&(cn=a)", "(cn=a))", "((", "()", "(cn=\\zz)", "(&)(", ")"})
  void malformedFilterFindsNothing(String filter) {
    Call call = new Call().search(NOTABLE, filter, "cn");
    assertEquals(List.of(), call.rows);
    assertTrue(call.errors.isEmpty(), call.errors::toString);
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
    Call call = new Call();
    NativeLibraryLoader.handler()
        .GetLogonRestrictionUsers(
            TestDomain.settings(), BASE, Call.names("distinguishedName"), call, text, call.errors);
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    assertEquals(everybody.byName().keySet(), call.byName().keySet());
    Call none = new Call();
    NativeLibraryLoader.handler()
        .GetProxyAddressBasedUsers(
            TestDomain.settings(), BASE, Call.names("cn"), none, text, none.errors);
    assertTrue(none.errors.isEmpty(), none.errors::toString);
    assertEquals(List.of(), none.rows);
  }
}
