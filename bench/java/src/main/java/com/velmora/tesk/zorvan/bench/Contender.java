package com.velmora.tesk.zorvan.bench;

/** A way of searching a directory from Java. */
interface Contender {

  /** Connects, binds, reads all pages of the search and disconnects. */
  void search(Search search, Tally tally) throws Exception;
}
