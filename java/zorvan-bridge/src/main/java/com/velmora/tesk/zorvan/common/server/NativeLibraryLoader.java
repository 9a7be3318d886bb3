package com.velmora.tesk.zorvan.common.server;

import java.io.IOException;
import java.io.InputStream;
import java.net.URISyntaxException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.security.CodeSource;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HexFormat;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.Properties;
import java.util.function.Consumer;
import java.util.function.Function;

/**
 * Finds and loads the native library, once per process, and fills its class cache.
 *
 * <p>It is looked for in this order:
 *
 * <ol>
 *   <li>where the system property {@value #LIBRARY_PROPERTY} says: the file, or the folder that
 *       holds it; when this is set nothing else is tried,
 *   <li>in the installed directory: {@code lib} of the folder that {@value #HOME_PROPERTY} names,
 *       {@code /usr/local/lib/zorvan}, {@code /usr/lib/zorvan}, {@code /opt/zorvan/lib}, or {@code
 *       Zorvan} in the program files folder of Windows,
 *   <li>beside the jar that these classes came from,
 *   <li>inside that jar, which holds the one for Linux; it is then copied to a folder that only
 *       this user may enter, under a name made from its content, so that a copy is never
 *       half-written, stale or somebody else's. The folder is in the user's cache, unless others
 *       could change the way to it; then it is a temporary one.
 * </ol>
 *
 * <p>In a server that redeploys applications, call {@link #close()} when the application stops.
 * Until then the library refers to these classes, which keeps their class loader alive; afterwards
 * the class loader, and the library with it, can be collected.
 */
public final class NativeLibraryLoader {
  /** Names the library file, or the folder that holds it. */
  public static final String LIBRARY_PROPERTY = "zorvan.library";

  /** Names the folder that the product is installed in. */
  public static final String HOME_PROPERTY = "zorvan.home";

  private static volatile ADHandler handler;

  private final boolean windows;
  private final Properties system;
  private final Map<String, String> environment;
  private final Optional<Path> jarFolder;
  private final Function<String, InputStream> resources;
  private final Consumer<Path> load;
  private final List<String> tried = new ArrayList<>();

  NativeLibraryLoader(
      Properties system,
      Map<String, String> environment,
      Optional<Path> jarFolder,
      Function<String, InputStream> resources,
      Consumer<Path> load) {
    this.system = system;
    this.environment = environment;
    this.jarFolder = jarFolder;
    this.resources = resources;
    this.load = load;
    this.windows = system.getProperty("os.name", "").toLowerCase(Locale.ROOT).startsWith("windows");
  }

  /**
   * The handler to make native calls on. The first call loads the library and fills its class
   * cache; later ones, from any thread, give the same handler.
   *
   * @throws UnsatisfiedLinkError when the library cannot be found or loaded; the message names
   *     every place that was tried and why it was not used. Also when the jar lacks a class or
   *     method that the library needs, because the two are of different versions; the message names
   *     it
   */
  public static ADHandler handler() {
    ADHandler ready = handler;
    if (ready == null) {
      synchronized (NativeLibraryLoader.class) {
        ready = handler;
        if (ready == null) {
          new NativeLibraryLoader(
                  System.getProperties(),
                  System.getenv(),
                  folderOfThisJar(),
                  NativeLibraryLoader.class::getResourceAsStream,
                  file -> System.load(file.toString()))
              .loadLibrary();
          ready = filled(new ADHandler());
          handler = ready;
        }
      }
    }
    return ready;
  }

  private static ADHandler filled(ADHandler fresh) {
    fresh.InitializeClassIDs();
    List<String> missing = ADHandler.missingMembers();
    if (!missing.isEmpty()) {
      throw new UnsatisfiedLinkError(
          "The native library and this jar are of different versions. The jar lacks:\n  "
              + String.join("\n  ", missing));
    }
    return fresh;
  }

  /**
   * Makes the library release its references to these classes. A call that is still running ends
   * normally and releases them then. An old handler does nothing from then on; {@link #handler()}
   * gives a working one again. Closing twice does no harm.
   */
  public static synchronized void close() {
    ADHandler used = handler;
    handler = null;
    if (used != null) {
      used.CleanupClassIDs();
    }
  }

  /** Loads the library and returns the file that it came from. */
  Path loadLibrary() {
    String explicit = system.getProperty(LIBRARY_PROPERTY, "");
    Optional<Path> loaded;
    if (!explicit.isBlank()) {
      Path path = Path.of(explicit).toAbsolutePath();
      loaded = tryFile(Files.isDirectory(path) ? path.resolve(fileName()) : path);
    } else {
      loaded =
          installedFolders().stream()
              .map(folder -> tryFile(folder.resolve(fileName())))
              .flatMap(Optional::stream)
              .findFirst()
              .or(() -> jarFolder.flatMap(folder -> tryFile(folder.resolve(fileName()))))
              .or(() -> windows ? Optional.empty() : tryPacked());
    }
    return loaded.orElseThrow(() -> new UnsatisfiedLinkError(failureText(explicit)));
  }

  private String fileName() {
    return windows ? "ZorvanSecurity.dll" : "libZorvanSecurity.so";
  }

  private String failureText(String explicit) {
    String hint =
        explicit.isBlank()
            ? "Its place can be given with -D" + LIBRARY_PROPERTY + "=FILE."
            : "Nothing else was tried, because -D" + LIBRARY_PROPERTY + " is set.";
    return "The native library "
        + fileName()
        + " could not be loaded. Tried:\n  "
        + String.join("\n  ", tried)
        + "\n"
        + hint;
  }

  private List<Path> installedFolders() {
    List<Path> folders = new ArrayList<>();
    String home = system.getProperty(HOME_PROPERTY, "");
    if (!home.isBlank()) {
      folders.add(Path.of(home).resolve("lib").toAbsolutePath());
    }
    if (windows) {
      String programs = environment.get("ProgramFiles");
      if (programs != null) {
        folders.add(Path.of(programs, "Zorvan"));
      }
    } else {
      folders.add(Path.of("/usr/local/lib/zorvan"));
      folders.add(Path.of("/usr/lib/zorvan"));
      folders.add(Path.of("/opt/zorvan/lib"));
    }
    return folders;
  }

  private Optional<Path> tryFile(Path file) {
    if (!Files.isRegularFile(file)) {
      tried.add(file + ": " + (Files.exists(file) ? "is not a file" : "does not exist"));
      return Optional.empty();
    }
    try {
      load.accept(file);
      return Optional.of(file);
    } catch (UnsatisfiedLinkError e) {
      tried.add(file + ": " + e.getMessage());
      return Optional.empty();
    }
  }

  private Optional<Path> tryPacked() {
    String resource =
        "native/linux-" + architecture(system.getProperty("os.arch")) + "/" + fileName();
    try (InputStream packed = resources.apply(resource)) {
      if (packed == null) {
        tried.add("inside the jar (" + resource + "): is not packed there");
        return Optional.empty();
      }
      return tryFile(unpack(packed.readAllBytes()));
    } catch (IOException e) {
      tried.add("inside the jar (" + resource + "): cannot be unpacked: " + e);
      return Optional.empty();
    }
  }

  // Never loads a file that somebody else could have written: the folder belongs to this user and
  // to nobody else, and what is there already is used only when its content is what would be
  // written.
  private Path unpack(byte[] content) throws IOException {
    Path folder = privateFolder(HexFormat.of().formatHex(sha256(content), 0, 16));
    Path file = folder.resolve(fileName());
    Path fresh = Files.createTempFile(folder, fileName(), ".new");
    try {
      if (!Files.getOwner(folder, LinkOption.NOFOLLOW_LINKS).equals(Files.getOwner(fresh))) {
        throw new IOException(folder + " belongs to another user");
      }
      if (!holds(file, content)) {
        Files.write(fresh, content);
        Files.move(
            fresh, file, StandardCopyOption.ATOMIC_MOVE, StandardCopyOption.REPLACE_EXISTING);
      }
    } finally {
      Files.deleteIfExists(fresh);
    }
    return file;
  }

  // What others may write can change after it was compared.
  private static boolean holds(Path file, byte[] content) throws IOException {
    return Files.isRegularFile(file, LinkOption.NOFOLLOW_LINKS)
        && Files.getOwner(file).equals(Files.getOwner(file.getParent()))
        && !CacheFolder.isWritableByOthers(file)
        && Files.size(file) == content.length
        && Arrays.equals(Files.readAllBytes(file), content);
  }

  private Path privateFolder(String name) throws IOException {
    Optional<Path> cache = cacheFolder();
    if (cache.isPresent()) {
      try {
        return CacheFolder.make(cache.get(), Path.of("zorvan", "native", name));
      } catch (IOException e) {
        tried.add(cache.get() + ": the library is not copied there: " + e.getMessage());
      }
    }
    Path folder = CacheFolder.makeTemporary();
    folder.toFile().deleteOnExit();
    folder.resolve(fileName()).toFile().deleteOnExit(); // goes first
    return folder;
  }

  // Empty for accounts without a home of their own, such as a service's.
  private Optional<Path> cacheFolder() {
    String named = environment.get("XDG_CACHE_HOME");
    if (named != null && Path.of(named).isAbsolute()) {
      return Optional.of(Path.of(named));
    }
    Path home = Path.of(system.getProperty("user.home", ""));
    return home.isAbsolute() && Files.isDirectory(home) && Files.isWritable(home)
        ? Optional.of(home.resolve(".cache"))
        : Optional.empty();
  }

  private static String architecture(String name) {
    return "amd64".equals(name) || "x86_64".equals(name) ? "x86_64" : String.valueOf(name);
  }

  private static byte[] sha256(byte[] content) {
    try {
      return MessageDigest.getInstance("SHA-256").digest(content);
    } catch (NoSuchAlgorithmException e) {
      throw new IllegalStateException("every Java platform has SHA-256", e);
    }
  }

  private static Optional<Path> folderOfThisJar() {
    CodeSource source = NativeLibraryLoader.class.getProtectionDomain().getCodeSource();
    if (source == null || source.getLocation() == null) {
      return Optional.empty();
    }
    try {
      Path path = Path.of(source.getLocation().toURI());
      return Optional.ofNullable(Files.isDirectory(path) ? path : path.getParent());
    } catch (URISyntaxException | RuntimeException e) {
      return Optional.empty();
    }
  }
}
