package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.PROBLEM;
import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.SERVERS_DOWN;
import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.WRONG_PASSWORD;
import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** What a caller can pass wrongly: the call says so and ends, or goes on without the value. */
@InBridgeLoader
class BadInputTest {
  private final CannedDomain domain = new CannedDomain();

  @Test
  void nullSettingsAreAnErrorWithoutAName() {
    assertNull(
        domain.handler().GetUsers(null, "DC=canned", names("cn"), domain.listener, domain.errors));
    assertTrue(domain.logged("No domain settings were passed"));
    assertEquals(
        List.of(new NativeError.Entry("", "SEVERE", "80070057", PROBLEM, null)),
        domain.errors.entries());
  }

  @Test
  void emptySettingsHaveNoController() {
    domain.settings.clear();
    domain.search("rows=1", "sAMAccountName");
    assertEquals(List.of(SERVERS_DOWN), domain.errorKeys());
    assertTrue(domain.logged("DOMAIN_CONTROLLER_LIST is absent"));
  }

  private static final String NAMES =
      "DOMAIN_NAME USER_DOMAIN_NAME USER_NAME USER_DISTINGUISHED_NAME PASSWORD"
          + " DOMAIN_FUNCTIONAL_LEVEL IS_AUTHENTICATION_REQUIRED GC_LIST";
  private static final String CONTEXTS =
      "DEFAULT_NAMING_CONTEXT ROOT_DOMAIN_NAMING_CONTEXT SCHEMA_NAMING_CONTEXT"
          + " CONFIGURATION_NAMING_CONTEXT";

  /** A call with one setting changed. */
  private static CannedDomain with(String key, Object value) {
    CannedDomain domain = new CannedDomain();
    domain.settings.put(key, value);
    domain.search("rows=1", "sAMAccountName");
    return domain;
  }

  @Test
  void settingOfAnotherClassIsTakenAsAbsent() {
    for (String key : (NAMES + " " + CONTEXTS + " ACCOUNT_LOOKUP_STATUS").split(" ")) {
      CannedDomain domain = with(key, new StringBuilder("odd"));
      assertTrue(domain.logged("The domain setting " + key, "is taken as absent"), key);
      assertEquals(1, domain.rows.size(), key);
      assertEquals(List.of(), domain.errorKeys(), key);
    }
  }

  @Test
  void overLongSettingFailsTheCallAndNamesKeyAndCapacity() {
    for (String key : NAMES.split(" ")) {
      assertHolds(key, 99);
    }
    for (String key : CONTEXTS.split(" ")) {
      assertHolds(key, 259);
    }
  }

  private static void assertHolds(String key, int most) {
    for (int length : List.of(most, most + 1)) {
      // Only a logon name in this field is used.
      String text = (key.equals("USER_DISTINGUISHED_NAME") ? "\\" : "x") + "x".repeat(length - 1);
      CannedDomain domain = with(key, key.equals("GC_LIST") ? names(text) : text);
      boolean fits = length == most;
      assertEquals(!fits, domain.logged(key, "its field holds " + (most + 1)), key);
      assertTrue(!key.equals("PASSWORD") || !domain.logged("xxxx"), "the password is in the log");
      // The longest default context fits its field, but no path.
      boolean answered = fits && !key.startsWith("DEFAULT");
      assertEquals(answered ? List.of() : List.of(PROBLEM), domain.errorKeys(), key);
      assertEquals(answered ? 1 : 0, domain.rows.size(), key);
    }
  }

  @Test
  void distinguishedNameThatIsNoLogonNameMayHaveAnyLength() {
    CannedDomain domain =
        with(DomainSettings.USER_DISTINGUISHED_NAME, "CN=" + "x".repeat(300) + ",DC=canned");
    assertEquals(1, domain.rows.size());
    assertEquals(List.of(), domain.errorKeys());
  }

  @Test
  void passwordIsAnArrayOrAText() {
    assertEquals(List.of(WRONG_PASSWORD), with("PASSWORD", "refused").errorKeys());
    char[] array = "refused".toCharArray();
    CannedDomain refused = with("PASSWORD", array);
    assertEquals(List.of(WRONG_PASSWORD), refused.errorKeys());
    assertTrue(!refused.logged("PASSWORD"), "an array is nothing odd");
    assertEquals("refused", String.valueOf(array), "wiping is for whoever made it");
    assertEquals(1, with("PASSWORD", "right".toCharArray()).rows.size());
    assertEquals(1, with("PASSWORD", new char[0]).rows.size());
    CannedDomain tooLong = with("PASSWORD", "p".repeat(100).toCharArray());
    assertEquals(List.of(PROBLEM), tooLong.errorKeys());
    assertTrue(tooLong.logged("PASSWORD has 100 characters"));
    assertTrue(!tooLong.logged("ppp"), "the password is in the log");
  }

  @Test
  void arrayComesBeforeATextOfTheDefaults() {
    Properties defaults = new Properties();
    defaults.setProperty(DomainSettings.PASSWORD, "refused");
    Properties settings = new Properties(defaults);
    settings.putAll(domain.settings);
    domain.handler().GetUsers(settings, "DC=canned", names("cn"), domain.listener, domain.errors);
    assertEquals(List.of(), domain.errorKeys());
    DomainSettings.wipe(settings);
    domain.handler().GetUsers(settings, "DC=canned", names("cn"), domain.listener, domain.errors);
    assertEquals(List.of(WRONG_PASSWORD), domain.errorKeys());
  }

  @Test
  void termOfAnotherClassRefusesTheCall() {
    Map<String, Object> odd =
        Map.of(
            "ALLOW_NTLM",
            true,
            "ALLOW_RC4",
            1,
            "TRUSTED_AUTHORITIES",
            Path.of("authorities.pem"),
            "CONNECT_TIME_LIMIT",
            "5000",
            "IDLE_TIME_LIMIT",
            5000L,
            "CALL_TIME_LIMIT",
            Duration.ofSeconds(5),
            "MAX_MESSAGE_BYTES",
            1.5);
    odd.forEach(
        (key, value) -> {
          CannedDomain domain = with(key, value);
          assertTrue(domain.logged("The domain setting " + key + " is no "), key);
          assertEquals(List.of(PROBLEM), domain.errorKeys(), key);
          assertEquals("80070057", domain.errors.entries().get(0).code());
          assertEquals(0, domain.rows.size(), key);
        });
  }

  @Test
  void settingOfTheDefaultsCounts() {
    Properties defaults = new Properties();
    defaults.setProperty(DomainSettings.USER_NAME, "wrong");
    Properties settings = new Properties(defaults);
    settings.putAll(domain.settings);
    settings.remove(DomainSettings.USER_NAME);
    domain.handler().GetUsers(settings, "DC=canned", names("cn"), domain.listener, domain.errors);
    assertEquals(List.of(WRONG_PASSWORD), domain.errorKeys());
  }

  @Test
  void controllersThatAreNoNamesAreLeftOut() {
    List<Object> controllers = Arrays.asList(null, 7, "down1", "x".repeat(300), "dc2");
    CannedDomain domain = with(DomainSettings.DOMAIN_CONTROLLER_LIST, new ArrayList<>(controllers));
    assertTrue(domain.logged("Element 0 of DOMAIN_CONTROLLER_LIST"), "null element");
    assertTrue(domain.logged("Element 1 of DOMAIN_CONTROLLER_LIST"), "number");
    assertTrue(domain.logged("ValidDC 1.dc2"), "the controller that answers");
    assertEquals(1, domain.rows.size(), "rows");
  }

  @Test
  void controllersOfWhichNoneAnswersAreOneError() {
    for (Object none : List.of(names(), names("down1", "down2"), names("x".repeat(300)), "dc1")) {
      CannedDomain domain = with(DomainSettings.DOMAIN_CONTROLLER_LIST, none);
      assertEquals(List.of(SERVERS_DOWN), domain.errorKeys(), none.toString());
      assertEquals("canned", domain.errors.entries().get(0).objectName());
      assertEquals(0, domain.rows.size(), "rows");
    }
  }

  @Test
  void attributesThatAreNoNamesAreLeftOut() {
    @SuppressWarnings({"unchecked", "rawtypes"})
    ArrayList<String> mixed = new ArrayList(Arrays.asList(null, 5, "sAMAccountName"));
    domain
        .handler()
        .GetObjects(domain.settings, "DC=canned", "rows=1", mixed, domain.listener, domain.errors);
    assertEquals("{sAMAccountName=[user1]}", domain.rows.get(0).toString());
    assertTrue(domain.logged("Element 0 of the list of attributes"));
    assertTrue(domain.logged("Total Count of Attributes : 1"));
  }

  @Test
  void nullAttributesBaseAndFilterAreTakenAsEmpty() {
    domain.handler().GetObjects(domain.settings, null, null, null, domain.listener, domain.errors);
    assertTrue(domain.logged("No list of attributes was passed"));
    assertTrue(domain.logged("Total Count of Attributes : 0"));
    assertEquals(3, domain.rows.size(), "rows");
  }

  @Test
  void nullListenerIsLogged() {
    assertNull(
        domain
            .handler()
            .GetObjects(domain.settings, "DC=canned", "rows=1", names("cn"), null, domain.errors));
    assertTrue(domain.logged("No listener was passed"));
    assertTrue(!domain.logged("Search String is"), "the search ran");
  }

  @Test
  void errorWithoutAnErrorListIsLogged() {
    domain.settings.put(DomainSettings.USER_NAME, "wrong");
    domain.handler().GetUsers(domain.settings, "", names("cn"), domain.listener, null);
    assertTrue(domain.logged("8007052e", WRONG_PASSWORD, "canned"));
    domain.handler().GetUsers(null, "", names("cn"), domain.listener, null);
    assertTrue(domain.logged("80070057", PROBLEM));
  }

  @ParameterizedTest
  @CsvSource({"throw, canned failure, 8000ffff", "exhaust, out of memory, 8007000e"})
  void exceptionInsideTheLibraryBecomesALogLineAndAnError(String filter, String what, String code) {
    assertNull(domain.search(filter, "cn"));
    assertTrue(domain.logged("The call ended in an exception", what), "log line");
    assertEquals(
        List.of(new NativeError.Entry("", "SEVERE", code, PROBLEM, null)), domain.errors.entries());
  }
}
