package com.velmora.tesk.zorvan.cli;

import com.velmora.tesk.zorvan.common.server.LogSink;
import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.List;

/**
 * The library's log on the command line: shown on standard error when asked for. A search reports
 * its failures in no other way, so the lines that tell of one are remembered besides.
 */
final class MessageLog implements LogSink {
  private static final List<String> FAILURES =
      List.of(
          "Error Occured while Binding", "The search failed, filter", "The search broke off after");

  private final PrintWriter messages;
  private final int level;
  private final List<String> failures = new ArrayList<>();

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
    if (lineLevel <= MILESTONE && FAILURES.stream().anyMatch(line::startsWith)) {
      failures.add(line);
    }
  }

  /** The lines so far that tell of a failure. */
  synchronized List<String> failures() {
    return List.copyOf(failures);
  }
}
