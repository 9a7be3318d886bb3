package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.ExitCode;
import java.time.Duration;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * What Ctrl-C does: it asks the running report to end and waits until the rows got so far are
 * written. The library asks several times a second whether it shall go on, also while a controller
 * does not answer; when the report does not end all the same, the rows are written without waiting
 * for it.
 */
public final class Interruption {
  private static final Duration PATIENCE = Duration.ofSeconds(1);

  /** A report that runs and can be ended. */
  interface Run {
    /**
     * Writes what there is and lets nothing be added; called when the report itself does not end.
     */
    void abandon();
  }

  private final CountDownLatch ended = new CountDownLatch(1);
  private volatile boolean requested;
  private volatile Run run;
  private volatile int exitCode = ExitCode.PARTLY;

  /** Whether the report shall end. */
  public boolean isRequested() {
    return requested;
  }

  /** Asks the running report to end. */
  public void request() {
    requested = true;
  }

  /** The report that is running now, or null when none is. */
  void running(Run newRun) {
    run = newRun;
  }

  /**
   * Makes Ctrl-C and the termination signal ask for the end instead of ending the process at once.
   */
  public void install() {
    Runtime.getRuntime().addShutdownHook(new Thread(this::onShutdown, "interruption"));
  }

  /** Ends the process with this code, also while Ctrl-C is being handled. */
  public void exit(int code) {
    exitCode = code;
    ended.countDown();
    System.exit(code);
  }

  /** Ends the running report from outside, because it does not end by itself. */
  public void abandon() {
    Run stuck = run;
    if (stuck != null) {
      stuck.abandon();
    }
  }

  private void onShutdown() {
    if (ended.getCount() == 0 || run == null) {
      return;
    }
    request();
    try {
      if (!ended.await(PATIENCE.toMillis(), TimeUnit.MILLISECONDS)) {
        abandon();
      }
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
    }
    Runtime.getRuntime().halt(exitCode);
  }
}
