package com.velmora.tesk.zorvan.cli.command;

import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/**
 * Which attributes are asked for, and which of them are shown. They differ where the library needs
 * one attribute to find another.
 *
 * @param columns what is shown
 * @param requested what the library is asked for, in this order
 */
record AttributeSelection(List<String> columns, List<String> requested) {
  private static final String ACCOUNT_NAME = "sAMAccountName";
  private static final String TERMINAL_SERVICES_PREFIX = "ts";
  private static final String NAME_ALONE = "distinguishedName";

  /** The selection that shows these columns; none at all shows the distinguished name. */
  static AttributeSelection of(List<String> columns) {
    if (columns.isEmpty()) {
      return new AttributeSelection(List.of(NAME_ALONE), List.of());
    }
    int settings = firstIndex(columns, TERMINAL_SERVICES_PREFIX, false);
    int account = firstIndex(columns, ACCOUNT_NAME, true);
    if (settings < 0 || account >= 0 && account < settings) {
      return new AttributeSelection(columns, columns);
    }
    // Terminal-services settings are looked up by the account name of the row.
    List<String> requested = new ArrayList<>(columns);
    if (account >= 0) {
      requested.add(0, requested.remove(account));
    } else {
      requested.add(0, ACCOUNT_NAME);
    }
    return new AttributeSelection(columns, requested);
  }

  private static int firstIndex(List<String> names, String wanted, boolean whole) {
    String lower = wanted.toLowerCase(Locale.ROOT);
    for (int i = 0; i < names.size(); i++) {
      String name = names.get(i).toLowerCase(Locale.ROOT);
      if (whole ? name.equals(lower) : name.startsWith(lower)) {
        return i;
      }
    }
    return -1;
  }
}
