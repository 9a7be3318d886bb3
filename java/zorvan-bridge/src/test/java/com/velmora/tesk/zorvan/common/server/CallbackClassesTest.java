package com.velmora.tesk.zorvan.common.server;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.model.DirectoryObject;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
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
  private final List<String> lines = new ArrayList<>();
  private final Handler handler =
      new Handler() {
        @Override
        public void publish(LogRecord record) {
          String name = record.getLoggerName();
          String channel = name.substring(ADHandler.nativeLogger.getName().length());
          lines.add(record.getLevel() + channel + " " + record.getMessage());
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

  @Test
  void detailReachesTheLoggerOnlyWhenItIsWanted() {
    ADHandler.nativeLogger.setUseParentHandlers(false);
    ADHandler.nativeLogger.addHandler(handler);
    handler.setLevel(Level.ALL);
    ADHandler.nativeLogger.setLevel(Level.INFO);
    ADHandler.log(3, "a row");
    ADHandler.log(1, "Initialization Starts {0}\n");
    assertFalse(ADHandler.isdebugLogLevel());
    ADHandler.nativeLogger.setLevel(Level.ALL);
    ADHandler.log(3, "a row");
    ADHandler.admanglog(1, "user");
    ADHandler.deleglog(2, "template");
    assertTrue(ADHandler.isdebugLogLevel());
    assertEquals(
        List.of(
            "INFO Initialization Starts {0}",
            "FINEST a row", "INFO.management user", "FINE.delegation template"),
        lines);
  }

  @Test
  void aSinkOfOnesOwnIsAskedFirst() {
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
    errors.setErrorList(null, "WARNING", null, null, "Access is denied.");
    assertEquals(
        List.of(new NativeError.Entry("", "WARNING", "", "", "Access is denied.")),
        errors.entries());
    assertFalse(errors.entries().get(0).isSevere());
  }

  @Test
  void treeNodesAlwaysHaveAKey() {
    DirectoryObject node = new DirectoryObject();
    assertNotNull(node.getID());
    node.setRelativeName("OU=a,DC=b");
    assertEquals("OU=a,DC=b", node.getID());
    node.setGuid("{1}");
    assertEquals("{1}", node.getID());
  }

  @Test
  void aDomainThatRefusedLookUpsIsRememberedWhateverItsSpelling() {
    DomainInfoCache.getInstance()
        .setDomainStatus("Refused.Example", DomainInfoCache.DO_NOT_LOOK_UP);
    Properties refused = DomainSettings.ofDomain("refused.example").toProperties();
    assertEquals(2, refused.get(DomainSettings.ACCOUNT_LOOKUP_STATUS));
    Properties other = DomainSettings.ofDomain("other.example").toProperties();
    assertEquals(1, other.get(DomainSettings.ACCOUNT_LOOKUP_STATUS));
    assertEquals("false", other.get(DomainSettings.IS_AUTHENTICATION_REQUIRED));
    assertFalse(other.containsKey(DomainSettings.PASSWORD));
  }

  @Test
  void settingsOfAChildDomainNameTheForestsConfiguration() {
    Properties settings =
        DomainSettings.ofDomain("sales.example.com")
            .forest("example.com")
            .user("SALES\\admin", "secret".toCharArray())
            .toProperties();
    assertEquals("DC=sales,DC=example,DC=com", settings.get("DEFAULT_NAMING_CONTEXT"));
    assertEquals(
        "CN=Schema,CN=Configuration,DC=example,DC=com", settings.get("SCHEMA_NAMING_CONTEXT"));
    assertEquals("admin", settings.get("USER_NAME"));
    assertEquals("SALES\\admin", settings.get("USER_DISTINGUISHED_NAME"));
    assertEquals("true", settings.get("IS_AUTHENTICATION_REQUIRED"));
  }

  @Test
  void settingsOwnTheirPasswordUntilTheyAreWiped() {
    char[] given = "secret".toCharArray();
    DomainSettings builder = DomainSettings.ofDomain("example.com").user("anna", given);
    Properties settings = builder.toProperties();
    Properties others = builder.toProperties();
    Arrays.fill(given, 'x');
    char[] kept = (char[]) settings.get(DomainSettings.PASSWORD);
    assertEquals("secret", String.valueOf(kept));
    DomainSettings.wipe(settings);
    assertEquals("\0".repeat(6), String.valueOf(kept));
    assertFalse(settings.containsKey(DomainSettings.PASSWORD));
    assertEquals("secret", String.valueOf((char[]) others.get(DomainSettings.PASSWORD)));
    DomainSettings.wipe(settings);
  }
}
