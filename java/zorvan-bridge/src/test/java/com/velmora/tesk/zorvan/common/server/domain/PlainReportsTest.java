package com.velmora.tesk.zorvan.common.server.domain;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.FieldSource;

/** Every plain report of the real domain against the server's own database. */
class PlainReportsTest {
  static final List<PlainReport> REPORTS = PlainReport.ALL;

  // The logon of the tests themselves changes these of the administrator.
  private static final Set<String> CHANGED_BY_LOGON = Set.of("lastLogon", "lastLogonTimestamp");

  /** The first logon sets the administrator's time stamps, which the database shall show. */
  @BeforeAll
  static void logOnOnce() {
    assertEquals(1, new Call().search(TestDomain.BASE, "(objectClass=domain)", "name").rows.size());
  }

  @Test
  void everyReportOfTheCatalogueIsCompared() {
    Set<String> compared = new TreeSet<>();
    REPORTS.forEach(report -> compared.add(report.name()));
    Set<String> known = new TreeSet<>();
    PlainReport.catalogue().reports().forEach(report -> known.add(report.name()));
    assertEquals(known, compared);
  }

  @ParameterizedTest
  @FieldSource("REPORTS")
  void rowsAreThoseOfTheDatabase(PlainReport report) {
    Expected expected = Expected.get();
    Set<String> objects = expected.reported(report.name());
    assertFalse(objects.isEmpty(), "the database has nothing for this report");
    List<String> columns =
        report.described().defaultColumns().stream().filter(c -> !c.startsWith("ts")).toList();
    Call call = new Call().report(report, TestDomain.settings(), columns);
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    Map<String, Properties> rows = call.byName();
    assertEquals(new TreeSet<>(objects), new TreeSet<>(rows.keySet()));
    List<String> wrong = new ArrayList<>();
    rows.forEach(
        (dn, row) -> {
          Map<String, Object> wanted = new TreeMap<>();
          for (String column : columns) {
            List<Object> values = expected.values(expected.object(dn), column);
            if (isChangedByThisTest(dn, column)) {
              row.remove(column);
            } else if (!values.isEmpty()) {
              wanted.put(column, values);
            }
          }
          if (!wanted.equals(row)) {
            wrong.add("expected " + wanted + "\n     got " + new TreeMap<>(row));
          }
        });
    assertTrue(wrong.isEmpty(), () -> wrong.size() + " rows differ:\n" + String.join("\n", wrong));
  }

  private static boolean isChangedByThisTest(String dn, String column) {
    return dn.startsWith("CN=Administrator,") && CHANGED_BY_LOGON.contains(column);
  }
}
