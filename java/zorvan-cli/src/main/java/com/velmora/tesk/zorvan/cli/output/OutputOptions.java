package com.velmora.tesk.zorvan.cli.output;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.UsageException;
import java.io.IOException;
import java.nio.file.Path;
import java.time.DateTimeException;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import java.util.TreeSet;
import java.util.regex.Pattern;
import picocli.CommandLine.Option;

/** The options that say which attributes are shown, how many rows, how and where. */
public final class OutputOptions {
  private static final Pattern ATTRIBUTE = Pattern.compile("[A-Za-z][A-Za-z0-9;-]*");

  @Option(
      names = {"-a", "--attributes"},
      paramLabel = "NAMES",
      description =
          "The attributes to show, separated by commas, in this order; empty for the distinguished"
              + " name alone.")
  private String attributes;

  @Option(
      names = {"-f", "--format"},
      paramLabel = "FORMAT",
      defaultValue = "TABLE",
      description = "table (the default), csv, json (one array) or jsonl (a line for each row).")
  private OutputFormat format;

  @Option(
      names = {"-o", "--out"},
      paramLabel = "FILE",
      description =
          "Write the rows to FILE. It gets its name when it is whole; rows of a report that ended"
              + " early, or that lack values, are kept in FILE.partial. A new file can be read by"
              + " you alone; one that replaces another takes its mode. FILE must not be a link.")
  private Path out;

  @Option(
      names = {"-n", "--limit"},
      paramLabel = "N",
      description = "End after N rows.")
  private Long limit;

  @Option(
      names = "--raw",
      description = "Show values as the directory has them: times as counts, numbers as text.")
  private boolean raw;

  @Option(
      names = "--zone",
      paramLabel = "ZONE",
      defaultValue = "UTC",
      description =
          "The time zone of the times shown and of those given without one: UTC (the default),"
              + " local, or a name such as Europe/Berlin.")
  private String zone;

  @Option(
      names = {"-q", "--quiet"},
      description = "No summary and no progress on standard error, errors only.")
  private boolean quiet;

  @Option(
      names = {"-v", "--verbose"},
      description = "Show the library's log on standard error; twice for its detail.")
  private boolean[] verbose = {};

  /** The attributes asked for, each once; the given ones when nothing was asked for. */
  public List<String> columns(List<String> otherwise) {
    if (attributes == null) {
      return otherwise;
    }
    TreeSet<String> seen = new TreeSet<>(String.CASE_INSENSITIVE_ORDER);
    List<String> names =
        Arrays.stream(attributes.split(","))
            .map(String::trim)
            .filter(name -> !name.isEmpty())
            .filter(seen::add)
            .toList();
    for (String name : names) {
      if (!ATTRIBUTE.matcher(name).matches()) {
        throw new UsageException("\"" + name + "\" is not the name of an attribute.");
      }
    }
    return names;
  }

  /** How many rows are enough. */
  public long mostRows() {
    if (limit == null) {
      return Long.MAX_VALUE;
    }
    if (limit < 1) {
      throw new UsageException("--limit takes a number from 1 on.");
    }
    return limit;
  }

  /** The time zone of times. */
  public ZoneId zone() {
    if (zone.equalsIgnoreCase("local")) {
      return ZoneId.systemDefault();
    }
    if (zone.equalsIgnoreCase("UTC")) {
      return ZoneOffset.UTC;
    }
    try {
      return ZoneId.of(zone);
    } catch (DateTimeException e) {
      throw new UsageException("\"" + zone + "\" is not a time zone. Try Europe/Berlin or +02:00.");
    }
  }

  /** Whether only errors are told. */
  public boolean isQuiet() {
    return quiet;
  }

  /** Whether people read the output rather than programs. */
  public boolean isTable() {
    return format == OutputFormat.TABLE;
  }

  /** The file that the rows go to; none for standard output. */
  public Optional<Path> file() {
    return Optional.ofNullable(out);
  }

  /** Whether the rows are shown on a terminal. */
  public boolean isOnTerminal(Surroundings surroundings) {
    return surroundings.outputIsTerminal() && out == null;
  }

  /** Opens what the rows are written to. */
  public OutputTarget target(Surroundings surroundings) throws IOException {
    return out == null ? OutputTarget.standardOutput(surroundings) : OutputTarget.file(out);
  }

  /** Begins an output of the chosen format. */
  public RowWriter writer(OutputTarget target, List<String> shown, Surroundings surroundings)
      throws IOException {
    boolean onTerminal = isOnTerminal(surroundings);
    return format.open(
        target.writer(),
        shown,
        new ValueFormatter(raw, zone()),
        onTerminal,
        onTerminal ? surroundings.columns() : 0,
        surroundings.clock());
  }

  /** Up to which level the library's log is shown. */
  public int logLevel() {
    return verbose.length == 0 ? 0 : verbose.length == 1 ? 1 : 3;
  }
}
