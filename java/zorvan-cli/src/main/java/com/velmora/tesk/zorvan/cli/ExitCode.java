package com.velmora.tesk.zorvan.cli;

/** How a command ended, for the shell. */
public final class ExitCode {
  /** All rows there are, or as many as were asked for; none is fine too. */
  public static final int COMPLETE = 0;

  /** Nothing was got. */
  public static final int FAILED = 1;

  /** The command was not understood. */
  public static final int USAGE = 2;

  /** Rows were got, but not all, or not with all their values: an error on the way, or Ctrl-C. */
  public static final int PARTLY = 3;

  private ExitCode() {}
}
