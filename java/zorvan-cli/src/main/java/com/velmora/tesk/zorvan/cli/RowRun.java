package com.velmora.tesk.zorvan.cli;

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
final class RowRun {
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
  private final MessageLog log;
  private List<MessageLog.Failure> loggedFailures = List.of();
  private Optional<Throwable> thrown = Optional.empty();
  private Optional<Path> partial = Optional.empty();

  /** The native call that gives the rows. */
  interface Call {
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
    this.log = new MessageLog(messages, options.logLevel());
    this.start = surroundings.clock().millis();
    this.rowsOnTerminal = surroundings.outputIsTerminal() && options.out == null;
    ValueFormatter formatter = new ValueFormatter(options.raw, options.zone());
    boolean showProgress = surroundings.messagesAreTerminal() && !rowsOnTerminal && !options.quiet;
    this.target =
        options.out == null
            ? OutputTarget.standardOutput(surroundings)
            : OutputTarget.file(options.out);
    this.writer =
        options.format.open(
            target.writer(),
            columns,
            formatter,
            rowsOnTerminal,
            rowsOnTerminal ? surroundings.columns() : 0,
            surroundings.clock());
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
   * @param failuresAreLogged whether the call tells of its failures in the log alone
   * @return the exit code
   */
  static int run(
      Surroundings surroundings,
      Interruption interruption,
      OutputOptions options,
      List<String> columns,
      Optional<String> doubt,
      boolean failuresAreLogged,
      Call call) {
    RowRun run;
    try {
      run = new RowRun(surroundings, interruption, options, columns, doubt);
    } catch (IOException e) {
      surroundings
          .messages()
          .println("error: " + options.out + " cannot be written: " + e.getMessage());
      return ExitCode.FAILED;
    }
    interruption.running(() -> run.end(SECONDS_WHEN_STUCK));
    try {
      run.call(call, failuresAreLogged);
      return run.end(SECONDS_FOR_A_ROW);
    } finally {
      interruption.running(null);
    }
  }

  private void call(Call call, boolean failuresAreLogged) {
    LogSink before = ADHandler.setLogSink(log);
    try {
      call.run(stream, errors);
    } catch (RuntimeException | Error e) {
      thrown = Optional.of(e);
    } finally {
      ADHandler.setLogSink(before);
    }
    if (failuresAreLogged) {
      loggedFailures = log.failures().stream().filter(f -> !isAskedFor(f.code())).toList();
    }
  }

  // Runs on the thread of Ctrl-C when the call itself does not end; whoever comes second does
  // nothing.
  private int end(long seconds) {
    boolean ended = stream.close(seconds, this::finishOutput);
    int code = exitCode();
    if (ended) {
      tell();
      if (!options.quiet && code != ExitCode.FAILED) {
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
    boolean rowsAreLost = stream.rows() == 0 || outputFailed && options.out != null;
    if (outputFailed
        || thrown.isPresent()
        || !loggedFailures.isEmpty()
        || entries().stream().anyMatch(NativeError.Entry::isSevere)) {
      return rowsAreLost ? ExitCode.FAILED : ExitCode.PARTLY;
    }
    // All rows may be there when a list in one of them is cut. Who counts its values is misled all
    // the same, so such a result is not whole.
    boolean partly =
        interruption.isRequested()
            || !entries().isEmpty()
            || new NoticeTexts(errors.notices()).tellOfMissingValues();
    return partly ? ExitCode.PARTLY : ExitCode.COMPLETE;
  }

  // Without those that only say that the call ended because it was told to.
  private List<NativeError.Entry> entries() {
    return errors.entries().stream().filter(entry -> !isAskedFor(entry.code())).toList();
  }

  private boolean isAskedFor(String code) {
    return CANCELLED.contains(code) && stream.isCompleted();
  }

  private void tell() {
    ErrorTexts texts = new ErrorTexts();
    List<NativeError.Entry> entries = entries();
    entries.forEach(entry -> messages.println(texts.describe(entry)));
    loggedFailures.forEach(failure -> messages.println(texts.describe(failure)));
    boolean failed = !(entries.isEmpty() && loggedFailures.isEmpty());
    if (stream.rows() > 0 && failed) {
      new NoticeTexts(errors.notices())
          .reasons()
          .forEach(reason -> messages.println("  reason " + reason));
    }
    if (stream.rows() == 0 && failed) {
      // Once there are rows, these tell of one object among many.
      log.details().forEach(detail -> messages.println("  " + detail));
      doubt.ifPresent(text -> messages.println("  " + text));
    }
    thrown.ifPresent(e -> messages.println("error: " + ErrorTexts.describe(e)));
    stream
        .failure()
        .filter(e -> !isReaderGone(e))
        .ifPresent(
            e -> messages.println("error: the rows cannot be written: " + ErrorTexts.describe(e)));
    NoticeTexts notices = new NoticeTexts(errors.notices());
    notices.missingValues().forEach(messages::println);
    if (!options.quiet) {
      notices.warnings().forEach(messages::println);
    }
  }

  // "zorvan ... | head" is no error.
  private boolean isReaderGone(Throwable e) {
    return options.out == null
        && e instanceof IOException
        && String.valueOf(e.getMessage()).toLowerCase(Locale.ROOT).contains("pipe");
  }

  private void summarize() {
    boolean wanted =
        surroundings.messagesAreTerminal()
            || options.format == OutputFormat.TABLE
            || options.out != null
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
    return options.out == null ? "" : ", written to " + options.out;
  }

  private String howItEnded() {
    if (interruption.isRequested()) {
      return "; ended by Ctrl-C, there may be more";
    }
    if (exitCode() == ExitCode.PARTLY) {
      boolean ended = thrown.isPresent() || !entries().isEmpty() || !loggedFailures.isEmpty();
      return ended || stream.failure().isPresent() ? "; there may be more" : "; values are missing";
    }
    return options.limit != null && stream.rows() == options.limit ? " (as many as asked for)" : "";
  }
}
