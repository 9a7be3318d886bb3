package com.velmora.tesk.zorvan.cli.output;

import com.github.freva.asciitable.AsciiTable;
import com.github.freva.asciitable.Column;
import com.github.freva.asciitable.HorizontalAlign;
import com.velmora.tesk.zorvan.cli.TerminalText;
import com.velmora.tesk.zorvan.cli.output.AttributeKinds.Kind;
import java.io.IOException;
import java.io.Writer;
import java.time.Clock;
import java.time.Duration;
import java.time.Instant;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Map;

/**
 * A table for people. The widths of its columns are taken from the first screenful; later rows are
 * written as they come. On a terminal a value that is too wide is cut; elsewhere it is written
 * whole and pushes its row to the right.
 */
final class TableRowWriter implements RowWriter {
  private static final int SCREENFUL = 40;
  private static final Duration LONGEST_WAIT = Duration.ofSeconds(1);
  private static final int WIDEST_COLUMN = 60;
  private static final int NARROWEST_COLUMN = 6;
  private static final int BLANKS_AND_BORDER = 3;

  private final Writer writer;
  private final List<String> columns;
  private final ValueFormatter formatter;
  private final int screenWidth;
  private final Clock clock;
  private List<String[]> screenful = new ArrayList<>();
  private Instant firstRow;
  private int[] widths;

  /**
   * @param screenWidth the terminal's width, 0 when the output goes elsewhere
   */
  TableRowWriter(
      Writer writer, List<String> columns, ValueFormatter formatter, int screenWidth, Clock clock) {
    this.writer = writer;
    this.columns = columns;
    this.formatter = formatter;
    this.screenWidth = screenWidth;
    this.clock = clock;
  }

  @Override
  public void write(Map<?, ?> row) throws IOException {
    String[] cells =
        columns.stream()
            .map(column -> TerminalText.harmless(formatter.text(column, row.get(column))))
            .toArray(String[]::new);
    if (widths != null) {
      writeLine(cells);
      return;
    }
    screenful.add(cells);
    if (firstRow == null) {
      firstRow = clock.instant();
    }
    boolean waitedLong = Duration.between(firstRow, clock.instant()).compareTo(LONGEST_WAIT) >= 0;
    if (screenful.size() >= SCREENFUL || waitedLong) {
      writeScreenful();
    }
  }

  @Override
  public void end() throws IOException {
    if (widths == null) {
      writeScreenful();
    }
    writer.flush();
  }

  @Override
  public void flush() throws IOException {
    writer.flush();
  }

  private void writeScreenful() throws IOException {
    widths = new int[columns.size()];
    for (int i = 0; i < widths.length; i++) {
      int column = i;
      int widest =
          screenful.stream().mapToInt(row -> TerminalText.width(row[column])).max().orElse(0);
      widths[i] = Math.max(TerminalText.width(columns.get(i)), Math.min(widest, WIDEST_COLUMN));
    }
    if (screenWidth > 0) {
      narrow();
    }
    writeHeader();
    for (String[] row : screenful) {
      writeLine(row);
    }
    screenful = null;
  }

  // Takes from the widest columns until the table fits, or every column is as narrow as it may be.
  private void narrow() {
    int excess = Arrays.stream(widths).map(width -> width + BLANKS_AND_BORDER).sum() - screenWidth;
    for (; excess > 0; excess--) {
      int widest = 0;
      for (int i = 1; i < widths.length; i++) {
        widest = widths[i] > widths[widest] ? i : widest;
      }
      if (widths[widest] <= NARROWEST_COLUMN) {
        return;
      }
      widths[widest]--;
    }
  }

  private void writeHeader() throws IOException {
    Column[] layout = new Column[widths.length];
    for (int i = 0; i < layout.length; i++) {
      String title = screenWidth > 0 ? TerminalText.fit(columns.get(i), widths[i]) : columns.get(i);
      layout[i] = column(i, title).header(title).headerAlign(align(i));
    }
    writer.write(render(layout, new Object[0][]));
    writer.write('\n');
  }

  private void writeLine(String[] cells) throws IOException {
    Column[] layout = new Column[cells.length];
    String[] shown = new String[cells.length];
    for (int i = 0; i < cells.length; i++) {
      shown[i] = screenWidth > 0 ? TerminalText.fit(cells[i], widths[i]) : cells[i];
      layout[i] = column(i, shown[i]);
    }
    writer.write(render(layout, new Object[][] {shown}));
    writer.write('\n');
  }

  // The table library counts characters; it is told a width that comes to the right number of
  // columns.
  private Column column(int index, String content) {
    int width = Math.max(widths[index], TerminalText.width(content));
    int characters = width - TerminalText.width(content) + content.length();
    int total = Math.max(characters, 1) + 2;
    return new Column().minWidth(total).maxWidth(total).dataAlign(align(index));
  }

  private HorizontalAlign align(int index) {
    return AttributeKinds.known().of(columns.get(index)).kind() == Kind.NUMBER
        ? HorizontalAlign.RIGHT
        : HorizontalAlign.LEFT;
  }

  private static String render(Column[] layout, Object[][] rows) {
    return AsciiTable.builder()
        .border(AsciiTable.BASIC_ASCII_NO_DATA_SEPARATORS_NO_OUTSIDE_BORDER)
        .lineSeparator("\n")
        .data(layout, rows)
        .asString();
  }
}
