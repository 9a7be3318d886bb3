package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.run.Interruption;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintWriter;
import java.io.StringWriter;
import java.io.UncheckedIOException;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Clock;
import java.time.Instant;
import java.time.ZoneOffset;
import java.util.Arrays;
import java.util.function.Supplier;
import java.util.stream.Stream;
import org.junit.jupiter.api.io.TempDir;

/** A command line whose rows come from a script, and what it said and wrote. */
abstract class ScriptedCommandLine {
  private static final Clock CLOCK =
      Clock.fixed(Instant.parse("2024-03-31T12:00:00Z"), ZoneOffset.UTC);
  private static final String[] CONNECTION = {
    "--domain", "example.com", "--server", "dc1", "--server", "dc2"
  };

  @TempDir Path folder;
  final ByteArrayOutputStream bytes = new ByteArrayOutputStream();
  final StringWriter messages = new StringWriter();
  final Interruption interruption = new Interruption();
  final ScriptedSource source = new ScriptedSource();
  Supplier<ReportCatalogue> catalogue = ScriptedCommandLine::sample;
  OutputStream output = bytes;
  Charset outputCharset = StandardCharsets.UTF_8;
  String input = "";

  int zorvan(String... arguments) {
    Surroundings surroundings =
        new Surroundings(
            new ByteArrayInputStream(input.getBytes(StandardCharsets.UTF_8)),
            output,
            outputCharset,
            new PrintWriter(messages, true),
            false,
            false,
            0,
            folder,
            CLOCK);
    return new Zorvan(surroundings, catalogue, source, interruption).run(arguments);
  }

  int report(String... arguments) {
    return zorvan(
        Stream.of(new String[] {"report"}, arguments, CONNECTION)
            .flatMap(Arrays::stream)
            .toArray(String[]::new));
  }

  private static ReportCatalogue sample() {
    try (InputStream sample =
        ScriptedCommandLine.class.getResourceAsStream("sample-catalogue.json")) {
      return ReportCatalogue.read(sample);
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  /** The messages, whatever the system ends a line with. */
  String said() {
    return messages.toString().replace("\r\n", "\n");
  }

  String out() {
    return bytes.toString(StandardCharsets.UTF_8);
  }

  static String read(Path file) {
    try {
      return Files.readString(file);
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }
}
