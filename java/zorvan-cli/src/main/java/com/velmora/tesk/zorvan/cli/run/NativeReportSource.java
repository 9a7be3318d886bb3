package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.common.server.NativeError;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.ReportInvoker;
import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;

/** Rows from the native library, which is loaded at the first call. */
public final class NativeReportSource implements ReportSource {

  @Override
  public void report(
      ReportCatalogue.Report report,
      Properties settings,
      String base,
      List<String> attributes,
      NativeListener listener,
      List<Object> arguments,
      NativeError errors) {
    new ReportInvoker(NativeLibraryLoader.handler())
        .run(report, settings, base, attributes, listener, arguments, errors);
  }

  @Override
  public void search(
      Properties settings,
      String base,
      String filter,
      List<String> attributes,
      NativeListener listener,
      NativeError errors) {
    NativeLibraryLoader.handler()
        .GetObjects(settings, base, filter, new ArrayList<>(attributes), listener, errors);
  }
}
