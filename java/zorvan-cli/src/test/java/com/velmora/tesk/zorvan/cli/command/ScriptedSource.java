package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.run.ReportSource;
import com.velmora.tesk.zorvan.common.server.DomainSettings;
import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;
import java.util.stream.IntStream;

/** A source that plays what a test tells it to, and remembers what it was asked. */
final class ScriptedSource implements ReportSource {
  /** What a call does. */
  interface Script {
    void play(NativeListener listener, NativeError errors);
  }

  private Script script = (listener, errors) -> {};
  Properties settings;
  String base;
  String filter;
  List<String> attributes;
  List<Object> arguments;

  /** Plays this from now on. */
  ScriptedSource plays(Script newScript) {
    script = newScript;
    return this;
  }

  /** Delivers so many rows, as the library does: it asks before each whether there are enough. */
  static Script rows(int count) {
    return (listener, errors) ->
        IntStream.range(0, count)
            .takeWhile(i -> !listener.isCompleted())
            .forEach(i -> listener.addRow(row("user" + i)));
  }

  static Properties row(String name) {
    Properties row = new Properties();
    row.put("cn", new ArrayList<>(List.of(name)));
    return row;
  }

  @Override
  public void report(
      ReportCatalogue.Report report,
      Properties settings,
      String base,
      List<String> attributes,
      NativeListener listener,
      List<Object> arguments,
      NativeError errors) {
    this.arguments = arguments;
    run(settings, base, attributes, listener, errors);
  }

  @Override
  public void search(
      Properties settings,
      String base,
      String filter,
      List<String> attributes,
      NativeListener listener,
      NativeError errors) {
    this.filter = filter;
    run(settings, base, attributes, listener, errors);
  }

  private void run(
      Properties settings,
      String base,
      List<String> attributes,
      NativeListener listener,
      NativeError errors) {
    this.settings = (Properties) settings.clone();
    // The array is wiped when the call has ended.
    this.settings.computeIfPresent(
        DomainSettings.PASSWORD, (key, password) -> String.valueOf((char[]) password));
    this.base = base;
    this.attributes = attributes;
    script.play(listener, errors);
  }
}
