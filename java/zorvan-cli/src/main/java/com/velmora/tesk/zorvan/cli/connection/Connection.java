package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.util.List;
import java.util.Optional;
import java.util.Properties;

/**
 * What a native call needs to reach the domain. Closing it wipes the password.
 *
 * @param settings the settings for {@link DomainSettings}'s keys
 * @param servers the domain controllers, never empty
 * @param base where to begin, if the user said so
 */
public record Connection(Properties settings, List<String> servers, Optional<String> base)
    implements AutoCloseable {

  /** Where to begin in the domain. */
  public String domainBase() {
    return base.orElseGet(() -> settings.getProperty(DomainSettings.DEFAULT_NAMING_CONTEXT));
  }

  /** Where to begin in the configuration of the forest. */
  public String configurationBase() {
    return base.orElseGet(() -> settings.getProperty(DomainSettings.CONFIGURATION_NAMING_CONTEXT));
  }

  /** What is probably wrong with these settings when a call fails, if anything. */
  public Optional<String> doubt() {
    return doubtOf(settings.getProperty(DomainSettings.DOMAIN_NAME));
  }

  /** What is probably wrong with the name of a domain that cannot be used, if anything. */
  static Optional<String> doubtOf(String domain) {
    return domain.contains(".")
        ? Optional.empty()
        : Optional.of(
            "--domain wants the DNS name, such as corp.example.com; \""
                + domain
                + "\" may be the NetBIOS name");
  }

  @Override
  public void close() {
    DomainSettings.wipe(settings);
  }
}
