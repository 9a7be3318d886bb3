package com.velmora.tesk.zorvan.bench;

import java.util.Objects;

/** What a search delivered. Contenders must agree on it, or they did not do the same work. */
final class Tally {
  private final long begun = System.nanoTime();
  private long firstRow;
  private long rows;
  private long values;
  private long links;

  void row() {
    if (rows++ == 0) {
      firstRow = System.nanoTime();
    }
  }

  /** A value of a row, made ready for use: a text, or octets. */
  void value(Object value) {
    Objects.requireNonNull(value);
    values++;
  }

  /** An object behind a name, read and at hand. */
  void link(Object commonName) {
    Objects.requireNonNull(commonName);
    links++;
  }

  double secondsToFirstRow() {
    return rows == 0 ? 0 : (firstRow - begun) / 1e9;
  }

  double secondsSinceBegin() {
    return (System.nanoTime() - begun) / 1e9;
  }

  long rows() {
    return rows;
  }

  long values() {
    return values;
  }

  long links() {
    return links;
  }
}
