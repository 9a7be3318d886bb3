package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Set;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

/** Rows as Java gets them. */
@InBridgeLoader
class RowsTest {
  final CannedDomain domain = new CannedDomain();

  @Test
  void rowMapsEachAttributeToItsValues() {
    domain.search(
        "rows=2", "sAMAccountName", "description", "manager", "managedBy", "absent", "title");
    assertEquals(2, domain.rows.size(), "rows");
    Properties row = domain.rows.get(1);
    assertEquals(Set.of("sAMAccountName", "description", "manager", "managedBy"), row.keySet());
    assertEquals(List.of("user2"), row.get("sAMAccountName"));
    assertEquals(
        List.of("Zo\u00EB \uD83D\uDE00", "a\0b", "(*)\\", "\uD800 alone"), row.get("description"));
    assertEquals(List.of("Boss"), row.get("manager"));
    assertEquals(
        List.of(Map.of("distinguishedName", "CN=Boss,DC=canned", "cn", "Boss")),
        row.get("managedBy"));
    assertEquals(ArrayList.class, row.get("managedBy").getClass());
    assertEquals(Properties.class, ((List<?>) row.get("managedBy")).get(0).getClass());
  }

  @Test
  void longListsAndManyKeysAreWhole() {
    List<String> attributes = new ArrayList<>(List.of("url", "sAMAccountName"));
    for (int i = 0; i < 100; i++) {
      attributes.add("description");
      attributes.add("description" + i);
    }
    domain.search("rows=2", attributes.toArray(String[]::new));
    for (Properties row : domain.rows) {
      assertEquals(103, row.size(), "keys");
      List<?> urls = (List<?>) row.get("url");
      assertEquals(2500, urls.size());
      assertEquals("https://example.com/2499", urls.get(2499));
      assertEquals(4, ((List<?>) row.get("description")).size(), "values of a key that came twice");
    }
  }

  @Test
  void rowsStayWithTheListener() {
    domain.search("rows=20000", "sAMAccountName", "managedBy");
    assertEquals(20000, domain.rows.size());
    assertEquals(List.of("user1"), domain.rows.get(0).get("sAMAccountName"));
    assertEquals(List.of("user20000"), domain.rows.get(19999).get("sAMAccountName"));
  }

  @Test
  void everyStreamingMethodStreams() {
    ADHandler handler = domain.handler();
    List<Method> methods =
        Arrays.stream(ADHandler.class.getDeclaredMethods())
            .filter(method -> Modifier.isNative(method.getModifiers()))
            .filter(method -> List.of(method.getParameterTypes()).contains(NativeListener.class))
            .toList();
    assertTrue(methods.size() > 80, methods.size() + " methods");
    assertAll(methods.stream().map(method -> streams(handler, method)));
  }

  private Executable streams(ADHandler handler, Method method) {
    return () -> {
      domain.rows.clear();
      Object[] arguments = arguments(method, "x");
      assertEquals(null, method.invoke(handler, arguments), method.getName());
      assertEquals(rowsOf(method.getName()), domain.rows.size(), "rows of " + method.getName());
      // Texts that are null end the report or are done without.
      method.invoke(handler, arguments(method, null));
    };
  }

  // Three canned rows, of which the second is a computer.
  private static int rowsOf(String method) {
    return switch (method) {
      case "GetRecentlyDeletedUsers" -> 2;
      case "GetRecentlyDeletedComputers" -> 1;
      default -> 3;
    };
  }

  private Object[] arguments(Method method, String text) {
    return Arrays.stream(method.getParameterTypes())
        .map(
            type -> {
              if (type == Properties.class) return domain.settings;
              if (type == ArrayList.class) return names("sAMAccountName");
              if (type == NativeListener.class) return domain.listener;
              if (type == NativeError.class) return domain.errors;
              return type == long.class ? (Object) 0L : text;
            })
        .toArray();
  }

  @Test
  void logLinesCarryTextOutsideAsciiWhole() {
    String container = "OU=Zo\u00EB \uD83D\uDE00" + "x".repeat(100) + ",DC=canned";
    domain
        .handler()
        .GetObjects(
            domain.settings, container, "(cn=\u00E9)", null, domain.listener, domain.errors);
    assertTrue(domain.logged(container));
    assertTrue(domain.logged("Search String is : (cn=\u00E9)"));
    assertTrue(!domain.logged("secret"), "the password is in the log");
  }
}
