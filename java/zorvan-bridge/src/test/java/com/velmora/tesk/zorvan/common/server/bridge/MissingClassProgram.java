package com.velmora.tesk.zorvan.common.server.bridge;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.LogSink;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import java.util.ArrayList;
import java.util.Properties;
import java.util.Set;
import java.util.concurrent.atomic.AtomicInteger;

/** Fills the class cache in a virtual machine of its own, where something is missing. */
public final class MissingClassProgram {
  private MissingClassProgram() {}

  /**
   * Prints what the library prints, then a line with what a call brings, then what the loader says.
   *
   * @param arguments the full name of a class to hide and the name of a member to rename, each may
   *     be empty
   */
  public static void main(String[] arguments) throws ReflectiveOperationException {
    BridgeLoader loader = new BridgeLoader(Set.of(arguments[0])).renaming(arguments[1]);
    loader.loadClass(Body.class.getName()).getMethod("run").invoke(null);
  }

  /** What runs in the other loader. */
  public static final class Body {
    private Body() {}

    /** Fills the cache, makes a call, and asks the loader for a handler. */
    public static void run() {
      BridgeLoader.loadCannedLibrary();
      AtomicInteger lines = new AtomicInteger();
      ADHandler.setLogSink(
          new LogSink() {
            @Override
            public boolean isWanted(Channel channel, int level) {
              return true;
            }

            @Override
            public void write(Channel channel, int level, String text) {
              lines.incrementAndGet();
            }
          });
      ADHandler handler = new ADHandler();
      handler.InitializeClassIDs();
      lines.set(0);
      handler.GetUsers(new Properties(), "", new ArrayList<>(), null, null);
      System.out.println("log lines: " + lines);
      System.out.println("loader: " + loaderSays());
    }

    private static String loaderSays() {
      try {
        return NativeLibraryLoader.handler() == null ? "nothing" : "ready";
      } catch (UnsatisfiedLinkError e) {
        return e.getMessage();
      }
    }
  }
}
