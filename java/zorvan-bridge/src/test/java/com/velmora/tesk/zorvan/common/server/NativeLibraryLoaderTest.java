package com.velmora.tesk.zorvan.common.server;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.Properties;
import java.util.stream.Stream;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class NativeLibraryLoaderTest {
  private static final String LINUX_FILE = "libZorvanSecurity.so";
  private static final String LINUX_PLACES = "it looks in Linux's places with Linux's permissions";

  @TempDir Path folder;
  private final Properties system = new Properties();
  private final Map<String, String> environment = new HashMap<>();
  private final List<Path> loaded = new ArrayList<>();
  private final Map<Path, String> refusals = new HashMap<>();
  private byte[] packed;

  @BeforeEach
  void onLinux() {
    system.setProperty("os.name", "Linux");
    system.setProperty("os.arch", "amd64");
    system.setProperty("zorvan.home", folder.resolve("home").toString());
    environment.put("XDG_CACHE_HOME", folder.resolve("cache").toString());
  }

  private Path load() {
    return new NativeLibraryLoader(
            system,
            environment,
            Optional.of(folder.resolve("jar")),
            name ->
                packed != null && name.equals("native/linux-x86_64/" + LINUX_FILE)
                    ? new ByteArrayInputStream(packed)
                    : null,
            file -> {
              if (refusals.containsKey(file)) {
                throw new UnsatisfiedLinkError(refusals.get(file));
              }
              loaded.add(file);
            })
        .loadLibrary();
  }

  private Path put(String where) throws IOException {
    Path file = folder.resolve(where).resolve(LINUX_FILE);
    Files.createDirectories(file.getParent());
    return Files.writeString(file, "library");
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void namesEveryPlaceThatWasTriedAndWhy() throws IOException {
    Path broken = put("home/lib");
    refusals.put(broken, "libldap.so.2: cannot open shared object file");

    String message = assertThrows(UnsatisfiedLinkError.class, this::load).getMessage();

    assertTrue(message.contains(broken + ": libldap.so.2: cannot open"), message);
    assertTrue(message.contains("/usr/lib/zorvan/" + LINUX_FILE), message);
    assertTrue(
        message.contains(folder.resolve("jar").resolve(LINUX_FILE) + ": does not exist"), message);
    assertTrue(message.contains("native/linux-x86_64/" + LINUX_FILE + "): is not packed"), message);
    assertTrue(message.contains("-Dzorvan.library=FILE"), message);
  }

  @Test
  void anExplicitPlaceIsTheOnlyOne() throws IOException {
    put("home/lib");
    system.setProperty("zorvan.library", folder.resolve("nowhere.so").toString());
    String message = assertThrows(UnsatisfiedLinkError.class, this::load).getMessage();
    assertTrue(message.contains("nowhere.so: does not exist"), message);
    assertFalse(message.contains("/usr/lib/zorvan"), message);
    assertTrue(loaded.isEmpty());

    Path chosen = put("chosen");
    system.setProperty("zorvan.library", chosen.getParent().toString());
    assertEquals(chosen, load(), "a folder stands for the library in it");
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void installedComesBeforeBesideTheJarBeforePacked() throws IOException {
    packed = "packed".getBytes(StandardCharsets.UTF_8);
    Path beside = put("jar");
    Path installed = put("home/lib");
    assertEquals(installed, load());
    Files.delete(installed);
    assertEquals(beside, load());
    Files.delete(beside);
    assertArrayEquals(packed, Files.readAllBytes(load()));
  }

  @Test
  void windowsLooksForTheDll() {
    system.setProperty("os.name", "Windows Server 2022");
    environment.put("ProgramFiles", folder.resolve("Program Files").toString());
    String message = assertThrows(UnsatisfiedLinkError.class, this::load).getMessage();
    assertTrue(message.contains(Path.of("Zorvan", "ZorvanSecurity.dll").toString()), message);
    assertTrue(message.contains(Path.of("jar", "ZorvanSecurity.dll").toString()), message);
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void unpacksWhereNobodyElseMayLook() throws IOException {
    packed = "first".getBytes(StandardCharsets.UTF_8);
    Path first = load();
    assertEquals(
        "rwx------",
        PosixFilePermissions.toString(Files.getPosixFilePermissions(first.getParent())));
    assertEquals(first, load(), "the same content has the same place");

    packed = "second".getBytes(StandardCharsets.UTF_8);
    assertNotEquals(first, load(), "other content must not replace a library that is in use");
    assertEquals("first", Files.readString(first));
    try (Stream<Path> files = Files.list(first.getParent())) {
      assertEquals(List.of(first), files.toList(), "nothing half-written is left");
    }
  }

  @ParameterizedTest
  @ValueSource(strings = {"shared", "shared/mine", "shared/mine/cache", "link/cache"})
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void doesNotUseACacheThatOthersCouldExchange(String cache) throws IOException {
    packed = "library".getBytes(StandardCharsets.UTF_8);
    Files.createDirectories(folder.resolve("shared/mine/cache"));
    Files.setPosixFilePermissions(
        folder.resolve("shared"), PosixFilePermissions.fromString("rwxrwxr-x"));
    Files.createSymbolicLink(folder.resolve("link"), folder.resolve("shared/mine"));
    environment.put("XDG_CACHE_HOME", folder.resolve(cache).toString());

    Path file = load();

    assertFalse(file.startsWith(folder.toRealPath()), file.toString());
    assertEquals("library", Files.readString(file));
    assertEquals(
        "rwx------",
        PosixFilePermissions.toString(Files.getPosixFilePermissions(file.getParent())));
    try (Stream<Path> left = Files.walk(folder.resolve("shared"))) {
      assertEquals(List.of(), left.filter(Files::isRegularFile).toList());
    }
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void aFileThatOthersMayWriteIsReplacedThoughItsContentIsRight() throws IOException {
    packed = "genuine".getBytes(StandardCharsets.UTF_8);
    Path file = load();
    Files.setPosixFilePermissions(file, PosixFilePermissions.fromString("rw-rw-rw-"));
    assertEquals(file, load());
    assertEquals("rw-------", PosixFilePermissions.toString(Files.getPosixFilePermissions(file)));
  }

  @Test
  @DisabledOnOs(value = OS.WINDOWS, disabledReason = LINUX_PLACES)
  void neverLoadsWhatSomebodyElsePutThere() throws IOException {
    packed = "genuine".getBytes(StandardCharsets.UTF_8);
    Path file = load();
    Files.writeString(file, "planted");
    Files.setPosixFilePermissions(file.getParent(), PosixFilePermissions.fromString("rwxrwxrwx"));

    assertEquals("genuine", Files.readString(load()));
    assertEquals(
        "rwx------",
        PosixFilePermissions.toString(Files.getPosixFilePermissions(file.getParent())));

    Path elsewhere = Files.writeString(folder.resolve("elsewhere"), "genuine");
    Files.delete(file);
    Files.createSymbolicLink(file, elsewhere);
    load();
    assertFalse(Files.isSymbolicLink(file), "a link could be turned after it was checked");
  }
}
