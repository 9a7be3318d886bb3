package com.velmora.tesk.zorvan.common.server;

import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.util.ArrayList;
import java.util.List;
import java.util.Properties;

/** Calls a report of the catalogue by its name, for callers that let somebody choose among them. */
public final class ReportInvoker {
  private final ADHandler handler;

  /** Calls go to this handler. */
  public ReportInvoker(ADHandler handler) {
    this.handler = handler;
  }

  /**
   * Runs a report to its end.
   *
   * @param report which
   * @param settings see {@link DomainSettings}
   * @param baseDn the container searched
   * @param attributes the attributes each row shall hold
   * @param listener takes the rows
   * @param arguments one for each parameter of the report, in their order, each of its type
   * @param errors takes what goes wrong
   * @throws IllegalArgumentException when an argument is missing or of the wrong type, or {@link
   *     ADHandler} has no such method
   */
  public void run(
      ReportCatalogue.Report report,
      Properties settings,
      String baseDn,
      List<String> attributes,
      NativeListener listener,
      List<Object> arguments,
      NativeError errors) {
    List<Object> all = new ArrayList<>();
    all.add(settings);
    all.add(baseDn);
    all.add(new ArrayList<>(attributes));
    all.add(listener);
    all.addAll(arguments);
    all.add(errors);
    try {
      method(report).invoke(handler, all.toArray());
    } catch (InvocationTargetException e) {
      throw unwrapped(e);
    } catch (IllegalAccessException e) {
      throw new IllegalStateException(e);
    }
  }

  /**
   * The native method of a report.
   *
   * @throws IllegalArgumentException when {@link ADHandler} has none that takes the report's
   *     parameters
   */
  public static Method method(ReportCatalogue.Report report) {
    List<Class<?>> types = new ArrayList<>();
    types.add(Properties.class);
    types.add(String.class);
    types.add(ArrayList.class);
    types.add(NativeListener.class);
    report.parameters().forEach(parameter -> types.add(parameter.type().javaType()));
    types.add(NativeError.class);
    try {
      return ADHandler.class.getMethod(report.name(), types.toArray(Class<?>[]::new));
    } catch (NoSuchMethodException e) {
      throw new IllegalArgumentException("ADHandler has no method for " + report.name(), e);
    }
  }

  private static RuntimeException unwrapped(InvocationTargetException e) {
    if (e.getCause() instanceof Error error) {
      throw error;
    }
    return e.getCause() instanceof RuntimeException cause
        ? cause
        : new IllegalStateException(e.getCause());
  }
}
