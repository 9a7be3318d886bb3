package com.velmora.tesk.zorvan.cli.output;

import java.io.IOException;
import java.io.InputStream;
import java.util.Locale;
import java.util.Map;
import java.util.Optional;
import java.util.Properties;
import java.util.TreeMap;

/**
 * What the values of well-known attributes mean. The library gives every value as text; this table,
 * {@code attribute-kinds.properties}, says which texts are times, periods, numbers or yes and no,
 * and which attributes hold several values.
 */
final class AttributeKinds {
  /** What a value means. */
  enum Kind {
    TEXT,
    TIME,
    PERIOD,
    NUMBER,
    BOOLEAN
  }

  /**
   * What is known of an attribute.
   *
   * @param several whether it holds several values by its nature
   * @param zero what 0 means, in words
   */
  record Meaning(Kind kind, boolean several, Optional<String> zero) {}

  private static final Meaning UNKNOWN = new Meaning(Kind.TEXT, false, Optional.empty());
  private static final AttributeKinds KNOWN = load();

  private final Map<String, Meaning> meanings;

  private AttributeKinds(Map<String, Meaning> meanings) {
    this.meanings = meanings;
  }

  static AttributeKinds known() {
    return KNOWN;
  }

  /** What is known of an attribute; upper and lower case do not matter. */
  Meaning of(String attribute) {
    return meanings.getOrDefault(attribute, UNKNOWN);
  }

  // A line is: name = kind[, several][, 0 = words]
  private static AttributeKinds load() {
    Properties lines = new Properties();
    try (InputStream stream =
        AttributeKinds.class.getResourceAsStream("attribute-kinds.properties")) {
      lines.load(stream);
    } catch (IOException e) {
      throw new IllegalStateException("attribute-kinds.properties cannot be read", e);
    }
    Map<String, Meaning> meanings = new TreeMap<>(String.CASE_INSENSITIVE_ORDER);
    lines.forEach((name, line) -> meanings.put((String) name, meaning((String) line)));
    return new AttributeKinds(meanings);
  }

  private static Meaning meaning(String line) {
    Kind kind = Kind.TEXT;
    boolean several = false;
    Optional<String> zero = Optional.empty();
    for (String part : line.split(",")) {
      String word = part.trim();
      if (word.equals("several")) {
        several = true;
      } else if (word.startsWith("0 =")) {
        zero = Optional.of(word.substring(3).trim());
      } else {
        kind = Kind.valueOf(word.toUpperCase(Locale.ROOT));
      }
    }
    return new Meaning(kind, several, zero);
  }
}
