package com.velmora.tesk.zorvan.common.server;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.model.DirectoryObject;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.logging.Handler;
import java.util.logging.Level;
import java.util.logging.LogRecord;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;

/**
 * The classes that the library calls back: what arrives through them is neither lost nor changed.
 */
class CallbackClassesTest {
  private final LogSink usual = ADHandler.setLogSink(new LoggerSink(ADHandler.nativeLogger));
  private final List<LogRecord> records = new ArrayList<>();
  private final Handler handler =
      new Handler() {
        @Override
        public void publish(LogRecord record) {
          records.add(record);
        }

        @Override
        public void flush() {}

        @Override
        public void close() {}
      };

  @AfterEach
  void restore() {
    ADHandler.setLogSink(usual);
    ADHandler.nativeLogger.removeHandler(handler);
    ADHandler.nativeLogger.setLevel(null);
    ADHandler.nativeLogger.setUseParentHandlers(true);
  }

  private void listen(Level level) {
    ADHandler.nativeLogger.setUseParentHandlers(false);
    ADHandler.nativeLogger.removeHandler(handler);
    ADHandler.nativeLogger.addHandler(handler);
    ADHandler.nativeLogger.setLevel(level);
    handler.setLevel(Level.ALL);
  }

  @Test
  void detailReachesTheLoggerOnlyWhenItIsWanted() {
    listen(Level.INFO);
    ADHandler.log(3, "a row");
    ADHandler.log(1, "Initialization Starts {0}\n");
    assertFalse(ADHandler.isdebugLogLevel());
    assertEquals(List.of("Initialization Starts {0}"), texts());

    listen(Level.ALL);
    ADHandler.log(3, "a row");
    ADHandler.admanglog(1, "user");
    ADHandler.deleglog(2, "template");
    assertTrue(ADHandler.isdebugLogLevel());
    assertEquals(List.of(Level.INFO, Level.FINEST, Level.INFO, Level.FINE), levels());
    assertTrue(records.get(2).getLoggerName().endsWith(".management"));
    assertTrue(records.get(3).getLoggerName().endsWith(".delegation"));
  }

  private List<String> texts() {
    return records.stream().map(LogRecord::getMessage).toList();
  }

  private List<Level> levels() {
    return records.stream().map(LogRecord::getLevel).toList();
  }

  @Test
  void aSinkOfOnesOwnIsAskedFirst() {
    List<String> lines = new ArrayList<>();
    ADHandler.setLogSink(
        new LogSink() {
          @Override
          public boolean isWanted(Channel channel, int level) {
            return channel == Channel.MANAGEMENT;
          }

          @Override
          public void write(Channel channel, int level, String text) {
            lines.add(text);
          }
        });
    ADHandler.log(1, "general");
    ADHandler.admanglog(3, "management");
    assertEquals(List.of("management"), lines);
  }

  @Test
  void errorEntriesKeepWhatTheLibraryLeavesOut() {
    NativeError errors = new NativeError();
    errors.setErrorList("example.com", "SEVERE", "8007052e", "halden.key", null);
    errors.setErrorList(null, "WARNING", null, null, "Access is denied.");
    NativeError.Entry first = errors.entries().get(0);
    assertTrue(first.isSevere());
    assertNull(first.message());
    NativeError.Entry second = errors.entries().get(1);
    assertFalse(second.isSevere());
    assertEquals(List.of("", "", ""), List.of(second.objectName(), second.code(), second.key()));
  }

  @Test
  void treeNodesAlwaysHaveAKey() {
    DirectoryObject node = new DirectoryObject();
    Properties siblings = new Properties();
    siblings.put(node.getID(), node);
    node.setRelativeName("OU=a,DC=b");
    assertEquals("OU=a,DC=b", node.getID());
    node.setGuid("{1}");
    assertEquals("{1}", node.getID());
  }

  @Test
  void aDomainThatRefusedLookUpsIsRememberedWhateverItsSpelling() {
    DomainInfoCache.getInstance()
        .setDomainStatus("Refused.Example", DomainInfoCache.DO_NOT_LOOK_UP);
    Properties settings = DomainSettings.ofDomain("refused.example").toProperties();
    assertEquals(2, settings.get(DomainSettings.ACCOUNT_LOOKUP_STATUS));
    assertEquals(
        1,
        DomainSettings.ofDomain("other.example")
            .toProperties()
            .get(DomainSettings.ACCOUNT_LOOKUP_STATUS));
  }

  @Test
  void settingsOfAChildDomainNameTheForestsConfiguration() {
    char[] password = "secret".toCharArray();
    Properties settings =
        DomainSettings.ofDomain("sales.example.com")
            .forest("example.com")
            .controllers(List.of("dc1", "dc2"))
            .user("SALES\\admin", password)
            .toProperties();
    assertEquals(
        Map.of(
            DomainSettings.DEFAULT_NAMING_CONTEXT, "DC=sales,DC=example,DC=com",
            DomainSettings.SCHEMA_NAMING_CONTEXT, "CN=Schema,CN=Configuration,DC=example,DC=com",
            DomainSettings.USER_NAME, "admin",
            DomainSettings.USER_DISTINGUISHED_NAME, "SALES\\admin",
            DomainSettings.IS_AUTHENTICATION_REQUIRED, "true"),
        Map.of(
            DomainSettings.DEFAULT_NAMING_CONTEXT, settings.get("DEFAULT_NAMING_CONTEXT"),
            DomainSettings.SCHEMA_NAMING_CONTEXT, settings.get("SCHEMA_NAMING_CONTEXT"),
            DomainSettings.USER_NAME, settings.get("USER_NAME"),
            DomainSettings.USER_DISTINGUISHED_NAME, settings.get("USER_DISTINGUISHED_NAME"),
            DomainSettings.IS_AUTHENTICATION_REQUIRED, settings.get("IS_AUTHENTICATION_REQUIRED")));
    assertEquals(new ArrayList<>(List.of("dc1", "dc2")), settings.get("DOMAIN_CONTROLLER_LIST"));

    Properties ownIdentity = DomainSettings.ofDomain("example.com").toProperties();
    assertEquals("false", ownIdentity.get(DomainSettings.IS_AUTHENTICATION_REQUIRED));
    assertFalse(ownIdentity.containsKey(DomainSettings.PASSWORD));
  }
}
