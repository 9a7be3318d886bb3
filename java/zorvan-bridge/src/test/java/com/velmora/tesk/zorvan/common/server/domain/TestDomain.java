package com.velmora.tesk.zorvan.common.server.domain;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.io.IOException;
import java.io.Reader;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.List;
import java.util.Properties;

/** The embedded domain that the tests run inside, as its properties file describes it. */
final class TestDomain {
  static final String HOST = property("host");
  static final String ADDRESS = property("address");
  static final String DNS_NAME = property("dnsDomain");
  static final String FLAT_NAME = property("netbiosDomain");
  static final String BASE = property("baseDn");
  static final String COMPANY = "OU=Company," + BASE;
  static final String NOTABLE = "OU=Notable," + COMPANY;
  static final String ODD = "OU=Odd\\, Names," + COMPANY;
  static final String MAIL = "OU=Mail," + COMPANY;
  static final List<String> DOWN_HOSTS = List.of(property("downHosts").split(","));

  private TestDomain() {}

  /** A value of the domain's properties file. */
  static String property(String key) {
    String value = Lazy.PROPERTIES.getProperty(key);
    if (value == null) {
      throw new IllegalStateException("the test domain's properties have no " + key);
    }
    return value;
  }

  /** Settings that log on as the administrator. */
  static Properties settings(String... controllers) {
    return settingsOf(property("userName"), password("passwordFile"), controllers);
  }

  /** Settings that log on as somebody; without controllers it is the domain's own. */
  static Properties settingsOf(String user, String password, String... controllers) {
    return DomainSettings.ofDomain(DNS_NAME)
        .userDomain(FLAT_NAME)
        .controllers(controllers.length == 0 ? List.of(HOST) : List.of(controllers))
        .globalCatalogues(List.of(HOST))
        .user(FLAT_NAME + "\\" + user, password.toCharArray())
        // These tests judge rows, on machines that may be busy; limits have tests of their own.
        .connectTimeLimit(Duration.ofSeconds(60))
        .toProperties();
  }

  static String password(String fileKey) {
    try {
      return Files.readString(Path.of(property(fileKey))).strip();
    } catch (IOException e) {
      throw new UncheckedIOException(e);
    }
  }

  private static final class Lazy {
    static final Properties PROPERTIES = load();

    private static Properties load() {
      String file = System.getenv("ZORVAN_TEST_DOMAIN");
      if (file == null) {
        throw new IllegalStateException("run inside the test domain: tests/dc/dc run -- ...");
      }
      Properties properties = new Properties();
      try (Reader reader = Files.newBufferedReader(Path.of(file))) {
        properties.load(reader);
      } catch (IOException e) {
        throw new UncheckedIOException(e);
      }
      return properties;
    }
  }
}
