package com.velmora.tesk.zorvan.common.server.domain;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.LocalDateTime;
import java.time.format.DateTimeFormatter;
import java.time.temporal.ChronoUnit;
import java.util.ArrayList;
import java.util.HexFormat;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Objects;
import java.util.Properties;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import java.util.function.Function;
import java.util.stream.Collectors;

/**
 * What the server's own database says that the rows must be.
 *
 * <p>It is read with {@code ldbsearch}, or from a folder that {@link ExpectedWriter} filled before
 * ({@code -Dzorvan.expected=FOLDER}) where there is no {@code ldbsearch}.
 */
final class Expected {
  /** An ordinary user, who has a password, whom the tests give wrong ones. */
  static final String MISTYPED = TestDomain.property("readerUserName");

  /** How the accounts begin that may not log on, each for another reason. */
  static final String REFUSED = "n.refused.";

  private static final LocalDateTime YEAR_1601 = LocalDateTime.of(1601, 1, 1, 0, 0);
  private static final DateTimeFormatter GENERALIZED_TIME =
      DateTimeFormatter.ofPattern("uuuuMMddHHmmss'.0Z'");
  private static final Set<String> NESTED =
      Set.of("memberof", "member", "managedby", "authorig", "unauthorig");
  private static final Set<String> COMMON_NAMES =
      Set.of("manager", "publicdelegates", "altrecipient");
  // Who may and may not write to a recipient is kept in two attributes each: for people, for lists.
  private static final Map<String, List<String>> SOURCES =
      Map.of(
          "authOrig", List.of("authOrig", "dLMemSubmitPerms"),
          "unauthOrig", List.of("unauthOrig", "dLMemRejectPerms"));
  private static final Set<String> IN_USE =
      Set.of(
          TestDomain.property("userName"),
          TestDomain.property("disabledUserName"),
          MISTYPED,
          "DC1$");

  private static Expected instance;

  private final Path folder;
  private final Map<String, Ldif.Entry> objects;
  private final Map<String, Ldif.Entry> byAccount = new TreeMap<>(String.CASE_INSENSITIVE_ORDER);

  private Expected(Path folder) {
    this.folder = folder;
    this.objects =
        read(ExpectedWriter.OBJECTS).stream()
            .collect(Collectors.toMap(Ldif.Entry::dn, Function.identity()));
    objects.values().forEach(o -> o.texts("sAMAccountName").forEach(n -> byAccount.put(n, o)));
  }

  static synchronized Expected get() {
    if (instance == null) {
      String given = System.getProperty("zorvan.expected");
      try {
        instance = new Expected(given == null ? ExpectedWriter.writeAside() : Path.of(given));
      } catch (IOException e) {
        throw new UncheckedIOException(e);
      }
    }
    return instance;
  }

  private List<Ldif.Entry> read(String name) {
    try {
      return Ldif.parse(Files.readString(folder.resolve(name + ".ldif")));
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  /** The names of the objects that a report must show. */
  Set<String> all(String report) {
    return read(report).stream().map(Ldif.Entry::dn).collect(Collectors.toSet());
  }

  /** The same without those of accounts in use. */
  Set<String> reported(String report) {
    return all(report).stream().filter(dn -> !isInUse(dn)).collect(Collectors.toSet());
  }

  /** The rows of a call by name, which must be those of a report; without accounts in use. */
  Map<String, Properties> compared(String report, Call call) {
    Map<String, Properties> rows = call.byName();
    rows.keySet().removeIf(this::isInUse);
    Set<String> reported = reported(report);
    Set<String> missing = new TreeSet<>(reported);
    missing.removeAll(rows.keySet());
    Set<String> excess = new TreeSet<>(rows.keySet());
    excess.removeAll(reported);
    if (!missing.isEmpty() || !excess.isEmpty() || !call.errors.isEmpty()) {
      throw new AssertionError(
          report + ": missing " + missing + "\ntoo many " + excess + "\nerrors " + call.errors);
    }
    return rows;
  }

  // Who logs on, the tests or the controller itself, changes while they run.
  private boolean isInUse(String dn) {
    return object(dn).texts("sAMAccountName").stream()
        .anyMatch(name -> IN_USE.contains(name) || name.startsWith(REFUSED));
  }

  /** The object of a distinguished name. */
  Ldif.Entry object(String dn) {
    return Objects.requireNonNull(objects.get(dn), () -> "the database has no " + dn);
  }

  /** The object of a logon name. */
  Ldif.Entry account(String name) {
    return Objects.requireNonNull(byAccount.get(name), () -> "the database has no " + name);
  }

  /** The values that a row must hold for an attribute: texts or nested properties. */
  List<Object> values(Ldif.Entry object, String attribute) {
    List<Object> values = new ArrayList<>();
    for (String source : SOURCES.getOrDefault(attribute, List.of(attribute))) {
      object.values().getOrDefault(source, List.of()).forEach(v -> values.add(value(attribute, v)));
    }
    return values;
  }

  private Object value(String attribute, byte[] value) {
    return attribute.equalsIgnoreCase("logonHours")
        ? HexFormat.of().formatHex(value)
        : value(attribute.toLowerCase(Locale.ROOT), new String(value, StandardCharsets.UTF_8));
  }

  private Object value(String attribute, String text) {
    if (NESTED.contains(attribute)) {
      return nested(text);
    }
    if (COMMON_NAMES.contains(attribute)) {
      return object(text).texts("cn").get(0);
    }
    if (attribute.equals("rightsguid")) {
      return "{" + text + "}";
    }
    if (attribute.equals("objectguid") || attribute.equals("schemaidguid")) {
      return "{" + text.toUpperCase(Locale.ROOT) + "}";
    }
    if (text.equals("TRUE") || text.equals("FALSE")) {
      return text.equals("TRUE") ? "1" : "0";
    }
    return text.matches("\\d{14}\\.0Z")
        ? String.valueOf(intervals(LocalDateTime.parse(text, GENERALIZED_TIME)))
        : text;
  }

  /** The element of a row for an object that an attribute points to. */
  Properties nested(String dn) {
    Ldif.Entry target = object(dn);
    Properties properties = new Properties();
    properties.put("distinguishedName", dn);
    properties.put("cn", target.texts("cn").get(0));
    properties.put("objectGUID", values(target, "objectGUID").get(0));
    return properties;
  }

  /** The count of 100-nanosecond intervals since 1601 of a day's beginning in UTC. */
  static long intervals(String date) {
    return intervals(LocalDateTime.parse(date + "T00:00:00"));
  }

  private static long intervals(LocalDateTime time) {
    return ChronoUnit.SECONDS.between(YEAR_1601, time) * 10_000_000;
  }
}
