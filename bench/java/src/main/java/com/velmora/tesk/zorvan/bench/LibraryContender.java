package com.velmora.tesk.zorvan.bench;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;

/** This library, with its default log. */
final class LibraryContender implements Contender {
  private final ADHandler handler = NativeLibraryLoader.handler();
  private final Server server;

  LibraryContender(Server server) {
    this.server = server;
  }

  @Override
  public void search(Search search, Tally tally) {
    Properties settings =
        DomainSettings.ofDomain(server.dnsDomain())
            .controllers(List.of(server.host()))
            .user(server.logonName(), server.password().toCharArray())
            .toProperties();
    NativeError errors = new NativeError();
    handler.GetObjects(
        settings,
        search.baseDn(),
        search.filter(),
        new ArrayList<>(search.attributes()),
        new Counter(search, tally),
        errors);
    if (!errors.isEmpty()) {
      throw new IllegalStateException("the search failed: " + errors);
    }
  }

  private record Counter(Search search, Tally tally) implements NativeListener {

    @Override
    public void addRow(Properties row) {
      tally.row();
      for (String attribute : search.attributes()) {
        if (row.get(attribute) instanceof List<?> values) {
          boolean link = search.links().contains(attribute);
          for (Object value : values) {
            if (link) {
              tally.link(value instanceof Properties object ? object.get("cn") : value);
            } else {
              tally.value(value);
            }
          }
        }
      }
    }

    @Override
    public boolean isCompleted() {
      return false;
    }
  }
}
