package com.velmora.tesk.zorvan.cli;

import java.io.IOException;
import java.io.Writer;
import java.util.List;
import java.util.Map;
import java.util.regex.Pattern;
import org.apache.commons.csv.CSVFormat;
import org.apache.commons.csv.CSVPrinter;

/**
 * Comma-separated values with a header line. A cell that a spreadsheet would take for a formula
 * gets an apostrophe in front, because anybody who may set his own telephone number in the
 * directory could otherwise run formulas on the administrator's machine.
 */
final class CsvRowWriter implements RowWriter {
  private static final String FORMULA_STARTS = "=+-@\t\r\n＝＋－＠";
  private static final Pattern NEGATIVE_NUMBER = Pattern.compile("-\\d+(\\.\\d+)?");

  private final CSVPrinter printer;
  private final List<String> columns;
  private final ValueFormatter formatter;

  CsvRowWriter(Writer writer, List<String> columns, ValueFormatter formatter) throws IOException {
    this.columns = columns;
    this.formatter = formatter;
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
    // Spreadsheets skip blanks in front when they look for a formula.
    String start = text.stripLeading();
    boolean formula =
        !text.isEmpty()
            && (FORMULA_STARTS.indexOf(text.charAt(0)) >= 0
                || !start.isEmpty() && FORMULA_STARTS.indexOf(start.charAt(0)) >= 0);
    return formula && !NEGATIVE_NUMBER.matcher(text).matches() ? "'" + text : text;
  }

  @Override
  public void write(Map<?, ?> row) throws IOException {
    for (String column : columns) {
      printer.print(safe(formatter.text(column, row.get(column))));
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
