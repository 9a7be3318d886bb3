package com.velmora.tesk.zorvan.common.server.bridge;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.LogSink;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Properties;
import java.util.function.BooleanSupplier;

/**
 * A domain that answers from memory, and what a call to it brought: rows, error entries, log lines.
 * The library is loaded by the first {@link #handler()} of a class loader.
 */
final class CannedDomain {
  static final String PROBLEM =
      "halden.common_authentication.native.failure.some_authentication_problem";
  static final String SERVERS_DOWN =
      "halden.common_authentication.native.failure.given_servers_not_opertional";
  static final String WRONG_PASSWORD =
      "halden.common_authentication.native.failure.username/password.wrong";

  private static ADHandler handler;

  final List<Properties> rows = new ArrayList<>();
  final List<String> log = new ArrayList<>();
  Runnable beforeLine = () -> {};
  Runnable beforeRow = () -> {};
  BooleanSupplier completed = () -> false;
  final NativeError errors = new NativeError();
  final Properties settings =
      DomainSettings.ofDomain("canned")
          .controllers(List.of("dc1"))
          .user("admin", "secret".toCharArray())
          .toProperties();
  final NativeListener listener =
      new NativeListener() {
        @Override
        public void addRow(Properties row) {
          beforeRow.run();
          rows.add(row);
        }

        @Override
        public boolean isCompleted() {
          return completed.getAsBoolean();
        }
      };

  static ADHandler loadedHandler() {
    if (handler == null) {
      BridgeLoader.loadCannedLibrary();
      handler = new ADHandler();
      handler.InitializeClassIDs();
    }
    return handler;
  }

  /** The handler, with log lines going to this domain's list. */
  ADHandler handler() {
    ADHandler.setLogSink(
        new LogSink() {
          @Override
          public boolean isWanted(Channel channel, int level) {
            return true;
          }

          @Override
          public void write(Channel channel, int level, String text) {
            beforeLine.run();
            log.add(text);
          }
        });
    return loadedHandler();
  }

  Object search(String filter, String... attributes) {
    return handler().GetObjects(settings, "DC=canned", filter, names(attributes), listener, errors);
  }

  static ArrayList<String> names(String... names) {
    return new ArrayList<>(Arrays.asList(names));
  }

  /** The keys of the error entries, in order. */
  List<String> errorKeys() {
    return errors.entries().stream().map(NativeError.Entry::key).toList();
  }

  /** Whether a log line holds all of these texts. */
  boolean logged(String... texts) {
    return log.stream().anyMatch(line -> Arrays.stream(texts).allMatch(line::contains));
  }
}
