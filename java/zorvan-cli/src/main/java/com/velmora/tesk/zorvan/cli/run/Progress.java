package com.velmora.tesk.zorvan.cli.run;

import java.io.PrintWriter;
import java.time.Clock;
import java.util.Locale;

/** One line on the terminal that counts the rows of a report whose rows themselves go elsewhere. */
final class Progress {
  private static final long FIRST_MILLISECONDS = 1000;
  private static final long NEXT_MILLISECONDS = 250;
  private static final String CLEAR_LINE = "\r\u001b[K";

  private final PrintWriter messages;
  private final boolean wanted;
  private final Clock clock;
  private final long start;
  private long next;
  private boolean visible;

  Progress(PrintWriter messages, boolean wanted, Clock clock) {
    this.messages = messages;
    this.wanted = wanted;
    this.clock = clock;
    this.start = clock.millis();
    this.next = start + FIRST_MILLISECONDS;
  }

  void show(long rows) {
    if (!wanted || clock.millis() < next) {
      return;
    }
    long now = clock.millis();
    next = now + NEXT_MILLISECONDS;
    visible = true;
    messages.print(
        CLEAR_LINE
            + String.format(
                Locale.ROOT,
                "%,d rows, %,d per second (Ctrl-C ends the report)",
                rows,
                rows * 1000 / Math.max(1, now - start)));
    messages.flush();
  }

  void clear() {
    if (visible) {
      messages.print(CLEAR_LINE);
      messages.flush();
      visible = false;
    }
  }
}
