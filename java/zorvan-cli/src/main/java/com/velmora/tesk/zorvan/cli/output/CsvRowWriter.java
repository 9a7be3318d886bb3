package com.velmora.tesk.zorvan.cli.output;

import com.velmora.tesk.zorvan.cli.TerminalText;
import java.io.IOException;
import java.io.Writer;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;
import org.apache.commons.csv.CSVFormat;
import org.apache.commons.csv.CSVPrinter;

/**
 * Comma-separated values with a header line. What a spreadsheet would take for a formula gets an
 * apostrophe in front, because anybody who may set his own telephone number in the directory could
 * otherwise run formulas on the administrator's machine. On a terminal characters that act on it
 * are replaced; elsewhere values are written as they are.
 */
final class CsvRowWriter implements RowWriter {
  private static final String FORMULA_STARTS = "=+-@＝＋－＠";
  private static final String LINE_CONTROLS = "\t\r\n";
  // Where a spreadsheet ends a cell besides the comma: at a semicolon where the comma is part of
  // numbers, and then at tabs and line ends too, because it does not see the quotation mark that
  // follows a comma.
  private static final String CELL_ENDS = ";" + LINE_CONTROLS;
  private static final Pattern NEGATIVE_NUMBER = Pattern.compile("-\\d+(\\.\\d+)?");

  private final CSVPrinter printer;
  private final List<String> columns;
  private final ValueFormatter formatter;
  private final boolean onTerminal;

  /**
   * @param onTerminal whether a terminal shows what is written
   */
  CsvRowWriter(Writer writer, List<String> columns, ValueFormatter formatter, boolean onTerminal)
      throws IOException {
    this.columns = columns;
    this.formatter = formatter;
    this.onTerminal = onTerminal;
    this.printer =
        CSVFormat.DEFAULT
            .builder()
            .setRecordSeparator("\n")
            .setHeader(columns.stream().map(CsvRowWriter::safe).toArray(String[]::new))
            .get()
            .print(writer);
  }

  /** The cell's text, made harmless for spreadsheets. */
  static String safe(String text) {
    StringBuilder guarded = null;
    int copied = 0;
    for (int piece = 0; piece < text.length(); ) {
      int start = skipped(text, piece);
      int end = endOfCell(text, start);
      if (isFormula(text, piece, start, end)) {
        int apostrophe = piece == 0 ? 0 : afterSpaces(text, piece);
        guarded = guarded == null ? new StringBuilder(text.length() + 4) : guarded;
        guarded.append(text, copied, apostrophe).append('\'');
        copied = apostrophe;
      }
      piece = end + 1;
    }
    return guarded == null ? text : guarded.append(text, copied, text.length()).toString();
  }

  private static boolean isFormula(String text, int piece, int start, int end) {
    if (piece == 0 && LINE_CONTROLS.indexOf(text.charAt(0)) >= 0) {
      return true;
    }
    if (start == end || FORMULA_STARTS.indexOf(text.charAt(start)) < 0) {
      return false;
    }
    // In front of other cells a number could begin a formula that goes on in them.
    boolean alone = piece > 0 || start == 0 && end == text.length();
    return !alone || !NEGATIVE_NUMBER.matcher(text.substring(start, end)).matches();
  }

  // Spreadsheets skip blanks in front when they look for a formula, some drop what cannot be seen,
  // and a quotation mark goes when the cell is split off.
  private static int skipped(String text, int from) {
    int at = from;
    while (at < text.length() && isSkipped(text.codePointAt(at))) {
      at += Character.charCount(text.codePointAt(at));
    }
    return at;
  }

  private static boolean isSkipped(int character) {
    return LINE_CONTROLS.indexOf(character) < 0
        && (character == '"'
            || character == '\''
            || Character.isWhitespace(character)
            || Character.isSpaceChar(character)
            || Character.isISOControl(character)
            || Character.getType(character) == Character.FORMAT);
  }

  private static int endOfCell(String text, int from) {
    int at = from;
    while (at < text.length() && CELL_ENDS.indexOf(text.charAt(at)) < 0) {
      at++;
    }
    return at;
  }

  private static int afterSpaces(String text, int from) {
    int at = from;
    while (text.charAt(at) == ' ') {
      at++;
    }
    return at;
  }

  @Override
  public void write(Map<?, ?> row) throws IOException {
    for (String column : columns) {
      String cell = safe(formatter.text(column, row.get(column)));
      printer.print(onTerminal ? TerminalText.harmless(cell) : cell);
    }
    printer.println();
  }

  @Override
  public void end() throws IOException {
    printer.flush();
  }

  @Override
  public void flush() throws IOException {
    printer.flush();
  }
}
