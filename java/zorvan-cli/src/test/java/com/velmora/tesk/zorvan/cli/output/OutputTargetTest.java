package com.velmora.tesk.zorvan.cli.output;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.List;
import java.util.concurrent.CompletableFuture;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;

@DisabledOnOs(value = OS.WINDOWS, disabledReason = "about modes and links as Linux has them")
class OutputTargetTest {
  @TempDir Path folder;
  private Path victim;
  private Path file;

  @BeforeEach
  void prepare() throws IOException {
    victim = Files.writeString(folder.resolve("victim"), "untouched");
    file = folder.resolve("users.csv");
  }

  private static String mode(Path path) throws IOException {
    return PosixFilePermissions.toString(
        Files.getPosixFilePermissions(path, LinkOption.NOFOLLOW_LINKS));
  }

  private static Path withMode(Path path, String mode) throws IOException {
    Files.writeString(path, "yesterday's");
    return Files.setPosixFilePermissions(path, PosixFilePermissions.fromString(mode));
  }

  private static OutputTarget written(Path named) throws IOException {
    OutputTarget target = OutputTarget.file(named);
    target.writer().write("rows");
    return target;
  }

  private List<Path> unfinished() throws IOException {
    try (Stream<Path> files = Files.list(folder)) {
      return files.filter(path -> path.toString().endsWith(".unfinished")).toList();
    }
  }

  @Test
  void aLinkIsRefusedWhateverItLeadsTo() throws IOException {
    for (String end : List.of("victim", "absent")) {
      Path link = Files.createSymbolicLink(folder.resolve("to-" + end), folder.resolve(end));
      IOException refusal = assertThrows(IOException.class, () -> OutputTarget.file(link));
      assertTrue(refusal.getMessage().contains("is a link"), refusal.getMessage());
      assertTrue(Files.isSymbolicLink(link));
    }
    assertEquals("untouched", Files.readString(victim));
    assertFalse(Files.exists(folder.resolve("absent")));
    assertEquals(List.of(), unfinished());
  }

  @Test
  void aLinkThatIsPlantedLaterIsReplacedItself() throws IOException {
    OutputTarget whole = written(file);
    Files.createSymbolicLink(file, victim);
    whole.complete();
    Path partial = Files.createSymbolicLink(folder.resolve("users.csv.partial"), victim);
    assertEquals(partial.toString(), written(file).keepPartly().orElseThrow().toString());
    for (Path path : List.of(file, partial)) {
      assertFalse(Files.isSymbolicLink(path));
      assertEquals("rows", Files.readString(path));
      assertEquals("rw-------", mode(path), "a link's mode is not taken");
    }
    assertEquals("untouched", Files.readString(victim));
  }

  @Test
  void nobodyCanGuessTheUnfinishedFileOrReadIt() throws IOException {
    withMode(file, "rw-r--r--");
    OutputTarget first = written(file);
    Path firstFile = unfinished().get(0);
    assertEquals("rw-------", mode(firstFile));
    first.discard();
    OutputTarget second = written(file);
    assertNotEquals(firstFile, unfinished().get(0));
    second.discard();
    assertEquals(List.of(), unfinished());
  }

  @Test
  void theModeOfTheReplacedFileIsTakenAndANewFileIsItsUsersAlone() throws IOException {
    for (String mode : List.of("rw-------", "rw-r-----", "rw-r--r--", "r--r--r--")) {
      Files.deleteIfExists(file);
      withMode(file, mode);
      written(file).complete();
      assertEquals("rows", Files.readString(file));
      assertEquals(mode, mode(file));
    }
    Path partial = withMode(folder.resolve("users.csv.partial"), "rw-r-----");
    written(file).keepPartly();
    assertEquals("rw-r-----", mode(partial));
    Path fresh = folder.resolve("fresh.csv");
    written(fresh).complete();
    assertEquals("rw-------", mode(fresh));
  }

  @Test
  void aFolderThatOthersCanWriteToVouchesForNoFileInIt() throws IOException {
    for (String mode : List.of("rwx------", "rwxr-xr-x", "rwxrwxr-x", "rwxr-xrwx")) {
      Files.setPosixFilePermissions(folder, PosixFilePermissions.fromString(mode));
      assertEquals(mode.lastIndexOf('w') > 1, UnfinishedFile.isOpenToOthers(folder), mode);
    }
  }

  @Test
  void thisUsersPipeIsWrittenToAsItIs() throws Exception {
    Files.setPosixFilePermissions(folder, PosixFilePermissions.fromString("rwxrwxrwx"));
    Path pipe = folder.resolve("pipe");
    assertEquals(0, new ProcessBuilder("mkfifo", pipe.toString()).start().waitFor());
    CompletableFuture<String> read =
        CompletableFuture.supplyAsync(
            () -> {
              try {
                return Files.readString(pipe);
              } catch (IOException e) {
                throw new UncheckedIOException(e);
              }
            });
    OutputTarget target = written(pipe);
    target.complete();
    target.writer().close();
    assertEquals("rows", read.get(10, TimeUnit.SECONDS));
  }

  @Test
  void aDeviceIsWrittenToAsItIs() throws IOException {
    written(Path.of("/dev/null")).complete();
    assertTrue(Files.exists(Path.of("/dev/null")));
    assertFalse(Files.isRegularFile(Path.of("/dev/null")));
  }
}
