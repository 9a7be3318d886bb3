package com.velmora.tesk.zorvan.cli;

import com.velmora.tesk.zorvan.common.server.LogSink;
import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

/**
 * The library's log on the command line: shown on standard error when asked for. A search reports
 * its failures in no other way, so the lines that tell of one are remembered besides, as are those
 * that say more of an error than its entry does.
 */
final class MessageLog implements LogSink {
  // How the lines begin that tell of a failed search, and what they mean.
  private static final Map<String, String> FAILURES =
      Map.of(
          "Error Occured while Binding",
          "The container that the search begins at could not be read",
          "The search failed, filter",
          "The search failed",
          "The search broke off after",
          "The search broke off, there may be more");
  private static final Pattern CODE_AT_END = Pattern.compile("error code\\D*: ?([0-9a-f]+)$");

  // Lines that explain an error, by what is said of it.
  private static final Map<String, Pattern> DETAILS =
      Map.of(
          "reason", Pattern.compile("The directory said: (.+)"),
          "path", Pattern.compile("Object Bind Failed,bind str: (.+),error code: [0-9a-f]+"));
  private static final String CONTROLLER_FOUND = "ValidDC ";

  private final PrintWriter messages;
  private final int level;
  private final List<Failure> failures = new ArrayList<>();
  private final Map<String, String> details = new LinkedHashMap<>();

  /**
   * A line that tells of a failure.
   *
   * @param words what it means
   * @param code its result code in hexadecimal, empty when it has none
   * @param line the line itself
   */
  record Failure(String words, String code, String line) {}

  /**
   * @param level lines up to this level are shown
   */
  MessageLog(PrintWriter messages, int level) {
    this.messages = messages;
    this.level = level;
  }

  @Override
  public boolean isWanted(Channel channel, int lineLevel) {
    return lineLevel <= Math.max(level, MILESTONE);
  }

  @Override
  public synchronized void write(Channel channel, int lineLevel, String text) {
    String line = TerminalText.harmless(text.strip());
    if (lineLevel <= level) {
      messages.println("log: " + line);
    }
    if (lineLevel <= MILESTONE) {
      keepDetail(line);
      FAILURES.forEach(
          (beginning, words) -> {
            if (line.startsWith(beginning)) {
              Matcher code = CODE_AT_END.matcher(line);
              failures.add(new Failure(words, code.find() ? code.group(1) : "", line));
            }
          });
    }
  }

  private void keepDetail(String line) {
    if (line.startsWith(CONTROLLER_FOUND)) {
      // What was said of the controllers before it explains nothing that comes.
      details.clear();
    }
    DETAILS.forEach(
        (name, pattern) -> {
          Matcher matcher = pattern.matcher(line);
          if (matcher.matches()) {
            details.put(name, matcher.group(1));
          }
        });
  }

  /** What explains an error that ends the call now, each as "name text". */
  synchronized List<String> details() {
    return details.entrySet().stream()
        .map(detail -> detail.getKey() + " " + detail.getValue())
        .toList();
  }

  /** The failures told of so far. */
  synchronized List<Failure> failures() {
    return List.copyOf(failures);
  }
}
