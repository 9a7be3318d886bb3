package com.velmora.tesk.zorvan.cli.output;

import com.velmora.tesk.zorvan.cli.Surroundings;
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
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.Optional;

/**
 * Where rows are written: standard output, or a file. A file is written under another name beside
 * it and takes its own name only when it is whole, so a file of that name is never half of
 * something.
 */
public final class OutputTarget {
  private static final String PARTIAL = ".partial";
  private static final Path DEVICES = Path.of("/dev");

  private final Writer writer;
  private final Path file;
  private final UnfinishedFile unfinished;

  private OutputTarget(OutputStream stream, Charset charset, Path file, UnfinishedFile unfinished) {
    this.writer = new BufferedWriter(new OutputStreamWriter(stream, charset), 1 << 16);
    this.file = file;
    this.unfinished = unfinished;
  }

  public static OutputTarget standardOutput(Surroundings surroundings) {
    return new OutputTarget(surroundings.output(), surroundings.outputCharset(), null, null);
  }

  /**
   * A file; devices and pipes are written to as they are.
   *
   * @throws IOException also when the name is that of a link: who may write beside it could turn it
   *     to any file of this user
   */
  static OutputTarget file(Path named) throws IOException {
    Path absolute = named.toAbsolutePath();
    if (Files.isDirectory(absolute)) {
      throw new IOException(named + " is a folder");
    }
    Path folder = absolute.getParent();
    if (!Files.isDirectory(folder)) {
      throw new IOException("the folder " + folder + " does not exist");
    }
    Path file = folder.toRealPath().resolve(absolute.getFileName());
    Optional<OutputStream> device = device(file);
    if (device.isPresent()) {
      return new OutputTarget(device.get(), StandardCharsets.UTF_8, null, null);
    }
    if (Files.isSymbolicLink(file)) {
      throw new IOException(
          "it is a link, and links are not written through; name the file that is meant");
    }
    try {
      UnfinishedFile unfinished = UnfinishedFile.in(file.getParent());
      return new OutputTarget(unfinished.stream(), StandardCharsets.UTF_8, file, unfinished);
    } catch (FileSystemException e) {
      // Its message begins with a name that nobody gave.
      String otherwise =
          e instanceof AccessDeniedException ? "access is denied" : "no file can be made";
      String reason = Optional.ofNullable(e.getReason()).orElse(otherwise);
      throw new IOException(reason + " (in the folder " + folder + ")", e);
    }
  }

  // The stream of a device or pipe. Links of the system itself, such as /dev/stdout, lead to what
  // this process has open already.
  private static Optional<OutputStream> device(Path file) throws IOException {
    if (Files.isSymbolicLink(file)) {
      Path folder = file.getParent();
      return folder.equals(DEVICES) || folder.startsWith("/proc")
          ? Optional.of(Files.newOutputStream(file, StandardOpenOption.WRITE))
          : Optional.empty();
    }
    if (!Files.exists(file, LinkOption.NOFOLLOW_LINKS)
        || !Files.readAttributes(file, BasicFileAttributes.class, LinkOption.NOFOLLOW_LINKS)
            .isOther()) {
      return Optional.empty();
    }
    if (UnfinishedFile.isOpenToOthers(file.getParent()) && !belongsToUserOrSystem(file)) {
      throw new IOException("it is another user's, in a folder that everybody can write to");
    }
    return Optional.of(
        Files.newOutputStream(file, StandardOpenOption.WRITE, LinkOption.NOFOLLOW_LINKS));
  }

  private static boolean belongsToUserOrSystem(Path file) throws IOException {
    String owner = Files.getOwner(file, LinkOption.NOFOLLOW_LINKS).getName();
    return owner.equals("root") || owner.equals(System.getProperty("user.name"));
  }

  public Writer writer() {
    return writer;
  }

  /** All rows are written: the file takes its name. */
  public void complete() throws IOException {
    writer.flush();
    if (unfinished != null) {
      writer.close();
      unfinished.rename(file);
    }
  }

  /**
   * Only some rows are written: they are kept under a name that says so, and what had the file's
   * name before keeps it.
   *
   * @return where they are, unless they went to standard output
   */
  public Optional<Path> keepPartly() throws IOException {
    writer.flush();
    if (unfinished == null) {
      return Optional.empty();
    }
    writer.close();
    Path partial = file.resolveSibling(file.getFileName() + PARTIAL);
    unfinished.rename(partial);
    return Optional.of(partial);
  }

  /** Nothing worth keeping was written. */
  public void discard() throws IOException {
    if (unfinished != null) {
      try {
        writer.close();
      } finally {
        unfinished.delete();
      }
    }
  }
}
