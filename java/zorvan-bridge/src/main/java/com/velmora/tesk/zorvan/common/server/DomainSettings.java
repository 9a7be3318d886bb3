package com.velmora.tesk.zorvan.common.server;

import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Objects;
import java.util.Properties;
import java.util.stream.Collectors;

/**
 * Makes the settings that tell a native call which domain to work on and as whom.
 *
 * <pre>{@code
 * Properties settings =
 *     DomainSettings.ofDomain("example.com")
 *         .controllers(List.of("dc1.example.com", "dc2.example.com"))
 *         .user("EXAMPLE\\admin", password)
 *         .toProperties();
 * try {
 *   NativeLibraryLoader.handler().GetUsers(settings, base, attributes, listener, errors);
 * } finally {
 *   DomainSettings.wipe(settings);
 * }
 * }</pre>
 *
 * <p>The library takes names of domains, controllers and users up to 99 characters, naming contexts
 * up to 259 and passwords up to 99; longer ones are refused when a call begins. User and password
 * count only where authentication is required.
 *
 * <p>The keys from {@link #ALLOW_NTLM} on are optional. An invalid value fails the call with the
 * code {@code 80070057} instead of being ignored, so that no call runs with weaker terms than
 * intended.
 *
 * <p>The same settings may serve any number of calls at the same time, as long as nobody changes or
 * wipes them meanwhile.
 */
public final class DomainSettings {
  /** DNS name of the domain. */
  public static final String DOMAIN_NAME = "DOMAIN_NAME";

  /** The domain's name before a plain user name, as in {@code EXAMPLE\admin}. */
  public static final String USER_DOMAIN_NAME = "USER_DOMAIN_NAME";

  /** {@code ArrayList<String>} of controller host names; the first that answers serves the call. */
  public static final String DOMAIN_CONTROLLER_LIST = "DOMAIN_CONTROLLER_LIST";

  /** {@code ArrayList<String>} of global catalogue host names; may be empty. */
  public static final String GC_LIST = "GC_LIST";

  public static final String USER_NAME = "USER_NAME";

  /**
   * The name to log on with when it holds a backslash or an at sign; else {@link #USER_DOMAIN_NAME}
   * and {@link #USER_NAME} are joined.
   */
  public static final String USER_DISTINGUISHED_NAME = "USER_DISTINGUISHED_NAME";

  /**
   * A {@code char[]}, which its owner wipes after the last call ({@link #wipe}), or a {@link
   * String}, which cannot be wiped.
   */
  public static final String PASSWORD = "PASSWORD";

  public static final String DEFAULT_NAMING_CONTEXT = "DEFAULT_NAMING_CONTEXT";
  public static final String ROOT_DOMAIN_NAMING_CONTEXT = "ROOT_DOMAIN_NAMING_CONTEXT";
  public static final String SCHEMA_NAMING_CONTEXT = "SCHEMA_NAMING_CONTEXT";
  public static final String CONFIGURATION_NAMING_CONTEXT = "CONFIGURATION_NAMING_CONTEXT";
  public static final String DOMAIN_FUNCTIONAL_LEVEL = "DOMAIN_FUNCTIONAL_LEVEL";

  /** {@code "true"}: the user and password given are used; else the identity of this process. */
  public static final String IS_AUTHENTICATION_REQUIRED = "IS_AUTHENTICATION_REQUIRED";

  /** {@code Integer}: one of the constants of {@link DomainInfoCache}. */
  public static final String ACCOUNT_LOOKUP_STATUS = "ACCOUNT_LOOKUP_STATUS";

  /**
   * Optional, {@code "true"}: the controllers were found in the DNS, so each must prove that it is
   * a controller of the domain, not just the host of its name.
   */
  public static final String CONTROLLERS_FROM_DNS = "CONTROLLERS_FROM_DNS";

  /** Optional, {@code "true"} or {@code "false"}: NTLM where Kerberos could be used but failed. */
  public static final String ALLOW_NTLM = "ALLOW_NTLM";

  /** Optional, {@code "true"} or {@code "false"}: Kerberos tickets of the type RC4-HMAC too. */
  public static final String ALLOW_RC4 = "ALLOW_RC4";

  /**
   * Optional: a PEM file, or a folder of them, with the authorities to trust for TLS. Without it
   * the system's are trusted.
   */
  public static final String TRUSTED_AUTHORITIES = "TRUSTED_AUTHORITIES";

  /** Optional {@code Integer}, milliseconds: for one connection with its log-on; else 10,000. */
  public static final String CONNECT_TIME_LIMIT = "CONNECT_TIME_LIMIT";

  /**
   * Optional {@code Integer}, milliseconds: for each wait, counted from the last complete message;
   * else 120,000.
   */
  public static final String IDLE_TIME_LIMIT = "IDLE_TIME_LIMIT";

  /**
   * Optional {@code Integer}, milliseconds: for the whole call; else, or with 0, it has no limit.
   */
  public static final String CALL_TIME_LIMIT = "CALL_TIME_LIMIT";

  /** Optional {@code Integer}: the largest message accepted, in bytes; else 64 MiB. */
  public static final String MAX_MESSAGE_BYTES = "MAX_MESSAGE_BYTES";

  private final String dnsDomain;
  private final String defaultNamingContext;
  private String forestNamingContext;
  private String userDomain;
  private List<String> controllers = List.of();
  private List<String> globalCatalogues = List.of();
  private String user;
  private char[] password;
  private final Properties terms = new Properties();

  private DomainSettings(String dnsDomain) {
    this.dnsDomain = Objects.requireNonNull(dnsDomain, "dnsDomain");
    this.defaultNamingContext = namingContext(dnsDomain);
    this.forestNamingContext = defaultNamingContext;
    this.userDomain = dnsDomain;
  }

  /** Begins with the DNS name of a domain, from which the naming contexts follow. */
  public static DomainSettings ofDomain(String dnsDomain) {
    return new DomainSettings(dnsDomain);
  }

  /** The naming context of a DNS domain: {@code DC=example,DC=com} for {@code example.com}. */
  public static String namingContext(String dnsDomain) {
    return Arrays.stream(dnsDomain.split("\\."))
        .filter(label -> !label.isEmpty())
        .map(label -> "DC=" + label)
        .collect(Collectors.joining(","));
  }

  /** The DNS name of the forest's root domain, when the domain is not the root itself. */
  public DomainSettings forest(String rootDnsDomain) {
    forestNamingContext = namingContext(rootDnsDomain);
    return this;
  }

  /** The domain's NetBIOS name, put before a plain user name. */
  public DomainSettings userDomain(String netbiosDomain) {
    userDomain = netbiosDomain;
    return this;
  }

  /** The controllers to try, in this order. */
  public DomainSettings controllers(List<String> hostNames) {
    controllers = List.copyOf(hostNames);
    return this;
  }

  /** The global catalogues; the first is used. */
  public DomainSettings globalCatalogues(List<String> hostNames) {
    globalCatalogues = List.copyOf(hostNames);
    return this;
  }

  /**
   * Logs on as a user; without this call the identity of the process is used.
   *
   * @param name {@code DOMAIN\name}, {@code name@domain}, or a plain name of {@link #userDomain}
   * @param password copied when {@link #toProperties()} is called; the caller may wipe it after
   *     that
   */
  public DomainSettings user(String name, char[] password) {
    this.user = Objects.requireNonNull(name, "name");
    this.password = Objects.requireNonNull(password, "password");
    return this;
  }

  /** The controllers to try, in this order, as the DNS named them: answers that can be forged. */
  public DomainSettings controllersFromDns(List<String> hostNames) {
    terms.put(CONTROLLERS_FROM_DNS, "true");
    return controllers(hostNames);
  }

  /** Lets a log-on fall back to NTLM where Kerberos could be used but failed. */
  public DomainSettings allowNtlm() {
    terms.put(ALLOW_NTLM, "true");
    return this;
  }

  /** Accepts Kerberos tickets of the type RC4-HMAC, for domains that have no AES keys. */
  public DomainSettings allowRc4() {
    terms.put(ALLOW_RC4, "true");
    return this;
  }

  /** Whom to trust for TLS instead of the system's authorities: a PEM file or a folder of them. */
  public DomainSettings trustedAuthorities(Path fileOrFolder) {
    terms.put(TRUSTED_AUTHORITIES, fileOrFolder.toAbsolutePath().toString());
    return this;
  }

  /** Limits one connection with its log-on. */
  public DomainSettings connectTimeLimit(Duration limit) {
    return limit(CONNECT_TIME_LIMIT, limit);
  }

  /** Limits each wait, counted from the last complete message. */
  public DomainSettings idleTimeLimit(Duration limit) {
    return limit(IDLE_TIME_LIMIT, limit);
  }

  /** Limits the whole call. */
  public DomainSettings callTimeLimit(Duration limit) {
    return limit(CALL_TIME_LIMIT, limit);
  }

  private DomainSettings limit(String key, Duration limit) {
    if (limit.isNegative() || limit.isZero() || limit.toMillis() > Integer.MAX_VALUE) {
      throw new IllegalArgumentException("not a time limit: " + limit);
    }
    terms.put(key, Math.max(1, (int) limit.toMillis()));
    return this;
  }

  /** Limits one message, and so one value, that the directory sends. */
  public DomainSettings maxMessageBytes(int bytes) {
    if (bytes <= 0) {
      throw new IllegalArgumentException("not a number of bytes: " + bytes);
    }
    terms.put(MAX_MESSAGE_BYTES, bytes);
    return this;
  }

  /** The domain's naming context. */
  public String defaultNamingContext() {
    return defaultNamingContext;
  }

  /**
   * The settings as the native methods take them: a new object, which the caller may change. It has
   * a copy of the password of its own, which {@link #wipe} overwrites.
   */
  public Properties toProperties() {
    Properties settings = new Properties();
    settings.put(DOMAIN_NAME, dnsDomain);
    settings.put(USER_DOMAIN_NAME, userDomain);
    settings.put(DOMAIN_CONTROLLER_LIST, new ArrayList<>(controllers));
    settings.put(GC_LIST, new ArrayList<>(globalCatalogues));
    settings.put(DEFAULT_NAMING_CONTEXT, defaultNamingContext);
    settings.put(ROOT_DOMAIN_NAMING_CONTEXT, forestNamingContext);
    settings.put(CONFIGURATION_NAMING_CONTEXT, "CN=Configuration," + forestNamingContext);
    settings.put(SCHEMA_NAMING_CONTEXT, "CN=Schema,CN=Configuration," + forestNamingContext);
    settings.put(DOMAIN_FUNCTIONAL_LEVEL, "");
    settings.put(ACCOUNT_LOOKUP_STATUS, DomainInfoCache.getInstance().getDomainStatus(dnsDomain));
    settings.put(IS_AUTHENTICATION_REQUIRED, Boolean.toString(user != null));
    if (user != null) {
      boolean qualified = user.indexOf('\\') >= 0 || user.indexOf('@') >= 0;
      settings.put(USER_NAME, user.substring(user.indexOf('\\') + 1));
      settings.put(USER_DISTINGUISHED_NAME, qualified ? user : "");
      settings.put(PASSWORD, password.clone());
    }
    settings.putAll(terms);
    return settings;
  }

  /**
   * Takes the password out of settings that no call uses any more, and overwrites it if it is a
   * {@code char[]}.
   */
  public static void wipe(Properties settings) {
    if (settings.remove(PASSWORD) instanceof char[] password) {
      Arrays.fill(password, '\0');
    }
  }
}
