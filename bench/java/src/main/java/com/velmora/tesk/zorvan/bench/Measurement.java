package com.velmora.tesk.zorvan.bench;

import java.io.IOException;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;

/**
 * Runs the searches of one contender in this process and prints what each cost, one line of JSON
 * per search.
 *
 * <pre>
 * Measurement PROPERTIES CONTENDER FILTER ATTRIBUTES LINKS SEARCH...
 * </pre>
 *
 * CONTENDER is library, jndi or sdk, the latter two with "-simple" for an unprotected connection or
 * "-remembering" for link look-ups that are not repeated. LINKS may be "-". A SEARCH is
 * NAME=BASE_DN; NAME is repeated in the output, and one that is called "plain" leaves the links
 * out.
 */
public final class Measurement {
  private Measurement() {}

  public static void main(String[] arguments) throws Exception {
    Server server = Server.read(Path.of(arguments[0]));
    Contender contender = contender(arguments[1], server);
    List<String> attributes = List.of(arguments[3].split(","));
    List<String> links = arguments[4].equals("-") ? List.of() : List.of(arguments[4].split(","));
    List<String> all = new ArrayList<>(attributes);
    all.addAll(links);
    for (int i = 5; i < arguments.length; i++) {
      int end = arguments[i].indexOf('=');
      String name = arguments[i].substring(0, end);
      String baseDn = arguments[i].substring(end + 1);
      Search search =
          name.equals("plain")
              ? new Search(baseDn, arguments[2], attributes, List.of())
              : new Search(baseDn, arguments[2], all, links);
      measure(name, contender, search);
    }
  }

  private static Contender contender(String name, Server server) {
    boolean sealed = !name.contains("-simple");
    boolean remembers = name.contains("-remembering");
    return switch (name.split("-")[0]) {
      case "library" -> new LibraryContender(server);
      case "jndi" -> new JndiContender(server, sealed, remembers);
      case "sdk" -> new SdkContender(server, sealed, remembers);
      default -> throw new IllegalArgumentException(name);
    };
  }

  private static void measure(String name, Contender contender, Search search) throws Exception {
    ProcessUsage.forgetPeakMemory();
    double cpuBefore = ProcessUsage.cpuSeconds();
    Tally tally = new Tally();
    contender.search(search, tally);
    double seconds = tally.secondsSinceBegin();
    print(name, tally, seconds, ProcessUsage.cpuSeconds() - cpuBefore);
  }

  private static void print(String name, Tally tally, double seconds, double cpuSeconds)
      throws IOException {
    System.out.printf(
        Locale.ROOT,
        "{\"search\": \"%s\", \"rows\": %d, \"values\": %d, \"links\": %d, \"seconds\": %.6f,"
            + " \"firstRow\": %.6f, \"cpu\": %.2f, \"cpuOfProcess\": %.2f, \"peakKib\": %d}%n",
        name,
        tally.rows(),
        tally.values(),
        tally.links(),
        seconds,
        tally.secondsToFirstRow(),
        cpuSeconds,
        ProcessUsage.cpuSeconds(),
        ProcessUsage.peakMemory());
  }
}
