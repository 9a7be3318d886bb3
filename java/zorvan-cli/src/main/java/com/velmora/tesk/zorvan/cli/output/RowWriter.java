package com.velmora.tesk.zorvan.cli.output;

import java.io.IOException;
import java.util.Map;

/**
 * Writes rows in one format as they come. Nothing but the first screenful of a table is held back,
 * so memory does not grow with the number of rows.
 */
public interface RowWriter {

  /** Writes one row: attribute names mapped to values as the library gave them. */
  void write(Map<?, ?> row) throws IOException;

  /**
   * Writes what belongs behind the last row, so that the output is well-formed. Called once, also
   * when the rows ended early.
   */
  void end() throws IOException;

  /** Passes on what was written so far. */
  void flush() throws IOException;
}
