package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.ExitCode;
import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.output.OutputOptions;
import com.velmora.tesk.zorvan.cli.output.OutputTarget;
import com.velmora.tesk.zorvan.cli.output.RowWriter;
import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.LogSink;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.io.IOException;
import java.io.PrintWriter;
import java.nio.file.Path;
import java.util.List;
import java.util.Locale;
import java.util.Optional;
import java.util.Set;

/** One run of a report or search: writes its rows, and says how it went. */
public final class RowRun {
  private static final long SECONDS_FOR_A_ROW = 30;
  private static final long SECONDS_WHEN_STUCK = 1;
  private static final Set<String> CANCELLED = Set.of("800704c7", "4c7");

  private final Surroundings surroundings;
  private final Interruption interruption;
  private final OutputOptions options;
  private final PrintWriter messages;
  private final boolean rowsOnTerminal;
  private final OutputTarget target;
  private final RowWriter writer;
  private final RowStream stream;
  private final NativeError errors = new NativeError();
  private final long start;
  private final Optional<String> doubt;
  private Optional<Throwable> thrown = Optional.empty();
  private Optional<Path> partial = Optional.empty();

  /** The native call that gives the rows. */
  public interface Call {
    void run(NativeListener listener, NativeError errors);
  }

  private RowRun(
      Surroundings surroundings,
      Interruption interruption,
      OutputOptions options,
      List<String> columns,
      Optional<String> doubt)
      throws IOException {
    this.surroundings = surroundings;
    this.interruption = interruption;
    this.options = options;
    this.doubt = doubt;
    this.messages = surroundings.messages();
    this.start = surroundings.clock().millis();
    this.rowsOnTerminal = options.isOnTerminal(surroundings);
    boolean showProgress =
        surroundings.messagesAreTerminal() && !rowsOnTerminal && !options.isQuiet();
    this.target = options.target(surroundings);
    this.writer = options.writer(target, columns, surroundings);
    this.stream =
        new RowStream(
            writer,
            options.mostRows(),
            interruption,
            new Progress(messages, showProgress, surroundings.clock()),
            surroundings.clock());
  }

  /**
   * Runs the call to its end.
   *
   * @param columns what is shown of each row
   * @param doubt what is probably wrong when the call fails, if anything
   * @return the exit code
   */
  public static int run(
      Surroundings surroundings,
      Interruption interruption,
      OutputOptions options,
      List<String> columns,
      Optional<String> doubt,
      Call call) {
    RowRun run;
    try {
      run = new RowRun(surroundings, interruption, options, columns, doubt);
    } catch (IOException e) {
      String output = options.file().map(Path::toString).orElse("standard output");
      surroundings.messages().println("error: " + output + " cannot be written: " + e.getMessage());
      return ExitCode.FAILED;
    }
    interruption.running(() -> run.end(SECONDS_WHEN_STUCK));
    try {
      run.call(call);
      return run.end(SECONDS_FOR_A_ROW);
    } finally {
      interruption.running(null);
    }
  }

  private void call(Call call) {
    LogSink before = ADHandler.setLogSink(new MessageLog(messages, options.logLevel()));
    try {
      call.run(stream, errors);
    } catch (RuntimeException | Error e) {
      thrown = Optional.of(e);
    } finally {
      ADHandler.setLogSink(before);
    }
  }

  // Runs on the thread of Ctrl-C when the call itself does not end; whoever comes second does
  // nothing.
  private int end(long seconds) {
    boolean ended = stream.close(seconds, this::finishOutput);
    int code = exitCode();
    if (ended) {
      tell();
      if (!options.isQuiet() && code != ExitCode.FAILED) {
        summarize();
      }
    }
    return code;
  }

  private void finishOutput() throws IOException {
    try {
      switch (exitCode()) {
        case ExitCode.COMPLETE -> {
          writer.end();
          target.complete();
        }
        case ExitCode.FAILED -> target.discard();
        default -> {
          writer.end();
          partial = target.keepPartly();
        }
      }
    } catch (IOException e) {
      target.discard();
      throw e;
    }
  }

  private int exitCode() {
    boolean outputFailed = stream.failure().isPresent();
    boolean rowsAreLost = stream.rows() == 0 || outputFailed && options.file().isPresent();
    if (outputFailed
        || thrown.isPresent()
        || !failures().isEmpty()
        || entries().stream().anyMatch(NativeError.Entry::isSevere)) {
      return rowsAreLost ? ExitCode.FAILED : ExitCode.PARTLY;
    }
    // All rows may be there when a list in one of them is cut. Who counts its values is misled all
    // the same, so such a result is not whole.
    boolean partly =
        interruption.isRequested() || !entries().isEmpty() || notices().tellOfMissingValues();
    return partly ? ExitCode.PARTLY : ExitCode.COMPLETE;
  }

  // Without those that only say that the call ended because it was told to.
  private List<NativeError.Entry> entries() {
    return errors.entries().stream().filter(entry -> !isAskedFor(entry.code())).toList();
  }

  private List<NativeError.Notice> failures() {
    return notices().failures().stream()
        .filter(failure -> !isAskedFor(Long.toHexString(failure.count())))
        .toList();
  }

  private NoticeTexts notices() {
    return new NoticeTexts(errors.notices());
  }

  private boolean isAskedFor(String code) {
    return CANCELLED.contains(code) && stream.isCompleted();
  }

  private void tell() {
    tellErrors();
    thrown.ifPresent(e -> messages.println("error: " + ErrorTexts.describe(e)));
    stream
        .failure()
        .filter(e -> !isReaderGone(e))
        .ifPresent(
            e -> messages.println("error: the rows cannot be written: " + ErrorTexts.describe(e)));
    NoticeTexts notices = notices();
    notices.missingValues().forEach(messages::println);
    if (!options.isQuiet()) {
      notices.warnings().forEach(messages::println);
    }
  }

  private void tellErrors() {
    ErrorTexts texts = new ErrorTexts();
    List<NativeError.Entry> entries = entries();
    List<NativeError.Notice> failures = failures();
    if (entries.isEmpty() && failures.isEmpty()) {
      return;
    }
    entries.forEach(entry -> messages.println(texts.describe(entry)));
    if (entries.isEmpty()) {
      failures.forEach(failure -> messages.println(texts.describe(failure, stream.rows() > 0)));
    }
    notices().explanations().forEach(explanation -> messages.println("  " + explanation));
    if (stream.rows() == 0) {
      doubt.ifPresent(text -> messages.println("  " + text));
    }
  }

  // "zorvan ... | head" is no error.
  private boolean isReaderGone(Throwable e) {
    return options.file().isEmpty()
        && e instanceof IOException
        && String.valueOf(e.getMessage()).toLowerCase(Locale.ROOT).contains("pipe");
  }

  private void summarize() {
    boolean wanted =
        surroundings.messagesAreTerminal()
            || options.isTable()
            || options.file().isPresent()
            || interruption.isRequested();
    if (wanted) {
      messages.println((rowsOnTerminal ? "\n" : "") + count() + place() + howItEnded());
    }
  }

  private String count() {
    double seconds = (surroundings.clock().millis() - start) / 1000.0;
    String unit = stream.rows() == 1 ? "row" : "rows";
    return String.format(Locale.ROOT, "%,d %s in %.1f s", stream.rows(), unit, seconds);
  }

  private String place() {
    if (partial.isPresent()) {
      return ", kept in " + partial.get();
    }
    return options.file().map(file -> ", written to " + file).orElse("");
  }

  private String howItEnded() {
    if (interruption.isRequested()) {
      return "; ended by Ctrl-C, there may be more";
    }
    if (exitCode() == ExitCode.PARTLY) {
      boolean ended = thrown.isPresent() || !entries().isEmpty() || !failures().isEmpty();
      return ended || stream.failure().isPresent() ? "; there may be more" : "; values are missing";
    }
    return stream.rows() == options.mostRows() ? " (as many as asked for)" : "";
  }
}
