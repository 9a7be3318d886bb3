package com.velmora.tesk.zorvan.common.server;

import java.util.ArrayList;
import java.util.Properties;

/**
 * Makes a row's objects out of the two arrays in which the library hands it over. Many small
 * objects are made here in the time of a few calls from native code.
 *
 * <p>The structure is the number of entries, then for each entry the index of its key and its
 * value. A value is its kind, followed by offset and length of a text, by the count and the values
 * of a list, or by the count and the entries of a row.
 */
final class RowAssembler {
  private static final int TEXT = 0;
  private static final int LIST = 1;
  private static final int ROW = 2;

  private final String[] keys;
  private final char[] texts;
  private final int[] structure;
  private int position;

  private RowAssembler(String[] keys, char[] texts, int[] structure) {
    this.keys = keys;
    this.texts = texts;
    this.structure = structure;
  }

  /** Called by the library, which reuses the arrays for the next row. */
  static Properties assemble(String[] keys, char[] texts, int[] structure) {
    return new RowAssembler(keys, texts, structure).row();
  }

  private Properties row() {
    int entries = structure[position++];
    Properties row = new Properties(2 * entries);
    for (int i = 0; i < entries; i++) {
      String key = keys[structure[position++]];
      row.put(key, value());
    }
    return row;
  }

  private ArrayList<Object> list() {
    int count = structure[position++];
    ArrayList<Object> list = new ArrayList<>(count);
    for (int i = 0; i < count; i++) {
      list.add(value());
    }
    return list;
  }

  private String text() {
    int offset = structure[position++];
    int length = structure[position++];
    return new String(texts, offset, length);
  }

  private Object value() {
    int kind = structure[position++];
    return switch (kind) {
      case TEXT -> text();
      case LIST -> list();
      case ROW -> row();
      default -> throw new IllegalArgumentException("unknown kind of value: " + kind);
    };
  }
}
