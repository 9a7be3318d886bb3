package com.velmora.tesk.zorvan.cli.command;

import java.util.Collection;
import java.util.Comparator;
import java.util.List;
import java.util.Locale;

/** Names that somebody may have meant who wrote another. */
final class NearNames {
  private static final int MOST = 5;

  private NearNames() {}

  /** The names nearest to the one written, nearest first; none when all are far away. */
  static List<String> of(String written, Collection<String> names) {
    String wanted = plain(written);
    return names.stream()
        .filter(name -> isNear(wanted, plain(name)))
        .sorted(Comparator.comparingInt(name -> distance(wanted, plain(name))))
        .limit(MOST)
        .toList();
  }

  private static boolean isNear(String wanted, String name) {
    return wanted.length() >= 3 && name.contains(wanted)
        || distance(wanted, name) <= Math.max(2, wanted.length() / 3);
  }

  private static String plain(String name) {
    String letters = name.toLowerCase(Locale.ROOT).replaceAll("[^\\p{L}\\p{N}]", "");
    return letters.startsWith("get") ? letters.substring(3) : letters;
  }

  // Levenshtein's distance, one row of the matrix at a time.
  private static int distance(String from, String to) {
    int[] previous = new int[to.length() + 1];
    for (int j = 0; j <= to.length(); j++) {
      previous[j] = j;
    }
    for (int i = 1; i <= from.length(); i++) {
      int[] current = new int[to.length() + 1];
      current[0] = i;
      for (int j = 1; j <= to.length(); j++) {
        int change = from.charAt(i - 1) == to.charAt(j - 1) ? 0 : 1;
        current[j] =
            Math.min(previous[j - 1] + change, Math.min(previous[j] + 1, current[j - 1] + 1));
      }
      previous = current;
    }
    return previous[to.length()];
  }
}
