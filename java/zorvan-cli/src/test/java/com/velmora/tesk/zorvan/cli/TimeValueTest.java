package com.velmora.tesk.zorvan.cli;

import static org.junit.jupiter.api.Assertions.assertEquals;

import java.time.Clock;
import java.time.Duration;
import java.time.Instant;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.util.Optional;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class TimeValueTest {
  private static final Clock NOW =
      Clock.fixed(Instant.parse("2024-03-31T12:00:00Z"), ZoneOffset.UTC);
  private static final ZoneId BERLIN = ZoneId.of("Europe/Berlin");

  @ParameterizedTest
  @CsvSource({
    "2024-01-31,                2024-01-30T23:00:00Z",
    "20240131,                  2024-01-30T23:00:00Z",
    "2024-01-31T08:30,          2024-01-31T07:30:00Z",
    "2024-01-31T08:30:00Z,      2024-01-31T08:30:00Z",
    "2024-01-31T08:30:00-05:00, 2024-01-31T13:30:00Z",
    "20240131083000.0Z,         2024-01-31T08:30:00Z",
    "now,                       2024-03-31T12:00:00Z",
    // Thirty days by the calendar: the clocks went forward on the 31st.
    "30d,                       2024-03-01T13:00:00Z",
    "+2H,                       2024-03-31T14:00:00Z",
    "1mo,                       2024-02-29T13:00:00Z",
    "30,                        1970-01-01T00:00:00.030Z",
    "0,                         1970-01-01T00:00:00Z",
    "1706689800000,             2024-01-31T08:30:00Z",
    // Eight digits that are no date are milliseconds.
    "99999999,                  1970-01-02T03:46:39.999Z",
    "-1000,                     1969-12-31T23:59:59Z",
  })
  void understandsTheWaysPeopleWriteTimes(String text, Instant moment) {
    assertEquals(Optional.of(moment), new TimeValue(NOW, BERLIN).parse(text));
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "",
        "yesterday",
        "2024-13-01",
        "2024-02-30",
        "30x",
        "1.5d",
        "20241399000000Z",
        "9999y",
        "+999999y",
        "99999999999999999999"
      })
  void refusesWhatIsNoTime(String text) {
    assertEquals(Optional.empty(), new TimeValue(NOW, BERLIN).parse(text));
  }

  @ParameterizedTest
  @CsvSource({"30s, PT30S", "5M, PT5M", "250ms, PT0.25S", "2h, PT2H", "1d, PT24H"})
  void understandsLengthsOfTime(String text, Duration length) {
    assertEquals(Optional.of(length), TimeValue.duration(text));
  }

  @ParameterizedTest
  @ValueSource(strings = {"", "30", "s", "+5m", "-5m", "1.5h", "5mo", "5 m", "9999999999s"})
  void refusesWhatIsNoLengthOfTime(String text) {
    assertEquals(Optional.empty(), TimeValue.duration(text));
  }

  @Test
  void writesTheDirectorysForm() {
    assertEquals(
        "20240331120000.0Z", TimeValue.generalizedTime(Instant.parse("2024-03-31T12:00:00.9Z")));
  }
}
