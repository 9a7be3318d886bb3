package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.SERVERS_DOWN;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.io.IOException;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * The product's own library with controllers that cannot be spoken to: ports of loopback where
 * nobody listens, and odd names.
 */
@Timeout(30)
class UnreachableControllerTest {
  private final NativeError errors = new NativeError();
  private final NativeListener noRows =
      new NativeListener() {
        @Override
        public void addRow(Properties row) {
          throw new AssertionError("a row: " + row);
        }

        @Override
        public boolean isCompleted() {
          return false;
        }
      };

  private void report(String... controllers) {
    Properties settings =
        DomainSettings.ofDomain("example.com")
            .controllers(List.of(controllers))
            .user("EXAMPLE\\admin", "secret".toCharArray())
            .toProperties();
    assertNull(
        NativeLibraryLoader.handler()
            .GetDisabledAccounts(
                settings, "DC=example,DC=com", new ArrayList<>(List.of("cn")), noRows, errors));
  }

  private static String closedPort() throws IOException {
    try (ServerSocket socket = new ServerSocket(0, 1, InetAddress.getLoopbackAddress())) {
      return "127.0.0.1:" + socket.getLocalPort();
    }
  }

  private void assertOneError(String key) {
    assertEquals(List.of(key), errors.entries().stream().map(NativeError.Entry::key).toList());
    assertEquals("example.com", errors.entries().get(0).objectName());
  }

  @Test
  void controllersThatAreAllDownAreOneError() throws IOException {
    report(closedPort(), closedPort(), closedPort());
    assertOneError(SERVERS_DOWN);
    assertEquals("8007203a", errors.entries().get(0).code());
  }

  @Test
  void noControllerAtAllIsTheSameError() {
    report();
    assertOneError(SERVERS_DOWN);
  }

  @ParameterizedTest
  @ValueSource(
      strings = {"", " ", "a\0b", "[::1", "host/path", "127.0.0.1:", "127.0.0.1:99999", "long"})
  void oddNameIsOneErrorAndNoRow(String name) {
    report(name.equals("long") ? "x".repeat(300) : name);
    assertEquals(1, errors.entries().size(), errors.toString());
    assertTrue(errors.entries().get(0).isSevere());
  }
}
