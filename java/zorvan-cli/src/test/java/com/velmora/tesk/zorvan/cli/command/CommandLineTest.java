package com.velmora.tesk.zorvan.cli.command;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.io.IOException;
import java.io.OutputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Instant;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** The command line from its arguments to its output and exit code, with rows from a script. */
class CommandLineTest extends ScriptedCommandLine {
  @Test
  void listsTheReportsOfAGroupAndDescribesOne() {
    assertEquals(0, zorvan("reports", "--group", "users", "--format", "csv"));
    assertTrue(out().startsWith("group,name,parameters,title\nusers,GetUsers,,All users\n"), out());
    assertFalse(out().contains("GetOSBasedComputers"));
    assertEquals(0, zorvan("reports", "osbasedcomputers"));
    assertTrue(
        out().contains("  zorvan report GetOSBasedComputers --os TEXT --service-pack TEXT"), out());
    assertTrue(out().contains("  --service-pack TEXT  Beginning of the service pack"), out());
    assertEquals(2, zorvan("reports", "--group", "printers"));
    assertTrue(said().contains("The groups: users, computers, groups"));
    bytes.reset();
    assertEquals(0, zorvan("reports", "--format", "jsonl"));
    for (String parameters : List.of("[]", "[\"since\"]", "[\"os\",\"servicePack\"]")) {
      assertTrue(out().contains("\"parameters\":" + parameters), out());
    }
  }

  @Test
  void anUnknownReportIsAnsweredWithNearNames() {
    assertEquals(2, report("GetInactivUser"));
    assertTrue(said().contains("Did you mean GetInActiveUsers"), said());
    assertEquals(2, report("xyzzy"));
    assertTrue(said().contains("no report xyzzy. \"zorvan reports\" lists them"));
  }

  @ParameterizedTest
  @CsvSource(
      delimiter = ';',
      value = {
        "--befor=30d;                  Unknown option: '--befor=30d'; --before",
        "--controller=dc3;             Missing: --before.; --before TIME  No logon after",
        "--before=tomorrow;            \"tomorrow\" is not a time; --before TIME  No logon after",
        "--controller=, --before=30d;  --controller must not be empty; --before TIME  No logon after",
        "--before=1d, --before=2d;     should be specified only once; --help",
        "--since=30d, --before=30d;    Unknown option: '--since=30d'; GetInActiveUsers --help",
      })
  void aWrongParameterIsAnsweredWithTheRightOnes(String options, String complaint, String help) {
    String[] arguments = ("inactiveusers, " + options).split(", ");
    assertEquals(2, report(arguments));
    assertTrue(said().startsWith("error: ") && said().contains(complaint), said());
    assertTrue(said().contains(help), said());
    assertNull(source.settings, "the library was called");
  }

  @Test
  void theHelpOfAReportTellsItsParametersFirst() {
    assertEquals(0, zorvan("report", "inactiveusers", "--help"));
    // Windows has its own line ends, and the terminal library takes every console there for one
    // with
    // colours.
    String help = out().replace("\r\n", "\n").replaceAll("\u001B\\[[0-9;]*m", "");
    assertTrue(
        help.startsWith(
            """
            Usage: zorvan report GetInActiveUsers [--controller HOST] --before TIME [OPTIONS]
            Users who have not logged on since a time.
            Shows, unless --attributes says otherwise: sAMAccountName, lastLogon
            """),
        help);
    assertTrue(help.indexOf("--before=TIME") < help.indexOf("--attributes="), help);
    assertTrue(help.contains("(30d, 12h"), help);
    assertEquals(0, zorvan("report", "--help"));
    assertTrue(out().contains("zorvan reports GetInActiveUsers"), out());
    assertEquals(2, zorvan("report"));
    assertTrue(said().contains("Which report?"), said());
    assertEquals(2, zorvan("report", "--format", "csv", "GetUsers"));
    assertTrue(said().contains("The name of the report comes first"), said());
  }

  @Test
  void eachReportOfTheLibraryCanBeACommand() throws IOException {
    ReportCatalogue packed = ReportCatalogue.load();
    catalogue = () -> packed;
    for (Report report : packed.reports()) {
      assertEquals(0, zorvan("report", report.name(), "--help"), report.name());
    }
  }

  @Test
  void parametersReachTheReportInItsOrderAndTypes() {
    assertEquals(0, report("GetInActiveUsers", "--before", "30d", "--controller", "dc9"));
    long thirtyDaysAgo = Instant.parse("2024-03-01T12:00:00Z").toEpochMilli();
    assertEquals(List.of("dc9", thirtyDaysAgo), source.arguments);
    assertEquals(0, report("inactiveusers", "--before=2024-03-01T12:00:00Z"));
    assertEquals(
        List.of("dc1", thirtyDaysAgo), source.arguments, "the first server is the default");
    assertEquals(0, report("GetRecentlyCreatedUsers", "--since", "2024-03-01"));
    assertEquals(List.of("20240301000000.0Z"), source.arguments);
    assertEquals(0, report("GetOSBasedComputers", "--os=a=b", "--service-pack="));
    assertEquals(List.of("a=b", ""), source.arguments);
  }

  @Test
  void attributesAreAskedForAsTheLibraryNeedsThemAndShownAsTheUserWantsThem() {
    assertEquals(0, report("GetUsers", "--format", "csv"));
    assertEquals("sAMAccountName,mail\n", out());
    bytes.reset();
    report("GetUsers", "--format", "csv", "-a", "cn, tsHomeDir,CN");
    assertEquals("cn,tsHomeDir\n", out());
    assertEquals(List.of("sAMAccountName", "cn", "tsHomeDir"), source.attributes);
    bytes.reset();
    report("GetUsers", "--format", "csv", "-a", "");
    assertEquals("distinguishedName\n", out());
    assertEquals(List.of(), source.attributes);
    assertEquals(2, report("GetUsers", "-a", "cn,(x=*)"));
  }

  @Test
  void basesFollowTheDomainOrTheConfigurationUnlessGiven() {
    report("GetUsers");
    assertEquals("DC=example,DC=com", source.base);
    report("GetAllSubnets");
    assertEquals("CN=Configuration,DC=example,DC=com", source.base);
    report("GetAllSubnets", "--base", "CN=x");
    assertEquals("CN=x", source.base);
  }

  @ParameterizedTest
  @ValueSource(strings = {"table", "csv", "json", "jsonl"})
  void rowsAreWrittenWhileTheReportStillRuns(String format) {
    int[] written = new int[2];
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("first"));
          written[0] = bytes.size();
          ScriptedSource.rows(20_000).play(listener, errors);
          written[1] = bytes.size();
          ScriptedSource.rows(20_000).play(listener, errors);
        });
    assertEquals(0, report("GetUsers", "-a", "cn", "--format", format));
    assertTrue(out().contains("user19999"));
    // A table waits for a screenful.
    assertTrue(written[0] > 0 || format.equals("table"), "the first row was held back");
    assertTrue(
        bytes.size() - written[1] * 2 < 200_000,
        "half of the rows were written half-way: " + written[1] + " of " + bytes.size());
  }

  @Test
  void theLimitEndsTheReportAndIsNoFailure() {
    source.plays(ScriptedSource.rows(1000));
    assertEquals(0, report("GetUsers", "-a", "cn", "--format", "csv", "--limit", "3"));
    assertEquals("cn\nuser0\nuser1\nuser2\n", out());
    assertEquals(2, report("GetUsers", "--limit", "0"));
  }

  @Test
  void ctrlCKeepsWhatWasGotAndSaysThatItIsNotAll() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          interruption.request();
          assertTrue(listener.isCompleted());
          listener.addRow(ScriptedSource.row("too late"));
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "--format", "json"));
    assertEquals("[{\"cn\":\"a\"}]", out().replaceAll("\\s", ""));
    assertTrue(said().contains("1 row in 0.0 s; ended by Ctrl-C"));
  }

  @Test
  void aReportThatHangsIsWrittenWithoutWaitingForIt() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          interruption.request();
          interruption.abandon();
          assertEquals("cn\na\n", out());
          listener.addRow(ScriptedSource.row("too late"));
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertEquals("cn\na\n", out());
    assertEquals(1, said().lines().count(), "told once: " + messages);
  }

  @Test
  void errorsAreToldInWordsWithTheirKeyAndCode() {
    source.plays(
        (listener, errors) ->
            errors.setErrorList(
                "example.com",
                "SEVERE",
                "8007052e",
                "halden.common_authentication.native.failure.username/password.wrong",
                null));
    assertEquals(1, report("GetUsers"));
    assertEquals("", out(), "nothing that looks like an empty result");
    assertEquals(
        """
        error: The user name or the password is wrong. [example.com]
          key halden.common_authentication.native.failure.username/password.wrong, code 0x8007052e: the user name or the password is wrong
        """,
        said());
  }

  @Test
  void whatTheDirectorySaidOfAnErrorIsShownBeneathIt() {
    source.plays(
        (listener, errors) -> {
          errors.setErrorList("x", "SEVERE", "8007052e", "halden.k", null);
          errors.addNotice(
              "ControllerFailed", "dc1", "The account is disabled. (533)", 0x8007052eL);
        });
    assertEquals(1, report("GetUsers"));
    assertTrue(said().endsWith("wrong\n  reason The account is disabled. (533)\n"), said());
    source.plays(
        (listener, errors) -> {
          errors.setErrorList("x", "SEVERE", "80072030", "halden.k", null);
          errors.addNotice("OpenFailed", "LDAP://dc1/OU=a,DC=b", "", 0x80072030L);
        });
    assertEquals(1, report("GetUsers"));
    assertTrue(said().endsWith("not exist\n  path LDAP://dc1/OU=a,DC=b\n"), said());
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          errors.setErrorList("x", "WARNING", "8007203a", "halden.k", null);
          errors.addNotice("SearchFailed", "(cn=*)", "gone\u001b[2J (2030)", 0x8007203aL);
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertTrue(said().endsWith("not answer\n  reason gone␛[2J (2030)\n"), said());
  }

  @Test
  void nothingIsConcludedFromTheLog() {
    source.plays(
        (listener, errors) -> {
          ADHandler.log(1, "The search failed, filter: (cn=*), error code: 8007203a");
          ADHandler.log(1, "The directory said: the manager of one row is gone (2030)");
          listener.addRow(ScriptedSource.row("a"));
          ADHandler.log(1, "The search broke off after 1 rows, error code: 8007203a");
        });
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv", "-q"));
    assertEquals("", said());
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv", "-v"));
    assertTrue(said().startsWith("log: The search failed, filter: (cn=*)"), said());
  }

  @Test
  void anErrorAfterRowsOrAWarningMeansPartly() {
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          errors.setErrorList("x", "SEVERE", "8007203a", "halden.unknown.key_of_later", null);
        });
    assertEquals(3, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertEquals("cn\na\n", out());
    assertTrue(said().contains("\"key of later\""), said());
    assertTrue(said().contains("0x8007203a: the server does not answer"));
    source.plays((listener, errors) -> errors.setErrorList("x", "WARNING", "", "halden.k", null));
    assertEquals(3, report("GetUsers"));
  }

  @Test
  void aSearchWithoutAnErrorOfItsOwnFailsByItsNotice() {
    source.plays(
        (listener, errors) ->
            errors.addNotice(
                "OpenFailed", "LDAP://dc1/OU=x", "No such object (208d)", 0x80072030L));
    String[] arguments = {"search", "(cn=*)", "-d", "example.com", "-s", "dc1"};
    assertEquals(1, zorvan(arguments));
    assertEquals(
        """
        error: The container that the search begins at could not be read: the object does not exist.
          code 0x80072030
          reason No such object (208d)
          path LDAP://dc1/OU=x
        """,
        said());
    assertEquals("(cn=*)", source.filter);
    source.plays(ScriptedSource.rows(0));
    assertEquals(0, zorvan(arguments), "a search that finds nothing is fine");
  }

  @Test
  void aServerOrDomainThatCannotBeOneIsWrongUsage() {
    for (String server : List.of("", " ", "ldap://dc1", "dc1/OU=x")) {
      assertEquals(2, zorvan("search", "(cn=*)", "-d", "example.com", "-s", server));
      assertTrue(said().contains("error: \"" + server + "\" is not the name of a host"), said());
    }
    assertEquals(2, report("GetUsers", "--gc", "ldap://gc1"));
    assertEquals(2, zorvan("search", "(cn=*)", "-d", "", "-s", "dc1"));
    source.plays((listener, errors) -> errors.setErrorList("x", "SEVERE", "5", "halden.k", null));
    assertEquals(1, report("GetUsers"));
    assertFalse(said().contains("NetBIOS"), said());
    assertEquals(1, zorvan("search", "(cn=*)", "-d", "EXAMPLE", "-s", "dc1"));
    assertTrue(
        said()
            .endsWith(
                "\n  --domain wants the DNS name, such as corp.example.com; \"EXAMPLE\" may be the NetBIOS name\n"),
        said());
  }

  @Test
  void aLibraryThatCannotBeLoadedIsAFailureWithItsReason() {
    source.plays(
        (listener, errors) -> {
          throw new UnsatisfiedLinkError("Tried:\n  /a/b.so: does not exist");
        });
    assertEquals(1, report("GetUsers"));
    assertTrue(said().startsWith("error: Tried:\n  /a/b.so: does not exist"));
  }

  @Test
  void aFileTakesItsNameOnlyWhenItIsWhole() throws IOException {
    Path file = Files.writeString(folder.resolve("users.csv"), "yesterday's");
    source.plays(
        (listener, errors) -> {
          listener.addRow(ScriptedSource.row("a"));
          assertEquals("yesterday's", read(file));
          errors.setErrorList("x", "SEVERE", "8007203a", "halden.k", null);
        });
    String[] arguments = {"GetUsers", "-a", "cn", "-f", "csv", "--out", file.toString()};
    assertEquals(3, report(arguments));
    assertEquals("yesterday's", read(file));
    assertEquals("cn\na\n", read(folder.resolve("users.csv.partial")));
    assertTrue(said().contains("kept in " + file.toRealPath() + ".partial"));

    source.plays((listener, errors) -> errors.setErrorList("x", "SEVERE", "5", "halden.k", null));
    assertEquals(1, report(arguments));
    assertEquals("yesterday's", read(file));

    source.plays(ScriptedSource.rows(1));
    assertEquals(0, report(arguments));
    assertEquals("cn\nuser0\n", read(file));
    try (Stream<Path> files = Files.list(folder)) {
      assertEquals(2, files.count(), "nothing unfinished is left lying about");
    }
    Path none = folder.resolve("none");
    assertEquals(1, report("GetUsers", "--out", none.resolve("x").toString()));
    assertTrue(said().endsWith(": the folder " + none + " does not exist\n"), said());
  }

  @Test
  void theTerminalsCharacterSetIsForStandardOutputAlone() {
    outputCharset = StandardCharsets.ISO_8859_1;
    source.plays((listener, errors) -> listener.addRow(ScriptedSource.row("Zoë")));
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertEquals("cn\nZoë\n", bytes.toString(StandardCharsets.ISO_8859_1));
    Path file = folder.resolve("users.csv");
    assertEquals(0, report("GetUsers", "-a", "cn", "-f", "csv", "-o", file.toString()));
    assertEquals("cn\nZoë\n", read(file));
  }

  @Test
  void anOutputThatTakesNoMoreEndsTheReportAndIsNoSuccess() {
    output =
        new OutputStream() {
          @Override
          public void write(int b) throws IOException {
            throw new IOException("No space left on device");
          }
        };
    assertEquals(1, report("GetUsers", "-a", "cn", "-f", "csv"), "the header line is lost");
    List<String> delivered = new ArrayList<>();
    source.plays(
        (listener, errors) -> {
          for (int i = 0; i < 10 && !listener.isCompleted(); i++) {
            delivered.add("row");
            listener.addRow(ScriptedSource.row("x"));
          }
        });
    assertEquals(1, report("GetUsers", "-a", "cn", "-f", "csv"));
    assertEquals(1, delivered.size());
    assertEquals(2, said().split("No space left on device", -1).length - 1, said());
  }

  @Test
  void aPasswordComesFromStandardInputOrAFileAndGoesNowhereElse() throws IOException {
    input = "p√ss wörd\r\nnot this";
    assertEquals(0, report("GetUsers", "--user", "anna", "--password-stdin", "-vv"));
    assertEquals("p√ss wörd", source.settings.get("PASSWORD"));
    assertEquals("anna@example.com", source.settings.get("USER_DISTINGUISHED_NAME"));
    assertEquals("true", source.settings.get("IS_AUTHENTICATION_REQUIRED"));
    Path file = Files.writeString(folder.resolve("secret"), "s3cret\n");
    assertEquals(0, report("GetUsers", "-u", "EX\\anna", "--password-file", file.toString(), "-q"));
    assertFalse(said().contains("warning"), said());
    assertEquals("s3cret", source.settings.get("PASSWORD"));
    assertFalse((out() + messages).contains("s3cret"));
    input = "\n";
    assertEquals(2, report("GetUsers", "-u", "anna", "--password-stdin"));
    assertEquals(2, report("GetUsers", "-u", "CN=a,DC=b", "--password-stdin"));
    assertEquals(2, report("GetUsers", "--password-stdin"), "a password without a user");
    assertEquals(0, report("GetUsers"));
    assertEquals("false", source.settings.get("IS_AUTHENTICATION_REQUIRED"));
  }

  @Test
  void aProfileGivesWhatTheOptionsDoNot() throws IOException {
    Files.writeString(folder.resolve("secret"), "s3cret");
    Files.writeString(
        folder.resolve("corp.properties"),
        """
        domain = corp.example.com
        server = dc8, dc9
        user = CORP\\anna
        base = OU=Zürich,DC=corp,DC=example,DC=com
        password-file = %s
        """
            .formatted(folder.resolve("secret")));
    assertEquals(0, zorvan("report", "GetUsers", "--profile", "corp"));
    assertEquals("CORP\\anna", source.settings.get("USER_DISTINGUISHED_NAME"));
    assertEquals(List.of("dc8", "dc9"), source.settings.get("DOMAIN_CONTROLLER_LIST"));
    assertEquals("OU=Zürich,DC=corp,DC=example,DC=com", source.base);
    zorvan("report", "GetUsers", "--profile", "corp", "-s", "dc1");
    assertEquals(List.of("dc1"), source.settings.get("DOMAIN_CONTROLLER_LIST"));

    Files.writeString(folder.resolve("bad.properties"), "password = s3cret\n");
    assertEquals(2, zorvan("report", "GetUsers", "--profile", "bad"));
    Files.writeString(folder.resolve("typo.properties"), "sever = dc1\n");
    assertEquals(2, zorvan("report", "GetUsers", "--profile", "typo"));
    assertTrue(said().contains("unknown settings: sever"));
    assertEquals(2, zorvan("report", "GetUsers", "--profile", "../corp"));
    assertEquals(2, zorvan("report", "GetUsers", "--profile", "absent"));
    assertFalse(said().contains("s3cret"));
  }
}
