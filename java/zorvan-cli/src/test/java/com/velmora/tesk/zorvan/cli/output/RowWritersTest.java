package com.velmora.tesk.zorvan.cli.output;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.json.JsonMapper;
import com.velmora.tesk.zorvan.cli.TerminalText;
import java.io.IOException;
import java.io.StringReader;
import java.io.StringWriter;
import java.time.Clock;
import java.time.Duration;
import java.time.Instant;
import java.time.InstantSource;
import java.time.ZoneOffset;
import java.util.Arrays;
import java.util.List;
import java.util.Map;
import java.util.stream.Stream;
import org.apache.commons.csv.CSVFormat;
import org.apache.commons.csv.CSVRecord;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

class RowWritersTest {
  private static final Clock CLOCK = Clock.fixed(Instant.EPOCH, ZoneOffset.UTC);
  private static final ValueFormatter FORMATTER = new ValueFormatter(false, ZoneOffset.UTC);

  private final StringWriter out = new StringWriter();

  private static Map<String, List<String>> row(String name, String description) {
    return Map.of("cn", List.of(name), "description", List.of(description));
  }

  private RowWriter open(OutputFormat format, int screenWidth) throws IOException {
    return open(format, screenWidth > 0, screenWidth);
  }

  private RowWriter open(OutputFormat format, boolean onTerminal, int screenWidth)
      throws IOException {
    return format.open(
        out, List.of("cn", "description"), FORMATTER, onTerminal, screenWidth, CLOCK);
  }

  @Test
  void csvDisarmsWhatASpreadsheetWouldRunAndNothingElse() {
    Stream.of(
            "=1+1",
            "+49 30",
            "-2+3",
            "@SUM(A1)",
            "\tx",
            "  =1",
            "\"=1",
            "\u200B=1",
            "\uFEFF=1",
            "\u00A0=1",
            "＝1",
            "＋1",
            "－1",
            "＠1",
            "-cmd|'calc'!A0",
            "-1;-2")
        .forEach(value -> assertEquals("'" + value, CsvRowWriter.safe(value)));
    Stream.of(
            "",
            "-1",
            "-9223372036854775808",
            "a=b",
            "CN=x,DC=y",
            "it's",
            "3-4",
            " ",
            "a; b;3-4;",
            ";;",
            "two\nlines",
            "a;-1; -2.5")
        .forEach(value -> assertEquals(value, CsvRowWriter.safe(value)));
  }

  @ParameterizedTest
  @CsvSource(
      quoteCharacter = '`',
      delimiter = '|',
      value = {
        "x;=1+1             | x;'=1+1",
        "+49 30; +49 40     | '+49 30; '+49 40",
        "a; \"=1\";@b        | a; '\"=1\";'@b",
        "a;\u200E ＝1       | a;'\u200E ＝1",
        "a;;-1+2            | a;;'-1+2",
      })
  void csvDisarmsWhatFollowsASemicolon(String value, String safe) {
    assertEquals(safe, CsvRowWriter.safe(value));
  }

  @Test
  void csvDisarmsLinesThatAReaderOfSemicolonsTakesForRows() {
    assertEquals("a\n'=1", CsvRowWriter.safe("a\n=1"));
    assertEquals("a\r\n '+1", CsvRowWriter.safe("a\r\n +1"));
    assertEquals("'\n'=1", CsvRowWriter.safe("\n=1"));
    assertEquals("'\t'=1", CsvRowWriter.safe("\t=1"));
  }

  @Test
  void csvIsHarmlessOnATerminalAndUnchangedElsewhere() throws IOException {
    String value = "a\u009b31m\u001b[2J\u202Eb\u2028c\nd";
    RowWriter shown = open(OutputFormat.CSV, true, 0);
    shown.write(row(value, "x"));
    shown.end();
    assertEquals("cn,description\na\uFFFD31m␛[2J\uFFFDb\uFFFDc d,x\n", out.toString());
    out.getBuffer().setLength(0);
    RowWriter file = open(OutputFormat.CSV, false, 0);
    file.write(row(value, "x"));
    file.end();
    assertEquals("cn,description\n\"" + value + "\",x\n", out.toString());
  }

  @ParameterizedTest
  @ValueSource(
      strings = {
        "a\u007F",
        "\u009B",
        "\u202E",
        "\u2066",
        "\u2028",
        "\u200B",
        "\uD800",
        "\uDB40\uDC41"
      })
  void jsonEscapesWhatActsOnATerminalAndLosesNothing(String mark) throws IOException {
    String value = "\"back\\slash\"\n\tZoë 😀" + mark + "\u0001";
    RowWriter lines = open(OutputFormat.JSONL, 0);
    lines.write(row(value, "plain"));
    lines.end();
    assertFalse(out.toString().contains(mark), out.toString());
    assertTrue(out.toString().contains("Zoë 😀"), out.toString());
    JsonNode parsed = new JsonMapper().readTree(out.toString());
    assertEquals(value, parsed.get("cn").asText());
    assertEquals("plain", parsed.get("description").asText());
  }

  @Test
  void csvIsReadBackAsItWasWritten() throws IOException {
    RowWriter writer = open(OutputFormat.CSV, 0);
    writer.write(row("Meyer, \"Zoë\"", "two\nlines"));
    writer.write(Map.of("cn", List.of("😀")));
    writer.end();
    List<CSVRecord> records =
        CSVFormat.DEFAULT.parse(new StringReader(out.toString())).getRecords();
    assertEquals(
        List.of("cn|description", "Meyer, \"Zoë\"|two\nlines", "😀|"),
        records.stream().map(record -> String.join("|", record.toList())).toList());
  }

  @Test
  void jsonIsWholeWhateverTheNumberOfRows() throws IOException {
    for (int count = 0; count < 3; count++) {
      out.getBuffer().setLength(0);
      RowWriter array = open(OutputFormat.JSON, 0);
      for (int i = 0; i < count; i++) {
        array.write(Map.of("cn", List.of("\"" + i + "\u0000"), "unasked", List.of("x")));
      }
      array.end();
      JsonNode parsed = new JsonMapper().readTree(out.toString());
      assertTrue(parsed.isArray());
      assertEquals(count, parsed.size());
      assertEquals(
          count == 0 ? "null" : "{\"cn\":\"\\\"0\\u0000\"}", String.valueOf(parsed.get(0)));
    }
  }

  @Test
  void jsonLinesAreWholeLinesAtOnce() throws IOException {
    RowWriter lines = open(OutputFormat.JSONL, 0);
    lines.write(row("a", "b"));
    lines.flush();
    assertEquals("{\"cn\":\"a\",\"description\":\"b\"}\n", out.toString());
    lines.write(Map.of());
    lines.end();
    assertEquals("{\"cn\":\"a\",\"description\":\"b\"}\n{}\n", out.toString());
  }

  @Test
  void aTableTakesItsWidthsFromTheFirstScreenfulAndHoldsNothingBackAfterIt() throws IOException {
    RowWriter table = open(OutputFormat.TABLE, 0);
    int shown = 0;
    for (int i = 0; i < 100; i++) {
      table.write(row("user" + i, "d"));
      shown = (int) out.toString().lines().count();
      if (shown > 0) {
        assertEquals(i + 3, shown, "rows and two header lines");
      }
    }
    table.write(row("a much longer name than before", "d"));
    table.end();
    List<String> lines = out.toString().lines().toList();
    assertEquals(" cn     | description ", lines.get(0));
    assertEquals(" user99 | d           ", lines.get(101));
    assertTrue(lines.get(102).startsWith(" a much longer name than before | d"), "nothing is lost");
  }

  @Test
  void aTableDoesNotWaitForeverForAScreenful() throws IOException {
    Instant[] now = {Instant.EPOCH};
    InstantSource source = () -> now[0];
    Clock clock = source.withZone(ZoneOffset.UTC);
    RowWriter table = OutputFormat.TABLE.open(out, List.of("cn"), FORMATTER, false, 0, clock);
    table.write(row("first", ""));
    now[0] = now[0].plus(Duration.ofSeconds(2));
    table.write(row("second", ""));
    assertTrue(out.toString().contains("first"));
  }

  @Test
  void aTableFitsTheTerminalAndCountsColumnsNotCharacters() throws IOException {
    RowWriter table = open(OutputFormat.TABLE, 40);
    table.write(row("漢字漢字", "x".repeat(70)));
    table.write(row("😀", "e\u0301galite\u0301"));
    table.end();
    List<Integer> widths = out.toString().lines().map(TerminalText::width).distinct().toList();
    assertEquals(List.of(40), widths.stream().map(width -> width + 1).toList(), out.toString());
    assertTrue(out.toString().contains("x…"));
  }

  @ParameterizedTest
  @CsvSource({
    "'\u001b]0;owned\u0007', '␛]0;owned␇'",
    "'two\nlines', 'two lines'",
    "'abc\u202Egpj.exe', 'abc\uFFFDgpj.exe'",
    "'\u009b31m', '\uFFFD31m'",
    "'👩\u200D🚒 Zoë', '👩\u200D🚒 Zoë'",
    "'a\u200Bb\u200E\u200F\u061C\uFEFFc', 'a\uFFFDb\uFFFD\uFFFD\uFFFD\uFFFDc'",
    "'\u2066a\u2069', '\uFFFDa\uFFFD'",
    "'a\uDB40\uDC41b', 'a\uFFFDb'",
    "'\u0600\u0661', '\u0600\u0661'",
  })
  void valuesCannotCommandTheTerminal(String value, String shown) {
    assertEquals(shown, TerminalText.harmless(value));
  }

  @Test
  void cuttingNeverSplitsACharacter() {
    assertEquals("a…", TerminalText.fit("a😀b", 3));
    assertEquals("a😀…", TerminalText.fit("a😀bc", 4));
    assertEquals(
        List.of("…", "…", "漢…"),
        Arrays.stream(new int[] {1, 2, 3}).mapToObj(n -> TerminalText.fit("漢字", n)).toList());
  }
}
