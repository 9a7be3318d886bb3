package com.velmora.tesk.zorvan.common.server.model;

import java.util.Properties;

/**
 * Receives the rows of a search or report while it runs. Called on the thread that made the native
 * call, never by two threads at once for one call.
 */
public interface NativeListener {

  /**
   * Takes one row. The row belongs to the listener from then on.
   *
   * @param row attribute names mapped to values; an attribute that the object lacks is no key
   */
  void addRow(Properties row);

  /**
   * Whether the caller has enough: true ends the running call, without an error. Asked after each
   * row and, while the library waits for the directory, up to ten times a second; so it must be
   * quick, and once true it stays true. A search gives its first row even to a listener that has
   * enough from the start.
   */
  boolean isCompleted();
}
