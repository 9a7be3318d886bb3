package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.TerminalText;
import com.velmora.tesk.zorvan.cli.UsageException;
import java.io.ByteArrayOutputStream;
import java.io.Console;
import java.io.File;
import java.io.FileInputStream;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.Arrays;
import java.util.Optional;
import java.util.Set;

/**
 * Gets a password from where arguments, environment and logs do not see it. What is returned is the
 * caller's to wipe; everything read on the way is wiped here.
 */
final class PasswordInput {
  private static final int LONGEST = 4096;
  private static final Set<PosixFilePermission> OTHERS =
      PosixFilePermissions.fromString("---rwxrwx");

  private final Surroundings surroundings;
  private final boolean quiet;

  /**
   * @param quiet whether warnings are kept back
   */
  PasswordInput(Surroundings surroundings, boolean quiet) {
    this.surroundings = surroundings;
    this.quiet = quiet;
  }

  /** The first line of a file. A warning is given when others can read it. */
  char[] fromFile(Path file) {
    try (InputStream stream = Files.newInputStream(file)) {
      warnIfOthersCanRead(file);
      return given(firstLine(stream), file.toString());
    } catch (NoSuchFileException e) {
      throw new UsageException("The password file " + file + " does not exist.");
    } catch (IOException e) {
      throw new UsageException("The password file " + file + " cannot be read: " + e.getMessage());
    }
  }

  /** The first line of standard input. */
  char[] fromStandardInput() {
    try {
      return given(firstLine(surroundings.input()), "standard input");
    } catch (IOException e) {
      throw new UsageException("The password cannot be read: " + e.getMessage());
    }
  }

  /** Asks at the terminal, without showing what is typed. */
  char[] fromPrompt(String user) {
    String question = "Password of " + TerminalText.harmless(user) + ": ";
    Console console = System.console();
    Optional<char[]> typed =
        console != null
            ? Optional.ofNullable(console.readPassword("%s", question))
            : fromControllingTerminal(question);
    return given(
        typed.orElseThrow(
            () ->
                new UsageException(
                    "A password is needed for "
                        + user
                        + ", and there is no terminal to ask at (on Windows, not when output goes"
                        + " elsewhere). Use --password-file FILE or --password-stdin.")),
        "the terminal");
  }

  // Java's console exists only when both input and output are a terminal. With the rows going to a
  // file or a pipe, the user still sits at one.
  private Optional<char[]> fromControllingTerminal(String question) {
    File terminal = new File("/dev/tty");
    try (InputStream keys = new FileInputStream(terminal);
        OutputStream screen = new FileOutputStream(terminal)) {
      Thread restore = new Thread(() -> echo(terminal, true));
      Runtime.getRuntime().addShutdownHook(restore);
      try {
        if (!echo(terminal, false)) {
          return Optional.empty();
        }
        screen.write(question.getBytes(StandardCharsets.UTF_8));
        return Optional.of(firstLine(keys));
      } finally {
        echo(terminal, true);
        screen.write('\n');
        Runtime.getRuntime().removeShutdownHook(restore);
      }
    } catch (IOException e) {
      return Optional.empty();
    }
  }

  private static boolean echo(File terminal, boolean on) {
    try {
      Process stty =
          new ProcessBuilder("stty", on ? "echo" : "-echo").redirectInput(terminal).start();
      return stty.waitFor() == 0;
    } catch (IOException e) {
      return false;
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      return false;
    }
  }

  private void warnIfOthersCanRead(Path file) throws IOException {
    if (quiet || !Files.getFileStore(file).supportsFileAttributeView("posix")) {
      return;
    }
    Set<PosixFilePermission> permissions = Files.getPosixFilePermissions(file);
    permissions.retainAll(OTHERS);
    if (!permissions.isEmpty()) {
      surroundings
          .messages()
          .println("warning: others can read the password file " + file + " (chmod 600 it)");
    }
  }

  private static char[] given(char[] password, String from) {
    if (password.length == 0) {
      throw new UsageException("The password from " + from + " is empty.");
    }
    return password;
  }

  private static char[] firstLine(InputStream stream) throws IOException {
    try (WipedBytes bytes = new WipedBytes()) {
      for (int next = stream.read(); next >= 0 && next != '\n'; next = stream.read()) {
        if (bytes.size() == LONGEST) {
          throw new IOException("the line is too long for a password");
        }
        bytes.write(next);
      }
      return bytes.toCharacters();
    }
  }

  // A growing array that leaves no copy behind: it is as large as it may become from the beginning.
  private static final class WipedBytes extends ByteArrayOutputStream {
    WipedBytes() {
      super(LONGEST);
    }

    char[] toCharacters() {
      int length = count > 0 && buf[count - 1] == '\r' ? count - 1 : count;
      CharBuffer decoded = StandardCharsets.UTF_8.decode(ByteBuffer.wrap(buf, 0, length));
      char[] characters = new char[decoded.remaining()];
      decoded.get(characters);
      Arrays.fill(decoded.array(), '\0');
      return characters;
    }

    @Override
    public void close() {
      Arrays.fill(buf, (byte) 0);
    }
  }
}
