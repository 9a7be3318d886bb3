package com.velmora.tesk.zorvan.common.server.bridge;

import java.io.IOException;
import java.io.InputStream;
import java.io.UncheckedIOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Set;
import java.util.function.Consumer;

/**
 * Loads this product's classes anew, so that they can have a native library of their own beside the
 * one that other tests use. Some classes can be kept from being found, and a member can be made to
 * bear another name.
 */
final class BridgeLoader extends ClassLoader {
  private static final String OWN = "com.velmora.tesk.zorvan.";

  private final Set<String> hidden;
  private String renamed = "";

  BridgeLoader(Set<String> hidden) {
    super(BridgeLoader.class.getClassLoader());
    this.hidden = hidden;
  }

  /** Renames a member in every class that mentions it: its last letter becomes a "0". */
  BridgeLoader renaming(String member) {
    renamed = member;
    return this;
  }

  @Override
  protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
    if (!name.startsWith(OWN)) {
      return super.loadClass(name, resolve);
    }
    synchronized (getClassLoadingLock(name)) {
      Class<?> loaded = findLoadedClass(name);
      return loaded != null ? loaded : findClass(name);
    }
  }

  @Override
  protected Class<?> findClass(String name) throws ClassNotFoundException {
    if (hidden.contains(name)) {
      throw new ClassNotFoundException(name + " is hidden by the test");
    }
    try (InputStream file =
        getParent().getResourceAsStream(name.replace('.', '/').concat(".class"))) {
      if (file == null) {
        throw new ClassNotFoundException(name);
      }
      byte[] bytes = rename(file.readAllBytes());
      return defineClass(name, bytes, 0, bytes.length);
    } catch (IOException e) {
      throw new ClassNotFoundException(name, e);
    }
  }

  private byte[] rename(byte[] classFile) {
    if (renamed.isEmpty()) {
      return classFile;
    }
    String changed = renamed.substring(0, renamed.length() - 1) + "0";
    return new String(classFile, StandardCharsets.ISO_8859_1)
        .replace(renamed, changed)
        .getBytes(StandardCharsets.ISO_8859_1);
  }

  /** Loads a copy of the library that answers from memory into the calling class's loader. */
  static void loadCannedLibrary() {
    useCannedLibrary(copy -> System.load(copy.toString()));
  }

  /**
   * Gives a copy of the library that answers from memory to somebody who loads it: a virtual
   * machine loads one file for one loader only.
   */
  static void useCannedLibrary(Consumer<Path> load) {
    Path product = Path.of(System.getProperty("zorvan.library")).toAbsolutePath();
    boolean windows = product.toString().endsWith(".dll");
    String name = windows ? "ZorvanCanned.dll" : "libZorvanCanned.so";
    try {
      Path copy = Files.createTempFile("canned", name);
      Files.copy(product.resolveSibling(name), copy, StandardCopyOption.REPLACE_EXISTING);
      load.accept(copy);
      if (windows) {
        copy.toFile().deleteOnExit();
      } else {
        Files.delete(copy);
      }
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }
}
