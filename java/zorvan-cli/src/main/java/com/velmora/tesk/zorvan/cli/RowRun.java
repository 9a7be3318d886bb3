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

/** Runs a report or search, writes its rows, and says how it went. */
final class RowRun {
  private static final long SECONDS_FOR_A_ROW = 30;
  private static final long SECONDS_WHEN_STUCK = 1;

  private final Surroundings surroundings;
  private final Interruption interruption;
  private final OutputOptions options;
  private final PrintWriter messages;

  /** The native call that gives the rows. */
  interface Call {
    void run(NativeListener listener, NativeError errors);
  }

  RowRun(Surroundings surroundings, Interruption interruption, OutputOptions options) {
    this.surroundings = surroundings;
    this.interruption = interruption;
    this.options = options;
    this.messages = surroundings.messages();
  }

  /**
   * Runs the call to its end.
   *
   * @param columns what is shown of each row
   * @param failuresAreLogged whether the call tells of its failures in the log alone
   * @return the exit code
   */
  int run(List<String> columns, boolean failuresAreLogged, Call call) {
    long limit = options.mostRows();
    ValueFormatter formatter = new ValueFormatter(options.raw, options.zone());
    boolean rowsOnTerminal = surroundings.outputIsTerminal() && options.out == null;
    OutputTarget target;
    RowWriter writer;
    try {
      target =
          options.out == null
              ? OutputTarget.standardOutput(surroundings.output())
              : OutputTarget.file(options.out);
      int screenWidth = rowsOnTerminal ? surroundings.columns() : 0;
      writer =
          options.format.open(
              target.writer(), columns, formatter, screenWidth, surroundings.clock());
    } catch (IOException e) {
      messages.println("error: " + options.out + " cannot be written: " + e.getMessage());
      return ExitCode.FAILED;
    }
    boolean showProgress = surroundings.messagesAreTerminal() && !rowsOnTerminal && !options.quiet;
    RowStream stream =
        new RowStream(
            writer,
            limit,
            interruption,
            new Progress(messages, showProgress, surroundings.clock()),
            surroundings.clock());
    Outcome outcome = new Outcome(target, writer, stream, new NativeError());
    long start = surroundings.clock().millis();
    MessageLog log = new MessageLog(messages, options.logLevel());
    LogSink before = ADHandler.setLogSink(log);
    interruption.running(() -> outcome.end(SECONDS_WHEN_STUCK, Optional.empty()));
    Optional<Throwable> thrown = Optional.empty();
    try {
      call.run(stream, outcome.errors);
    } catch (RuntimeException | LinkageError e) {
      thrown = Optional.of(e);
    } finally {
      ADHandler.setLogSink(before);
    }
    if (failuresAreLogged) {
      outcome.loggedFailures = log.failures();
    }
    int code = outcome.end(SECONDS_FOR_A_ROW, thrown);
    interruption.running(null);
    if (!options.quiet && code != ExitCode.FAILED) {
      outcome.summarize(surroundings.clock().millis() - start, rowsOnTerminal);
    }
    return code;
  }

  // The end of a run: decides how it went, closes the output accordingly, and tells.
  private final class Outcome {
    private final OutputTarget target;
    private final RowWriter writer;
    private final RowStream stream;
    private final NativeError errors;
    private List<String> loggedFailures = List.of();
    private Optional<Path> partial = Optional.empty();

    Outcome(OutputTarget target, RowWriter writer, RowStream stream, NativeError errors) {
      this.target = target;
      this.writer = writer;
      this.stream = stream;
      this.errors = errors;
    }

    int end(long seconds, Optional<Throwable> thrown) {
      int[] code = {ExitCode.PARTLY};
      stream.close(
          seconds,
          () -> {
            code[0] = exitCode(thrown);
            switch (code[0]) {
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
          });
      if (code[0] == ExitCode.COMPLETE && stream.failure().isPresent()) {
        code[0] = stream.rows() > 0 ? ExitCode.PARTLY : ExitCode.FAILED;
      }
      tell(thrown);
      return code[0];
    }

    private int exitCode(Optional<Throwable> thrown) {
      boolean severe =
          thrown.isPresent()
              || stream.failure().isPresent()
              || !loggedFailures.isEmpty()
              || errors.entries().stream().anyMatch(NativeError.Entry::isSevere);
      if (severe) {
        return stream.rows() > 0 ? ExitCode.PARTLY : ExitCode.FAILED;
      }
      return interruption.isRequested() || !errors.isEmpty() ? ExitCode.PARTLY : ExitCode.COMPLETE;
    }

    private void tell(Optional<Throwable> thrown) {
      ErrorTexts texts = new ErrorTexts();
      errors.entries().forEach(entry -> messages.println(texts.describe(entry)));
      loggedFailures.forEach(line -> messages.println(texts.describeLogged(line)));
      thrown.ifPresent(e -> messages.println("error: " + describe(e)));
      stream
          .failure()
          .filter(e -> !isReaderGone(e))
          .ifPresent(e -> messages.println("error: the rows cannot be written: " + describe(e)));
    }

    private String describe(Throwable e) {
      return e instanceof LinkageError || e instanceof IOException
          ? String.valueOf(e.getMessage())
          : e.toString();
    }

    // "zorvan ... | head" is no error.
    private boolean isReaderGone(Exception e) {
      return options.out == null
          && e instanceof IOException
          && String.valueOf(e.getMessage()).toLowerCase(Locale.ROOT).contains("pipe");
    }

    void summarize(long milliseconds, boolean rowsOnTerminal) {
      boolean wanted =
          surroundings.messagesAreTerminal()
              || options.format == OutputFormat.TABLE
              || options.out != null
              || interruption.isRequested();
      if (!wanted) {
        return;
      }
      String count =
          String.format(
              Locale.ROOT,
              "%,d %s in %.1f s",
              stream.rows(),
              stream.rows() == 1 ? "row" : "rows",
              milliseconds / 1000.0);
      String place =
          partial
              .map(file -> ", kept in " + file)
              .orElse(options.out == null ? "" : ", written to " + options.out);
      String early =
          interruption.isRequested()
              ? "; ended by Ctrl-C, there may be more"
              : partial.isPresent() ? "; there may be more" : "";
      String limited =
          options.limit != null && stream.rows() == options.limit ? " (the limit)" : "";
      messages.println((rowsOnTerminal ? "\n" : "") + count + limited + place + early);
    }
  }
}
