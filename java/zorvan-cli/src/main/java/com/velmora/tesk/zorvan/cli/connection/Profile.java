package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.cli.UsageException;
import java.io.IOException;
import java.io.StringReader;
import java.nio.charset.CharacterCodingException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import java.util.Properties;
import java.util.Set;
import java.util.TreeSet;
import java.util.regex.Pattern;

/**
 * Connection settings kept in a file, {@code ~/.config/zorvan/NAME.properties}, under the names of
 * the options. A backslash stands for itself there, so that {@code user = EXAMPLE\admin} means what
 * it says.
 */
final class Profile {
  /** The profile that is used when none is named and it exists. */
  static final String DEFAULT = "default";

  private static final Set<String> KEYS =
      new TreeSet<>(
          List.of(
              "server", "gc", "domain", "forest", "user-domain", "user", "password-file", "base"));

  static {
    KEYS.addAll(TermOptions.KEYS);
  }

  private static final Pattern NAME = Pattern.compile("[\\p{L}\\p{N}][\\p{L}\\p{N}._-]*");

  private final Properties values;

  private Profile(Properties values) {
    this.values = values;
  }

  /**
   * Reads a profile.
   *
   * @param named the profile asked for; when none is, the default one if there is such a file
   * @throws UsageException when it does not exist, cannot be read, or says something unknown
   */
  static Profile read(Path folder, Optional<String> named) {
    String name = named.orElse(DEFAULT);
    if (!NAME.matcher(name).matches()) {
      throw new UsageException("\"" + name + "\" is not the name of a profile.");
    }
    Path file = folder.resolve(name + ".properties");
    if (!Files.exists(file)) {
      if (named.isPresent()) {
        throw new UsageException("There is no profile " + name + ": " + file + " does not exist.");
      }
      return new Profile(new Properties());
    }
    Properties values = new Properties();
    try {
      values.load(new StringReader(literalBackslashes(Files.readString(file))));
    } catch (CharacterCodingException e) {
      throw new UsageException(file + " is not written in UTF-8.");
    } catch (IOException | IllegalArgumentException e) {
      throw new UsageException(file + " cannot be read: " + e.getMessage());
    }
    check(file, values);
    return new Profile(values);
  }

  /** A value of the profile. */
  Optional<String> get(String key) {
    return Optional.ofNullable(values.getProperty(key)).map(String::trim).filter(v -> !v.isEmpty());
  }

  /** A value of the profile that is a list, separated by commas. */
  List<String> list(String key) {
    return get(key)
        .map(text -> Arrays.stream(text.split(",")).map(String::trim).toList())
        .orElse(List.of());
  }

  private static void check(Path file, Properties values) {
    if (values.containsKey("password")) {
      throw new UsageException(
          file
              + " holds a password, which is refused. Put it into a file that only you can read and"
              + " write password-file = FILE instead.");
    }
    Set<String> unknown = new TreeSet<>(values.stringPropertyNames());
    unknown.removeAll(KEYS);
    if (!unknown.isEmpty()) {
      throw new UsageException(
          file
              + " has unknown settings: "
              + String.join(", ", unknown)
              + ". It may have: "
              + String.join(", ", KEYS)
              + ".");
    }
  }

  // Both EXAMPLE\admin and the doubled backslash of properties files give one backslash.
  private static String literalBackslashes(String text) {
    return text.replace("\\\\", "\\").replace("\\", "\\\\");
  }
}
