package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.util.ArrayList;
import java.util.Properties;
import java.util.concurrent.atomic.AtomicInteger;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/**
 * Whatever Java code throws while the library calls it reaches the caller, and nothing is called
 * after it. Listeners that throw are those of a real search (ListenerTest).
 */
@InBridgeLoader
class ThrowingCallbackTest {
  private final CannedDomain domain = new CannedDomain();
  private final RuntimeException thrown = new IllegalStateException("thrown by the test");

  private void assertThrown(Executable call) {
    assertSame(thrown, assertThrows(IllegalStateException.class, call));
  }

  @Test
  void logLineEndsTheCallWhereverItStands() {
    domain.search("rows=1", "cn");
    int lines = domain.log.size();
    assertTrue(lines > 10, "log lines of a whole call");
    for (int line = 1; line <= lines; line++) {
      AtomicInteger left = new AtomicInteger(line);
      domain.beforeLine =
          () -> {
            if (left.decrementAndGet() == 0) {
              throw thrown;
            }
          };
      assertThrown(() -> domain.search("rows=1", "cn"));
      assertEquals(0, left.get(), "lines after line " + line);
    }
    assertTrue(domain.errors.isEmpty(), "error entries");
  }

  @Test
  void exhaustedMemoryOfTheListenerEndsTheCall() {
    domain.beforeRow =
        () -> {
          domain.log.clear();
          long[][] tooMuch = {new long[Integer.MAX_VALUE], new long[Integer.MAX_VALUE]};
          assertEquals(0, tooMuch.length);
        };
    assertThrows(OutOfMemoryError.class, () -> domain.search("rows=3", "cn"));
    assertEquals(0, domain.rows.size() + domain.log.size(), "rows and lines after it");
    assertTrue(domain.errors.isEmpty(), "error entries");
  }

  @Test
  void errorListEndsTheCall() {
    domain.settings.put(DomainSettings.USER_NAME, "wrong");
    NativeError errors =
        new NativeError() {
          @Override
          public synchronized void setErrorList(
              Object objectName, String severity, Object code, Object key, Object message) {
            domain.log.clear();
            throw thrown;
          }
        };
    assertThrown(
        () ->
            domain
                .handler()
                .GetUsers(domain.settings, "DC=canned", names("cn"), domain.listener, errors));
    assertEquals(0, domain.log.size(), "log lines after the error entry");
    assertEquals(0, domain.rows.size(), "rows");
  }

  @Test
  void argumentsThatThrowEndTheCall() {
    ArrayList<String> list =
        new ArrayList<>() {
          @Override
          public int size() {
            return 3;
          }

          @Override
          public String get(int index) {
            throw thrown;
          }
        };
    Properties settings =
        new Properties() {
          @Override
          public synchronized Object get(Object key) {
            throw thrown;
          }
        };
    settings.putAll(domain.settings);
    ADHandler handler = domain.handler();
    assertThrown(() -> handler.GetUsers(settings, "", names("cn"), domain.listener, domain.errors));
    assertThrown(() -> handler.GetUsers(domain.settings, "", list, domain.listener, domain.errors));
    domain.settings.put(DomainSettings.DOMAIN_CONTROLLER_LIST, list);
    assertThrown(
        () -> handler.GetUsers(domain.settings, "", names("cn"), domain.listener, domain.errors));
    assertEquals(0, domain.rows.size(), "rows");
  }
}
