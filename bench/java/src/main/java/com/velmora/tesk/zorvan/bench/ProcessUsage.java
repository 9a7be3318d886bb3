package com.velmora.tesk.zorvan.bench;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/** What this whole process, all its threads included, has used so far. */
final class ProcessUsage {
  private static final Path SELF = Path.of("/proc/self");
  private static final double TICKS_PER_SECOND = 100;
  private static final int USER_TICKS = 11;
  private static final int SYSTEM_TICKS = 12;

  private ProcessUsage() {}

  static double cpuSeconds() throws IOException {
    String line = Files.readString(SELF.resolve("stat"));
    // The fields behind the program's name, which stands in parentheses and may hold anything.
    String[] fields = line.substring(line.lastIndexOf(')') + 2).split(" ");
    return (Long.parseLong(fields[USER_TICKS]) + Long.parseLong(fields[SYSTEM_TICKS]))
        / TICKS_PER_SECOND;
  }

  /** The largest part of the process that was in memory at one time, in KiB. */
  static long peakMemory() throws IOException {
    for (String line : Files.readAllLines(SELF.resolve("status"))) {
      if (line.startsWith("VmHWM:")) {
        return Long.parseLong(line.replaceAll("\\D", ""));
      }
    }
    throw new IOException("no VmHWM");
  }

  /** Lets {@link #peakMemory} begin anew with what is in memory now. */
  static void forgetPeakMemory() throws IOException {
    Files.writeString(SELF.resolve("clear_refs"), "5");
  }
}
