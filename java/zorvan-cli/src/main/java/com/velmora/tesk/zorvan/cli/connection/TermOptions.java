package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.cli.TimeValue;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Optional;
import java.util.function.BiFunction;
import picocli.CommandLine.Option;

/**
 * The options that say whom to trust and how long to wait. Each has a profile setting of its name;
 * without either, the library's own terms hold.
 */
final class TermOptions {
  /** The names of the settings in a profile. */
  static final List<String> KEYS =
      List.of("allow-ntlm", "allow-rc4", "ca-file", "timeout", "connect-timeout", "idle-timeout");

  @Option(
      names = "--allow-ntlm",
      negatable = true,
      description =
          "Log on by NTLM when Kerberos fails. Without it NTLM is used only where Kerberos cannot"
              + " be, for example because the server is given as an address. NTLM does not prove"
              + " who the server is.")
  private Boolean allowNtlm;

  @Option(
      names = "--allow-rc4",
      negatable = true,
      description =
          "Accept Kerberos tickets encrypted with RC4, for accounts that have no AES keys.")
  private Boolean allowRc4;

  @Option(
      names = "--ca-file",
      paramLabel = "FILE|DIR",
      description =
          "Trust these certificate authorities for TLS instead of the system's: a PEM file, or a"
              + " folder of them.")
  private Path authorities;

  @Option(
      names = "--timeout",
      paramLabel = "DURATION",
      description =
          "End the whole report or search after this time, for example 90s, 5m or 1h. Without it"
              + " there is no limit.")
  private String timeout;

  @Option(
      names = "--connect-timeout",
      paramLabel = "DURATION",
      description =
          "How long connecting to one server and logging on to it may take. Without it: 10s.")
  private String connectTimeout;

  @Option(
      names = "--idle-timeout",
      paramLabel = "DURATION",
      description = "How long to wait for the server's next message. Without it: 120s.")
  private String idleTimeout;

  /**
   * Adds to the settings what the options or the profile say.
   *
   * @throws UsageException when one of them cannot be right
   */
  void apply(DomainSettings settings, Profile kept) {
    if (flag("allow-ntlm", allowNtlm, kept)) {
      settings.allowNtlm();
    }
    if (flag("allow-rc4", allowRc4, kept)) {
      settings.allowRc4();
    }
    Optional.ofNullable(authorities)
        .or(() -> kept.get("ca-file").map(Path::of))
        .map(TermOptions::readable)
        .ifPresent(settings::trustedAuthorities);
    limit("timeout", timeout, kept, settings, DomainSettings::callTimeLimit);
    limit("connect-timeout", connectTimeout, kept, settings, DomainSettings::connectTimeLimit);
    limit("idle-timeout", idleTimeout, kept, settings, DomainSettings::idleTimeLimit);
  }

  private static boolean flag(String name, Boolean given, Profile kept) {
    if (given != null) {
      return given;
    }
    return switch (kept.get(name).orElse("false")) {
      case "true" -> true;
      case "false" -> false;
      default -> throw new UsageException("The profile's " + name + " is neither true nor false.");
    };
  }

  private static Path readable(Path file) {
    if (!Files.isReadable(file)) {
      throw new UsageException(
          "The certificate authorities in "
              + file
              + (Files.exists(file)
                  ? " cannot be read."
                  : " do not exist: there is no such file."));
    }
    return file;
  }

  private static void limit(
      String name,
      String given,
      Profile kept,
      DomainSettings settings,
      BiFunction<DomainSettings, Duration, DomainSettings> add) {
    Optional<String> text = Optional.ofNullable(given).or(() -> kept.get(name));
    if (text.isEmpty()) {
      return;
    }
    try {
      add.apply(settings, TimeValue.duration(text.get()).orElseThrow());
    } catch (RuntimeException e) {
      throw new UsageException(
          "\""
              + text.get()
              + "\" is not a time that --"
              + name
              + " can take: write 30s, 5m or 1h.");
    }
  }
}
