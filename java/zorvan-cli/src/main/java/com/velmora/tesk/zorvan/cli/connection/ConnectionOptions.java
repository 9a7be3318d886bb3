package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import java.util.regex.Pattern;
import picocli.CommandLine.ArgGroup;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;

/** The options that say which domain is meant and as whom to ask. They win over the profile. */
public final class ConnectionOptions {
  private static final Pattern DNS_NAME =
      Pattern.compile(
          "[A-Za-z0-9_]([A-Za-z0-9_-]*[A-Za-z0-9_])?(\\.[A-Za-z0-9_]([A-Za-z0-9_-]*[A-Za-z0-9_])?)*");

  @Option(
      names = "--profile",
      paramLabel = "NAME",
      description =
          "Take settings not given here from ~/.config/zorvan/NAME.properties; without it from"
              + " default.properties there, if it exists. The file has the names of these options"
              + " without dashes: domain, server, user, password-file, ...")
  private String profile;

  @Option(
      names = {"-d", "--domain"},
      paramLabel = "DNS-NAME",
      description = "The domain, for example corp.example.com.")
  private String domain;

  @Option(
      names = {"-s", "--server"},
      paramLabel = "HOST",
      description =
          "A domain controller; may be repeated. The first that answers is used. Without it the DNS"
              + " is asked for the domain's controllers.")
  private List<String> servers = new ArrayList<>();

  @Option(
      names = "--gc",
      paramLabel = "HOST",
      description = "A global catalogue server; may be repeated.")
  private List<String> globalCatalogues = new ArrayList<>();

  @Option(
      names = "--forest",
      paramLabel = "DNS-NAME",
      description = "The root domain of the forest, when it is not the domain itself.")
  private String forest;

  @Option(
      names = {"-u", "--user"},
      paramLabel = "USER",
      description =
          "Who asks: DOMAIN\\name, name@domain, or a name of the domain. Without it the identity of"
              + " this process is used (a Kerberos ticket, or the Windows session).")
  private String user;

  @Option(
      names = "--user-domain",
      paramLabel = "NETBIOS-NAME",
      description = "The domain put before a plain user name, if name@domain does not do.")
  private String userDomain;

  @ArgGroup(exclusive = true)
  private PasswordSource password = new PasswordSource();

  @Option(
      names = {"-b", "--base"},
      paramLabel = "DN",
      description =
          "Where to begin, for example OU=Sales,DC=corp,DC=example,DC=com. Without it: the whole domain.")
  private String base;

  @Mixin private TermOptions terms;

  /** Where the password comes from; without either it is asked for at the terminal. */
  static final class PasswordSource {
    @Option(
        names = "--password-file",
        paramLabel = "FILE",
        description =
            "Read the password from the first line of FILE. Without this or --password-stdin it is asked for.")
    private Path file;

    @Option(
        names = "--password-stdin",
        description = "Read the password from the first line of standard input.")
    private boolean standardInput;
  }

  /**
   * Completes the options from the profile, asks for the password if need be, and makes the
   * settings.
   *
   * @param quiet whether warnings are kept back
   * @throws UsageException when something is missing or cannot be right
   */
  public Connection open(Surroundings surroundings, boolean quiet) {
    Profile kept = Profile.read(surroundings.configuration(), Optional.ofNullable(profile));
    Optional<String> who = Optional.ofNullable(user).or(() -> kept.get("user"));
    String dnsDomain = dnsDomain(kept, who);
    List<String> given = hosts("server", servers, kept);
    List<String> hosts = given.isEmpty() ? discovered(dnsDomain) : given;

    DomainSettings settings =
        DomainSettings.ofDomain(dnsDomain).globalCatalogues(hosts("gc", globalCatalogues, kept));
    if (given.isEmpty()) {
      settings.controllersFromDns(hosts);
    } else {
      settings.controllers(hosts);
    }
    terms.apply(settings, kept);
    Optional.ofNullable(forest).or(() -> kept.get("forest")).ifPresent(settings::forest);
    Optional<String> before = Optional.ofNullable(userDomain).or(() -> kept.get("user-domain"));
    before.ifPresent(settings::userDomain);
    Optional<String> start = Optional.ofNullable(base).or(() -> kept.get("base"));
    if (who.isEmpty()) {
      if (password.file != null || password.standardInput) {
        throw new UsageException("A password is given but no user: add --user.");
      }
      return new Connection(settings.toProperties(), hosts, start);
    }
    String name = logonName(who.get(), dnsDomain, before.isPresent());
    char[] secret = secret(new PasswordInput(surroundings, quiet), kept, name);
    try {
      return new Connection(settings.user(name, secret).toProperties(), hosts, start);
    } finally {
      Arrays.fill(secret, '\0');
    }
  }

  private String dnsDomain(Profile kept, Optional<String> who) {
    String name =
        Optional.ofNullable(domain)
            .or(() -> kept.get("domain"))
            .or(() -> who.filter(w -> w.contains("@")).map(w -> w.substring(w.indexOf('@') + 1)))
            .orElseThrow(
                () ->
                    new UsageException("Which domain? Give --domain, or a profile that names it."));
    if (!DNS_NAME.matcher(name).matches()) {
      throw new UsageException(
          "\"" + name + "\" is not the DNS name of a domain, such as corp.example.com.");
    }
    return name;
  }

  private static List<String> discovered(String dnsDomain) {
    List<String> hosts = askDns(dnsDomain);
    if (hosts.isEmpty()) {
      throw new UsageException(
          "The DNS names no domain controller within "
              + dnsDomain
              + ". Give one with --server."
              + Connection.doubtOf(dnsDomain).map(doubt -> "\n  " + doubt).orElse(""));
    }
    return hosts;
  }

  private static List<String> askDns(String dnsDomain) {
    try {
      return ControllerDiscovery.controllersOf(dnsDomain);
    } catch (ControllerDiscovery.NoAnswerException e) {
      String message =
          e.getMessage()
              + ", so the domain controllers of "
              + dnsDomain
              + " are not known. Give one with --server.";
      throw new UncheckedIOException(message, new IOException(message));
    }
  }

  private static List<String> hosts(String option, List<String> given, Profile kept) {
    List<String> hosts = given.isEmpty() ? kept.list(option) : given;
    for (String host : hosts) {
      if (host.isBlank() || host.indexOf('/') >= 0) {
        throw new UsageException(
            "\""
                + host
                + "\" is not the name of a host. --"
                + option
                + " wants one, or an address.");
      }
    }
    return hosts;
  }

  // The logon name is used as it is only when it says its domain; the implicit name@domain works
  // for every account, whatever the domain's NetBIOS name.
  private static String logonName(String name, String dnsDomain, boolean netbiosDomainKnown) {
    if (name.indexOf('\\') >= 0 || name.indexOf('@') >= 0 || netbiosDomainKnown) {
      return name;
    }
    if (name.indexOf('=') >= 0) {
      throw new UsageException(
          "--user takes DOMAIN\\name, name@domain or a plain name, not a distinguished name.");
    }
    return name + "@" + dnsDomain;
  }

  private char[] secret(PasswordInput input, Profile kept, String name) {
    if (password.standardInput) {
      return input.fromStandardInput();
    }
    return Optional.ofNullable(password.file)
        .or(() -> kept.get("password-file").map(Path::of))
        .map(input::fromFile)
        .orElseGet(() -> input.fromPrompt(name));
  }
}
