package com.velmora.tesk.zorvan.common.server;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue.ParameterType;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.nio.charset.StandardCharsets;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

class ReportCatalogueTest {
  private static final String SAMPLE =
      """
      [
        {"name": "GetUsers", "group": "users", "title": "All users", "place": "base",
         "parameters": [], "defaultColumns": ["cn", "mail"], "sinceVersion": 2},
        {"name": "GetInActiveUsers", "group": "users", "title": "Inactive users",
         "parameters": [
           {"name": "controller", "type": "controller", "title": "Controller"},
           {"name": "before", "type": "time", "unit": "milliseconds", "title": "Since"}],
         "defaultColumns": ["cn"]}
      ]""";

  private static ReportCatalogue read(String json) throws IOException {
    return ReportCatalogue.read(new ByteArrayInputStream(json.getBytes(StandardCharsets.UTF_8)));
  }

  @Test
  void readsReportsAndPassesOverWhatItDoesNotKnow() throws IOException {
    ReportCatalogue catalogue = read(SAMPLE);
    assertEquals(List.of("users"), catalogue.groups());
    Report report = catalogue.find("inactiveusers").orElseThrow();
    assertEquals("GetInActiveUsers", report.name());
    assertEquals(
        List.of(ParameterType.CONTROLLER, ParameterType.TIME),
        report.parameters().stream().map(ReportCatalogue.Parameter::type).toList());
    assertTrue(catalogue.find("GetInActive").isEmpty());
    assertEquals(2, catalogue.group("USERS").size());
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "",
        "{}",
        "[{\"group\": \"users\"}]",
        "[{\"name\": \"GetUsers\", \"group\": \"users\", \"parameters\":"
            + " [{\"name\": \"x\", \"type\": \"colour\"}]}]"
      })
  void refusesWhatIsNoCatalogue(String json) {
    assertThrows(IOException.class, () -> read(json));
  }

  @Test
  void everyReportOfTheLibraryHasItsMethodAndEveryReportMethodIsInTheCatalogue()
      throws IOException {
    ReportCatalogue catalogue = ReportCatalogue.load();
    assertFalse(catalogue.reports().isEmpty());
    for (Report report : catalogue.reports()) {
      Method method = ReportInvoker.method(report);
      assertTrue(Modifier.isNative(method.getModifiers()), report.name());
      assertFalse(report.defaultColumns().isEmpty(), report.name() + " has no default columns");
    }
    List<String> unlisted =
        Arrays.stream(ADHandler.class.getDeclaredMethods())
            .filter(method -> List.of(method.getParameterTypes()).contains(NativeListener.class))
            .map(Method::getName)
            .filter(name -> catalogue.find(name).isEmpty())
            .toList();
    assertEquals(List.of("GetObjects"), unlisted, "only the free search is not a report");
  }
}
