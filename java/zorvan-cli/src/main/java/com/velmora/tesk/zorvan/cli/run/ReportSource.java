package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.List;
import java.util.Properties;

/** Where rows come from: the native library, or a test's own. Each call runs to its end. */
public interface ReportSource {

  /**
   * Runs a report.
   *
   * @param arguments one for each parameter of the report, a {@code Long} or a {@code String}
   */
  void report(
      ReportCatalogue.Report report,
      Properties settings,
      String base,
      List<String> attributes,
      NativeListener listener,
      List<Object> arguments,
      NativeError errors);

  /** Runs a search. */
  void search(
      Properties settings,
      String base,
      String filter,
      List<String> attributes,
      NativeListener listener,
      NativeError errors);
}
