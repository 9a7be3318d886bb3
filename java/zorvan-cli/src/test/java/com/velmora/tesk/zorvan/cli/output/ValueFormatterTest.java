package com.velmora.tesk.zorvan.cli.output;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

class ValueFormatterTest {
  private final ValueFormatter formatter = new ValueFormatter(false, ZoneOffset.UTC);

  private static List<String> values(String... texts) {
    return new ArrayList<>(List.of(texts));
  }

  @ParameterizedTest
  @CsvSource({
    "whenCreated,            133485408000000000,   2024-01-01T00:00:00Z",
    "WHENCREATED,            133485408000000000,   2024-01-01T00:00:00Z",
    "lastLogonTimestamp,     133485408009999999,   2024-01-01T00:00:00Z",
    "pwdLastSet,             0,                    must change at next logon",
    "accountExpires,         0,                    never",
    "accountExpires,         9223372036854775807,  never",
    "lockoutTime,            0,                    not locked out",
    "whenCreated,            0,                    1601-01-01T00:00:00Z",
    "lastLogon,              -5,                   -5",
    "lastLogon,              99999999999999999999, 99999999999999999999",
    "maxPwdAge,              -36288000000000,      42 days",
    "lockoutDuration,        -18610000000,         31 minutes 1 second",
    "maxPwdAge,              -9223372036854775808, never",
    "msNPAllowDialin,        1,                    true",
    "userAccountControl,     514,                  514",
    "employeeID,             0042,                 0042",
    "telephoneNumber,        133485408000000000,   133485408000000000",
  })
  void sayWhatAValueMeans(String attribute, String value, String text) {
    assertEquals(text, formatter.text(attribute, values(value)));
  }

  @Test
  void datesFollowTheZoneAskedFor() {
    ValueFormatter berlin = new ValueFormatter(false, ZoneId.of("Europe/Berlin"));
    assertEquals(
        "2024-01-01T01:00:00+01:00", berlin.text("whenCreated", values("133485408000000000")));
  }

  @Test
  void dataHasTheTypeOfItsMeaningAndListsWhereAttributesAreLists() {
    assertEquals(514L, formatter.data("userAccountControl", values("514")));
    assertEquals(Boolean.FALSE, formatter.data("msNPAllowDialin", values("0")));
    assertEquals("0042", formatter.data("employeeID", values("0042")));
    assertEquals(List.of("top"), formatter.data("objectClass", values("top")));
    assertEquals(List.of("a", "b"), formatter.data("description", values("a", "b")));
    assertEquals("text", formatter.data("tsHomeDir", "text"), "not every value is in a list");
  }

  @Test
  void linkedObjectsHaveANameInLinesAndStayWholeInData() {
    Properties group = new Properties();
    group.put("distinguishedName", "CN=Staff,DC=a");
    group.put("cn", "Staff");
    Properties elsewhere = new Properties();
    elsewhere.put("distinguishedName", "CN=Far,DC=b");
    List<Object> links = List.of(group, elsewhere);
    assertEquals("Staff; CN=Far,DC=b", formatter.text("memberOf", links));
    assertEquals(
        List.of(
            Map.of("distinguishedName", "CN=Staff,DC=a", "cn", "Staff"),
            Map.of("distinguishedName", "CN=Far,DC=b")),
        formatter.data("memberOf", links));
  }

  @Test
  void rawValuesAreWhatTheLibraryGave() {
    ValueFormatter raw = new ValueFormatter(true, ZoneOffset.UTC);
    assertEquals(List.of("0"), raw.data("pwdLastSet", values("0")));
    assertEquals(List.of("1"), raw.data("msNPAllowDialin", values("1")));
    assertEquals("133485408000000000", raw.text("whenCreated", values("133485408000000000")));
  }
}
