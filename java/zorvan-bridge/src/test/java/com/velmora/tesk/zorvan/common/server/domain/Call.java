package com.velmora.tesk.zorvan.common.server.domain;

import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import com.velmora.tesk.zorvan.common.server.ReportInvoker;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.TreeSet;
import java.util.stream.Collectors;

/** One native call and what it brought. */
class Call implements NativeListener {
  final List<Properties> rows = new ArrayList<>();
  final NativeError errors = new NativeError();

  @Override
  public void addRow(Properties row) {
    rows.add(row);
  }

  @Override
  public boolean isCompleted() {
    return false;
  }

  /** Runs a report with its own base and arguments. */
  Call report(PlainReport report, Properties settings, List<String> attributes) {
    new ReportInvoker(NativeLibraryLoader.handler())
        .run(
            report.described(),
            settings,
            report.base(),
            attributes,
            this,
            report.arguments(),
            errors);
    return this;
  }

  /** Lists the users below a base. */
  Call users(Properties settings, String base, String... attributes) {
    NativeLibraryLoader.handler().GetUsers(settings, base, names(attributes), this, errors);
    return this;
  }

  /** Searches as the administrator. */
  Call search(String base, String filter, String... attributes) {
    return search(TestDomain.settings(), base, filter, attributes);
  }

  Call search(Properties settings, String base, String filter, String... attributes) {
    NativeLibraryLoader.handler()
        .GetObjects(settings, base, filter, names(attributes), this, errors);
    return this;
  }

  /** The one row there must be. */
  Properties onlyRow() {
    if (rows.size() != 1 || !errors.isEmpty()) {
      throw new AssertionError(rows.size() + " rows, errors " + errors);
    }
    return rows.get(0);
  }

  /** The rows by their distinguished name, which must have been asked for and be each another. */
  Map<String, Properties> byName() {
    Map<String, Properties> named = new HashMap<>();
    for (Properties row : rows) {
      String name = (String) ((List<?>) row.get("distinguishedName")).get(0);
      if (named.put(name, row) != null) {
        throw new AssertionError(name + " came twice");
      }
    }
    return named;
  }

  /** The only value of each row, in their order. */
  static List<String> column(List<Properties> rows, String attribute) {
    return rows.stream().map(row -> (String) ((List<?>) row.get(attribute)).get(0)).toList();
  }

  TreeSet<String> sortedColumn(String attribute) {
    return column(rows, attribute).stream().collect(Collectors.toCollection(TreeSet::new));
  }

  static ArrayList<String> names(String... names) {
    return new ArrayList<>(Arrays.asList(names));
  }
}
