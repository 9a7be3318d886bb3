package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.output.RowWriter;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.io.IOException;
import java.time.Clock;
import java.util.Optional;
import java.util.Properties;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.ReentrantLock;

/**
 * Passes the rows of a running report on to the output, and ends the report when there are enough
 * of them, when Ctrl-C asks for it, or when the output takes no more. Nothing is thrown through the
 * native call: a failure to write, memory that ran out included, is kept until the report has
 * ended.
 */
final class RowStream implements NativeListener {
  private static final long FLUSH_MILLISECONDS = 200;

  private final RowWriter writer;
  private final long limit;
  private final Interruption interruption;
  private final Progress progress;
  private final Clock clock;
  private final ReentrantLock lock = new ReentrantLock();
  private volatile long rows;
  private volatile Throwable failure;
  private long lastFlush;
  private boolean closed;

  /**
   * @param limit how many rows are enough
   */
  RowStream(
      RowWriter writer, long limit, Interruption interruption, Progress progress, Clock clock) {
    this.writer = writer;
    this.limit = limit;
    this.interruption = interruption;
    this.progress = progress;
    this.clock = clock;
  }

  @Override
  public void addRow(Properties row) {
    lock.lock();
    try {
      if (closed || isCompleted()) {
        return;
      }
      writer.write(row);
      long now = clock.millis();
      if (rows == 0 || now - lastFlush >= FLUSH_MILLISECONDS) {
        writer.flush();
        lastFlush = now;
      }
      rows++;
      progress.show(rows);
    } catch (IOException | RuntimeException | Error e) {
      failure = e;
    } finally {
      lock.unlock();
    }
  }

  @Override
  public boolean isCompleted() {
    return rows >= limit || failure != null || interruption.isRequested();
  }

  /** How many rows were passed on. */
  long rows() {
    return rows;
  }

  /** Why the output took no more rows, if so. */
  Optional<Throwable> failure() {
    return Optional.ofNullable(failure);
  }

  /** What is done with the output once no more rows can come. */
  interface Ending {
    void run() throws IOException;
  }

  /**
   * Lets no more rows in and runs the ending, once; a later call does nothing.
   *
   * @param seconds how long to wait for a row that is being written
   * @return whether the ending ran
   */
  boolean close(long seconds, Ending ending) {
    try {
      if (!lock.tryLock(seconds, TimeUnit.SECONDS)) {
        return false;
      }
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      return false;
    }
    try {
      if (closed) {
        return false;
      }
      closed = true;
      progress.clear();
      ending.run();
    } catch (IOException | RuntimeException | Error e) {
      failure = failure == null ? e : failure;
    } finally {
      lock.unlock();
    }
    return true;
  }
}
