package com.velmora.tesk.zorvan.cli;

import java.io.BufferedWriter;
import java.io.IOException;
import java.io.OutputStream;
import java.io.OutputStreamWriter;
import java.io.Writer;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;
import java.util.Optional;

/**
 * Where rows are written: standard output, or a file. A file is written under another name beside
 * it and takes its own name only when it is whole, so a file of that name is never half of
 * something.
 */
final class OutputTarget {
  private static final String PARTIAL = ".partial";

  private final Writer writer;
  private final Path file;
  private final Path written;

  private OutputTarget(OutputStream stream, Charset charset, Path file, Path written) {
    this.writer = new BufferedWriter(new OutputStreamWriter(stream, charset), 1 << 16);
    this.file = file;
    this.written = written;
  }

  static OutputTarget standardOutput(Surroundings surroundings) {
    return new OutputTarget(surroundings.output(), surroundings.outputCharset(), null, null);
  }

  /** A file; devices and pipes are written to as they are. */
  static OutputTarget file(Path named) throws IOException {
    Path file = Files.exists(named) ? named.toRealPath() : named.toAbsolutePath();
    if (Files.isDirectory(file)) {
      throw new IOException(named + " is a folder");
    }
    if (Files.exists(file) && !Files.isRegularFile(file)) {
      OutputStream device = Files.newOutputStream(file, StandardOpenOption.WRITE);
      return new OutputTarget(device, StandardCharsets.UTF_8, null, null);
    }
    Path folder = file.getParent();
    if (!Files.isDirectory(folder)) {
      throw new IOException("the folder " + folder + " does not exist");
    }
    Path written =
        file.resolveSibling(
            "." + file.getFileName() + "." + ProcessHandle.current().pid() + ".unfinished");
    try {
      return new OutputTarget(
          Files.newOutputStream(written), StandardCharsets.UTF_8, file, written);
    } catch (FileSystemException e) {
      // Its message begins with a name that nobody gave.
      String otherwise =
          e instanceof AccessDeniedException ? "access is denied" : "no file can be made";
      String reason = Optional.ofNullable(e.getReason()).orElse(otherwise);
      throw new IOException(reason + " (in the folder " + folder + ")", e);
    }
  }

  Writer writer() {
    return writer;
  }

  /** All rows are written: the file takes its name. */
  void complete() throws IOException {
    writer.flush();
    if (file != null) {
      writer.close();
      move(file);
    }
  }

  /**
   * Only some rows are written: they are kept under a name that says so, and what had the file's
   * name before keeps it.
   *
   * @return where they are, unless they went to standard output
   */
  Optional<Path> keepPartly() throws IOException {
    writer.flush();
    if (file == null) {
      return Optional.empty();
    }
    writer.close();
    Path partial = file.resolveSibling(file.getFileName() + PARTIAL);
    move(partial);
    return Optional.of(partial);
  }

  /** Nothing worth keeping was written. */
  void discard() throws IOException {
    if (written != null) {
      try {
        writer.close();
      } finally {
        Files.deleteIfExists(written);
      }
    }
  }

  private void move(Path name) throws IOException {
    Files.move(written, name, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
  }
}
