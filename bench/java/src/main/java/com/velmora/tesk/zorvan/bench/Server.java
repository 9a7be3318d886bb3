package com.velmora.tesk.zorvan.bench;

import java.io.IOException;
import java.io.Reader;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Properties;

/** The directory server that is searched, and the account that searches it. */
record Server(
    String host,
    String realm,
    String dnsDomain,
    String user,
    String password,
    String simpleBindDn) {

  static final int PORT = 389;

  /** Reads the file that the server's own script wrote. */
  static Server read(Path file) throws IOException {
    Properties properties = new Properties();
    try (Reader reader = Files.newBufferedReader(file)) {
      properties.load(reader);
    }
    return new Server(
        properties.getProperty("host"),
        properties.getProperty("realm"),
        properties.getProperty("dnsDomain"),
        properties.getProperty("userName"),
        Files.readString(Path.of(properties.getProperty("passwordFile"))),
        properties.getProperty("simpleBindDn"));
  }

  String logonName() {
    return realm + "\\" + user;
  }

  String principal() {
    return user + "@" + realm;
  }
}
