package com.velmora.tesk.zorvan.common.server.domain;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Place;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import java.util.Set;
import java.util.TreeMap;
import java.util.TreeSet;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.FieldSource;

/** Every plain report of the real domain against the server's own database. */
class PlainReportsTest {
  // All its objects are accounts in use, whose values change while the tests run.
  private static final String CONTROLLERS = "GetDomainControllerObjects";

  static final List<PlainReport> REPORTS =
      PlainReport.ALL.stream().filter(report -> !report.name().equals(CONTROLLERS)).toList();

  @Test
  void everyReportOfTheCatalogueIsCompared() {
    Set<String> compared = new TreeSet<>();
    PlainReport.ALL.forEach(report -> compared.add(report.name()));
    Set<String> known = new TreeSet<>();
    PlainReport.catalogue().reports().stream()
        .filter(report -> report.place() != Place.DELETED_OBJECTS)
        .forEach(report -> known.add(report.name()));
    assertEquals(known, compared);
  }

  @Test
  void controllersInUseAreReported() {
    PlainReport controllers =
        PlainReport.ALL.stream()
            .filter(r -> r.name().equals(CONTROLLERS))
            .findFirst()
            .orElseThrow();
    Call call = new Call().report(controllers, TestDomain.settings(), List.of("distinguishedName"));
    Set<String> expected = Expected.get().all(CONTROLLERS);
    assertFalse(expected.isEmpty());
    assertEquals(expected, call.byName().keySet());
  }

  @ParameterizedTest
  @FieldSource("REPORTS")
  void rowsAreThoseOfTheDatabase(PlainReport report) {
    Expected expected = Expected.get();
    assertFalse(
        expected.reported(report.name()).isEmpty(), "the database has nothing for this report");
    List<String> columns =
        report.described().defaultColumns().stream().filter(c -> !c.startsWith("ts")).toList();
    Call call = new Call().report(report, TestDomain.settings(), columns);
    Map<String, Properties> rows = expected.compared(report.name(), call);
    List<String> wrong = new ArrayList<>();
    rows.forEach(
        (dn, row) -> {
          Map<String, Object> wanted = new TreeMap<>();
          for (String column : columns) {
            List<Object> values = expected.values(expected.object(dn), column);
            if (!values.isEmpty()) {
              wanted.put(column, values);
            }
          }
          if (!wanted.equals(row)) {
            wrong.add("expected " + wanted + "\n     got " + new TreeMap<>(row));
          }
        });
    assertTrue(wrong.isEmpty(), () -> wrong.size() + " rows differ:\n" + String.join("\n", wrong));
  }
}
