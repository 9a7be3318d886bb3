package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import org.junit.jupiter.api.Test;

/** What a call tells besides rows and errors, and the terms that it is told. */
@InBridgeLoader
class NoticesTest {
  private final CannedDomain domain = new CannedDomain();

  private void assertNoticesInTheLog() {
    assertTrue(domain.logged("The list of CN=Zo\u00EB is not whole", "member", "1500"));
    assertTrue(domain.logged("CN=Ann was asked for at dc2"));
    assertEquals(3, domain.rows.size(), "rows");
  }

  @Test
  void noticesArriveAsDataAndAsLines() {
    domain.search("notices", "cn");
    assertEquals(
        List.of(
            new NativeError.Notice("ListCut", "CN=Zo\u00EB", "member", 1500),
            new NativeError.Notice("ReferralFollowed", "CN=Ann", "dc2", 0)),
        domain.errors.notices());
    assertTrue(domain.errors.isEmpty(), "a notice is no error");
    assertNoticesInTheLog();
  }

  @Test
  void noticesWithoutAListAreLinesOnly() {
    domain
        .handler()
        .GetObjects(domain.settings, "DC=canned", "notices", names("cn"), domain.listener, null);
    assertNoticesInTheLog();
  }

  @Test
  void whatAddNoticeThrowsReachesTheCaller() {
    Error thrown = new OutOfMemoryError("thrown by the test");
    NativeError errors =
        new NativeError() {
          @Override
          public synchronized void addNotice(
              String kind, String subject, String detail, long count) {
            domain.log.clear();
            throw thrown;
          }
        };
    assertSame(
        thrown,
        assertThrows(
            OutOfMemoryError.class,
            () ->
                domain
                    .handler()
                    .GetObjects(
                        domain.settings,
                        "DC=canned",
                        "notices",
                        names("cn"),
                        domain.listener,
                        errors)));
    assertEquals(0, domain.log.size() + domain.rows.size(), "lines and rows after it");
  }

  @Test
  void termsOfTheSettingsReachThePlatform() {
    domain.settings.putAll(
        DomainSettings.ofDomain("canned")
            .controllers(List.of("dc1"))
            .allowNtlm()
            .trustedAuthorities(Path.of("authorities.pem"))
            .connectTimeLimit(Duration.ofMillis(1))
            .idleTimeLimit(Duration.ofMillis(2))
            .callTimeLimit(Duration.ofMillis(3))
            .maxMessageBytes(4)
            .toProperties());
    domain.search("terms", "cn");
    NativeError.Notice terms = domain.errors.notices().get(0);
    assertEquals("1 0 1 2 3 4 ", terms.detail());
    assertEquals(Path.of("authorities.pem").toAbsolutePath().toString(), terms.subject());
  }

  @Test
  void absentTermsAreTheDefaultsAndNoLine() {
    domain.search("terms", "cn");
    assertEquals("0 0 10000 120000 0 67108864 ", domain.errors.notices().get(0).detail());
    for (String key : List.of("ALLOW", "TRUSTED", "LIMIT", "MAX_MESSAGE")) {
      assertTrue(!domain.logged(key), key);
    }
  }
}
