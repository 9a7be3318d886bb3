package com.velmora.tesk.zorvan.common.server;

/**
 * Where the library's log lines go. Set with {@link ADHandler#setLogSink}. Both methods are called
 * on the threads that run native calls, also once or more for each row, so {@link #isWanted} must
 * be quick; an exception thrown here ends the native call.
 */
public interface LogSink {
  /** Milestones and failures. */
  int MILESTONE = 1;

  /** Paths, filters, counts, and what happens to each row. */
  int DETAIL = 3;

  /** Which of the library's logs a line belongs to. */
  enum Channel {
    GENERAL,
    MANAGEMENT,
    DELEGATION
  }

  /** Whether lines of this level are wanted; when not, {@link #write} is not called. */
  boolean isWanted(Channel channel, int level);

  /** Takes a line. It may end in a line break and may span several lines. */
  void write(Channel channel, int level, String text);
}
