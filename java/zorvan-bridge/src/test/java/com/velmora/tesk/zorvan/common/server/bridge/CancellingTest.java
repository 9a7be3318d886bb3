package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.time.Duration;
import java.util.List;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Callers that want no more while the library waits for a directory. */
@InBridgeLoader
@Timeout(15)
class CancellingTest {
  private static final int SOME = 6;

  private final CannedDomain domain = new CannedDomain();
  private final AtomicInteger asked = new AtomicInteger();

  private boolean askedSomeTimes() {
    return asked.incrementAndGet() >= SOME;
  }

  private void run(String controller, String base, boolean search) {
    domain.settings.put(DomainSettings.DOMAIN_CONTROLLER_LIST, names(controller, "dc2"));
    if (search) {
      domain
          .handler()
          .GetObjects(domain.settings, base, "rows=3", names("cn"), domain.listener, domain.errors);
    } else {
      domain.handler().GetUsers(domain.settings, base, names("cn"), domain.listener, domain.errors);
    }
  }

  @ParameterizedTest
  @CsvSource({
    "silent, DC=canned, false, 0",
    "silent, DC=canned, true, 0",
    "dc1, OU=silent, false, 3",
    "dc1, OU=silent, true, 3"
  })
  void listenerThatHasEnoughEndsTheWaitWithoutAnError(
      String controller, String base, boolean search, int rows) {
    domain.completed = this::askedSomeTimes;
    run(controller, base, search);
    assertEquals(rows, domain.rows.size());
    assertEquals(List.of(), domain.errors.entries());
    assertEquals(SOME, asked.get(), "it is not asked again");
    assertFalse(domain.logged("dc2"), "the next controller is not asked");
    assertFalse(domain.logged("800704c7"), "what the caller wanted is no failure");
  }

  @ParameterizedTest
  @CsvSource({
    "silent, DC=canned, false, SEVERE",
    "silent, DC=canned, true, SEVERE",
    "dc1, OU=silent, false, WARNING",
    "dc1, OU=silent, true, WARNING"
  })
  void interruptEndsTheWaitWithOneError(
      String controller, String base, boolean search, String severity) {
    domain.completed =
        () -> {
          if (askedSomeTimes()) {
            Thread.currentThread().interrupt();
          }
          return false;
        };
    run(controller, base, search);
    assertTrue(Thread.interrupted(), "the status of the thread");
    assertEquals(
        List.of(new NativeError.Entry("canned", severity, "800704c7", "", null)),
        domain.errors.entries());
    assertEquals(severity.equals("WARNING") ? 3 : 0, domain.rows.size(), "rows");
    assertTrue(domain.logged("The thread was interrupted"));
    assertFalse(domain.logged("dc2"), "the next controller is not asked");
  }

  @Test
  void interruptEndsTheFlowOfRows() {
    domain.beforeRow = () -> Thread.currentThread().interrupt();
    domain.search("rows=100000000", "cn");
    assertTrue(Thread.interrupted(), "the status of the thread");
    assertFalse(domain.errors.entries().get(0).isSevere(), "there are rows");
    assertEquals("800704c7", domain.errors.entries().get(0).code());
  }

  @Test
  void whatTheListenerThrowsEndsTheWait() {
    Error thrown = new OutOfMemoryError("thrown by the test");
    domain.completed =
        () -> {
          if (askedSomeTimes()) {
            domain.log.clear();
            throw thrown;
          }
          return false;
        };
    assertSame(
        thrown, assertThrows(OutOfMemoryError.class, () -> run("silent", "DC=canned", false)));
    assertEquals(List.of(), domain.log);
    assertTrue(domain.errors.isEmpty(), domain.errors::toString);
  }

  @Test
  void searchGivesItsFirstRowAlthoughTheListenerHasEnoughFromTheStart() {
    domain.completed = () -> true;
    run("slow", "DC=canned", true);
    assertEquals(1, domain.rows.size(), "rows of a search");
    run("slow", "DC=canned", false);
    assertEquals(1, domain.rows.size(), "rows of a report besides");
    assertTrue(domain.errors.isEmpty(), domain.errors::toString);
  }

  @Test
  void searchEndsBeforeItsFirstRowWhenTheListenerGetsEnough() {
    domain.completed = () -> asked.incrementAndGet() > 1;
    run("slow", "DC=canned", true);
    assertEquals(0, domain.rows.size());
    assertTrue(domain.errors.isEmpty(), domain.errors::toString);
  }

  @Test
  void theListenerIsNotAskedWithEveryLookAtTheNetwork() {
    domain.completed = this::askedSomeTimes;
    long begin = System.nanoTime();
    run("silent", "DC=canned", false);
    Duration waited = Duration.ofNanos(System.nanoTime() - begin);
    assertTrue(waited.toMillis() >= 100 * (SOME - 1), waited::toString);
  }
}
