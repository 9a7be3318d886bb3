package com.velmora.tesk.zorvan.common.server.domain;

import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.Base64;
import java.util.List;
import java.util.Map;
import java.util.TreeMap;

/**
 * Reads LDIF: folded lines, base64, comments. Entries without a DN, as for referrals, are left out.
 */
final class Ldif {
  /** An entry: values in their order, by attribute name in any case. */
  record Entry(String dn, Map<String, List<byte[]>> values) {
    List<String> texts(String attribute) {
      return values.getOrDefault(attribute, List.of()).stream()
          .map(value -> new String(value, StandardCharsets.UTF_8))
          .toList();
    }
  }

  private Ldif() {}

  static List<Entry> parse(String text) {
    List<Entry> entries = new ArrayList<>();
    Entry entry = null;
    // A line that begins with a space goes on with the line before it.
    for (String line : text.replace("\r", "").replace("\n ", "").split("\n")) {
      if (line.isEmpty()) {
        entry = null;
        continue;
      }
      int colon = line.indexOf(':');
      if (line.startsWith("#") || colon < 0) {
        continue;
      }
      String name = line.substring(0, colon);
      byte[] value = value(line.substring(colon + 1));
      if (name.equals("dn")) {
        entry =
            new Entry(
                new String(value, StandardCharsets.UTF_8),
                new TreeMap<>(String.CASE_INSENSITIVE_ORDER));
        entries.add(entry);
      } else if (entry != null) {
        entry.values().computeIfAbsent(name, key -> new ArrayList<>()).add(value);
      }
    }
    return entries;
  }

  private static byte[] value(String rest) {
    return rest.startsWith(":")
        ? Base64.getDecoder().decode(rest.substring(1).strip())
        : rest.stripLeading().getBytes(StandardCharsets.UTF_8);
  }
}
