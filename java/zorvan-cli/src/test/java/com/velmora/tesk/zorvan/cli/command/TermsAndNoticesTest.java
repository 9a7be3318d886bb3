package com.velmora.tesk.zorvan.cli.command;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Properties;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** What the user allows a call, and what a call tells beyond its rows. */
class TermsAndNoticesTest extends ScriptedCommandLine {

  @Test
  void termsReachTheLibraryFromOptionsAndFromTheProfileWhichOptionsOverrule() throws IOException {
    Path authorities = Files.writeString(folder.resolve("ca.pem"), "");
    Files.writeString(
        folder.resolve("careful.properties"),
        """
        allow-ntlm = true
        allow-rc4 = true
        ca-file = %s
        timeout = 5m
        connect-timeout = 1500ms
        idle-timeout = 1h
        """
            .formatted(authorities));
    assertEquals(0, report("GetUsers", "--profile", "careful", "--no-allow-ntlm", "--timeout=90s"));
    assertNull(source.settings.get(DomainSettings.ALLOW_NTLM));
    assertEquals("true", source.settings.get(DomainSettings.ALLOW_RC4));
    assertEquals(authorities.toString(), source.settings.get(DomainSettings.TRUSTED_AUTHORITIES));
    assertEquals(90_000, source.settings.get(DomainSettings.CALL_TIME_LIMIT));
    assertEquals(1500, source.settings.get(DomainSettings.CONNECT_TIME_LIMIT));
    assertEquals(3_600_000, source.settings.get(DomainSettings.IDLE_TIME_LIMIT));
    assertEquals(0, report("GetUsers", "--allow-ntlm", "--ca-file", folder.toString()));
    assertEquals("true", source.settings.get(DomainSettings.ALLOW_NTLM));
    assertNull(source.settings.get(DomainSettings.ALLOW_RC4));
    assertEquals(folder.toString(), source.settings.get(DomainSettings.TRUSTED_AUTHORITIES));
    assertNull(source.settings.get(DomainSettings.CALL_TIME_LIMIT));
  }

  @ParameterizedTest
  @CsvSource({
    "--timeout, 30, write 30s",
    "--timeout, 0s, not a time",
    "--connect-timeout, -5s, not a time",
    "--idle-timeout, 90d, not a time",
    "--ca-file, /nowhere/ca.pem, no such file",
  })
  void aTermThatCannotBeIsWrongUsage(String option, String value, String complaint) {
    assertEquals(2, report("GetUsers", option + "=" + value));
    assertTrue(said().contains(complaint), said());
    assertNull(source.settings, "the library was called");
  }

  @Test
  void aProfileThatIsNeitherTrueNorFalseIsWrongUsage() throws IOException {
    Files.writeString(folder.resolve("odd.properties"), "allow-ntlm = perhaps\n");
    assertEquals(2, report("GetUsers", "--profile", "odd"));
    assertTrue(said().contains("allow-ntlm is neither true nor false"), said());
  }

  @Test
  void ntlmIsToldOnceAndIsNoFailure() {
    source.plays(
        (listener, errors) -> {
          errors.addNotice("NtlmUsed", "dc1\u001b[2J", "the server is given as an address", 0);
          errors.addNotice("NtlmUsed", "dc1\u001b[2J", "the server is given as an address", 0);
          errors.addNotice("NtlmUsed", "gc1", "the server is given as an address", 0);
          listener.addRow(ScriptedSource.row("a"));
        });
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertEquals(
        "warning: NTLM was used with dc1␛[2J (and 1 more), which does not prove who the server is:"
            + " the server is given as an address\n",
        said());
    messages.getBuffer().setLength(0);
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv", "--quiet"));
    assertEquals("", said());
  }

  @Test
  void aCutListIsToldEvenQuietlyAndItsFileIsNotTheWholeOne() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          for (int i = 0; i < 8; i++) {
            errors.addNotice("ListCut", "CN=group" + i + ",DC=a", "member", 1500);
          }
        });
    Path file = folder.resolve("groups.csv");
    assertEquals(3, report("GetUsers", "-a", "cn", "-f", "csv", "-q", "-o", file.toString()));
    assertFalse(Files.exists(file));
    assertEquals("cn\na\n", read(folder.resolve("groups.csv.partial")));
    List<String> lines = said().lines().toList();
    assertEquals("error: 8 lists are not whole:", lines.get(0));
    assertEquals("  member of CN=group0,DC=a shows 1500 of more", lines.get(1));
    assertEquals("  and 3 more", lines.get(6));
    assertEquals(7, lines.size(), said());
    messages.getBuffer().setLength(0);
    assertEquals(3, report("GetUsers", "-a", "cn"));
    assertTrue(said().endsWith("1 row in 0.0 s; values are missing\n"), said());
  }

  @Test
  void valuesThatCouldNotBeTypedAreMissingValues() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          errors.addNotice("TypesUnknown", "dc1", "extraTime", 0);
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "-q"));
    assertEquals(
        """
        error: values are missing, because the schema could not be read:
          extraTime (asked of dc1)
        """,
        said());
  }

  private static Properties rowThatTakesAllMemory() {
    Properties row = new Properties();
    row.put(
        "cn",
        new Object() {
          @Override
          public String toString() {
            throw new OutOfMemoryError("Java heap space");
          }
        });
    return row;
  }

  @Test
  void memoryThatRunsOutIsToldAsSuch() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          listener.addRow(rowThatTakesAllMemory());
          assertTrue(listener.isCompleted());
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertTrue(out().startsWith("cn\na\n"), out());
    assertTrue(
        said().contains("cannot be written: Java has not enough memory (Java heap space)"), said());
    source.plays(
        (listener, errors) -> {
          throw new OutOfMemoryError("Java heap space");
        });
    assertEquals(1, report("GetUsers"));
    assertTrue(said().endsWith("error: Java has not enough memory (Java heap space)\n"), said());
    assertFalse(said().contains("Ctrl-C"), said());
  }

  @Test
  void aCallThatEndsBecauseItWasToldToHasNotFailed() {
    source.plays(
        (listener, errors) -> {
          ScriptedSource.rows(5).play(listener, errors);
          errors.setErrorList("x", "SEVERE", "800704c7", "halden.k", null);
          errors.addNotice("SearchFailed", "(cn=*)", "", 0x800704c7L);
        });
    String[] search = {"search", "(cn=*)", "-a", "cn", "-d", "example.com", "-s", "dc1"};
    String[] limited = {"search", "(cn=*)", "-a", "cn", "-d", "example.com", "-s", "dc1", "-n2"};
    assertEquals(0, zorvan(limited), said());
    assertFalse(said().contains("error"), said());
    assertEquals(3, zorvan(search), "nobody asked for this end");
    assertTrue(said().contains("the operation was cancelled"), said());
  }
}
