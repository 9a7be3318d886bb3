package com.velmora.tesk.zorvan.common.server.domain;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.JniReferences;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import javax.management.JMException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.EnabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Many calls at once, and many one after the other. */
class ConcurrencyTest {
  private static final int THREADS = 16;
  private static final int WARM_UP = 15;
  private static final int WINDOWS = 10;
  private static final int CALLS_IN_A_WINDOW = 10;
  // A window's calls carry some ten thousand values.
  private static final long NOTICEABLE = 256 << 10;

  @Test
  void reportsThatRunAtOnceAreAllRight() throws Exception {
    Expected expected = Expected.get();
    List<PlainReport> reports = new ArrayList<>(PlainReport.ALL);
    // The ones with most rows run longest side by side.
    reports.sort((a, b) -> rowsOf(expected, b) - rowsOf(expected, a));
    ExecutorService threads = Executors.newFixedThreadPool(THREADS);
    try {
      CyclicBarrier start = new CyclicBarrier(THREADS);
      List<Future<Call>> calls = new ArrayList<>();
      for (PlainReport report : reports.subList(0, THREADS)) {
        Callable<Call> call =
            () -> {
              start.await();
              return new Call()
                  .report(
                      report,
                      TestDomain.settings(),
                      List.of("distinguishedName", "manager", "sAMAccountName"));
            };
        calls.add(threads.submit(call));
      }
      for (int i = 0; i < THREADS; i++) {
        PlainReport report = reports.get(i);
        expected
            .compared(report.name(), calls.get(i).get())
            .forEach(
                (dn, row) ->
                    assertEquals(
                        expected.values(expected.object(dn), "manager"),
                        row.getOrDefault("manager", List.of()),
                        dn));
      }
    } finally {
      threads.shutdownNow();
    }
  }

  private static int rowsOf(Expected expected, PlainReport report) {
    return expected.reported(report.name()).size();
  }

  // ---- Growth ----

  /** Two calls: rows with values that are looked up, and a refusal. */
  private static void callTwice() {
    Call call = new Call();
    call.search(
        TestDomain.COMPANY,
        "(&(objectCategory=group)(name=Team*))",
        "cn",
        "objectSid",
        "whenCreated",
        "member",
        "managedBy");
    assertEquals(80, call.rows.size(), call.errors::toString);
    assertEquals(
        1,
        new Call()
            .users(TestDomain.settings(), "OU=Nowhere," + TestDomain.BASE, "cn")
            .errors
            .entries()
            .size());
  }

  @Test
  void callsLeaveNoGlobalReferences() throws JMException {
    callTwice();
    long before = JniReferences.global();
    for (int i = 0; i < 10; i++) {
      callTwice();
    }
    long growth = JniReferences.global() - before;
    assertTrue(growth < 10, () -> growth + " more after 20 calls");
  }

  @Test
  @EnabledOnOs(value = OS.LINUX, disabledReason = "reads /proc")
  void hundredCallsLeaveNoDescriptorsAndNoMemory() throws IOException {
    for (int i = 0; i < WARM_UP; i++) {
      callTwice();
    }
    int descriptors = descriptors();
    List<Long> growth = new ArrayList<>();
    long before = nativeMemory();
    for (int window = 0; window < WINDOWS; window++) {
      for (int i = 0; i < CALLS_IN_A_WINDOW; i += 2) {
        callTwice();
      }
      long now = nativeMemory();
      growth.add(now - before);
      before = now;
    }
    assertEquals(descriptors, descriptors());
    // The compiler of the virtual machine takes and gives memory in bursts; a leak is in each
    // window.
    growth.sort(null);
    assertTrue(growth.get(WINDOWS / 2) < NOTICEABLE, growth::toString);
  }

  private static int descriptors() throws IOException {
    try (var files = Files.list(Path.of("/proc/self/fd"))) {
      return (int) files.count();
    }
  }

  /** Resident bytes outside the first 4 GiB of addresses, where the Java heap lies. */
  private static long nativeMemory() throws IOException {
    long kilobytes = 0;
    boolean counted = false;
    for (String line : Files.readAllLines(Path.of("/proc/self/smaps"))) {
      if (line.matches("[0-9a-f]+-[0-9a-f]+ .*")) {
        counted = line.indexOf('-') > 8 && line.matches("\\S+ rw.*");
      } else if (counted && line.startsWith("Rss:")) {
        kilobytes += Long.parseLong(line.replaceAll("\\D", ""));
      }
    }
    return kilobytes << 10;
  }
}
