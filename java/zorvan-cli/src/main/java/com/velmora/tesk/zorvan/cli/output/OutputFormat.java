package com.velmora.tesk.zorvan.cli.output;

import java.io.IOException;
import java.io.Writer;
import java.time.Clock;
import java.util.List;
import java.util.Locale;

/** The formats that rows can be written in. */
public enum OutputFormat {
  TABLE,
  CSV,
  JSON,
  JSONL;

  /**
   * Begins an output of this format.
   *
   * @param onTerminal whether a terminal shows what is written
   * @param screenWidth the terminal's width, 0 when it is unknown or the output goes elsewhere
   */
  public RowWriter open(
      Writer writer,
      List<String> columns,
      ValueFormatter formatter,
      boolean onTerminal,
      int screenWidth,
      Clock clock)
      throws IOException {
    return switch (this) {
      case TABLE -> new TableRowWriter(writer, columns, formatter, screenWidth, clock);
      case CSV -> new CsvRowWriter(writer, columns, formatter, onTerminal);
      case JSON -> JsonRowWriter.array(writer, columns, formatter);
      case JSONL -> JsonRowWriter.lines(writer, columns, formatter);
    };
  }

  @Override
  public String toString() {
    return name().toLowerCase(Locale.ROOT);
  }
}
