package com.velmora.tesk.zorvan.bench;

import java.util.HashMap;
import java.util.Map;

/** Reads the objects behind names one after the other, as a program without a plan does. */
final class LinkReader {
  private final Reader reader;
  private final Map<String, String> known;

  /** One base search; gives the object's common name. */
  interface Reader {
    String read(String distinguishedName) throws Exception;
  }

  /**
   * @param remembers whether a name that was read before is not read again
   */
  LinkReader(Reader reader, boolean remembers) {
    this.reader = reader;
    this.known = remembers ? new HashMap<>() : null;
  }

  String commonName(String distinguishedName) throws Exception {
    if (known == null) {
      return reader.read(distinguishedName);
    }
    String name = known.get(distinguishedName);
    if (name == null) {
      name = reader.read(distinguishedName);
      known.put(distinguishedName, name);
    }
    return name;
  }
}
