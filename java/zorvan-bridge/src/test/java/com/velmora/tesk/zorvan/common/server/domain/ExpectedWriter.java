package com.velmora.tesk.zorvan.common.server.domain;

import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.stream.Collectors;

/**
 * Writes what {@link Expected} reads: {@code objects.ldif} with every object of the server's own
 * database, and for each report a file with the names that {@code ldbsearch} finds for it.
 */
public final class ExpectedWriter {
  static final String OBJECTS = "objects";

  private ExpectedWriter() {}

  /** Fills the folder that is the only argument. */
  public static void main(String[] arguments) throws IOException {
    Path folder = Files.createDirectories(Path.of(arguments[0]));
    write(folder);
    System.out.println(PlainReport.ALL.size() + " reports' expected rows are in " + folder);
  }

  /** Fills a temporary folder, which ends with this process. */
  static Path writeAside() throws IOException {
    Path folder = Files.createTempDirectory("zorvan-expected-");
    folder.toFile().deleteOnExit();
    write(folder);
    try (var files = Files.list(folder)) {
      files.map(Path::toFile).forEach(File::deleteOnExit);
    }
    return folder;
  }

  private static void write(Path folder) throws IOException {
    String all = ldbsearch("", "--cross-ncs", "-b", TestDomain.BASE, "(objectClass=*)");
    Files.writeString(folder.resolve(OBJECTS + ".ldif"), all);
    for (List<PlainReport> reports :
        PlainReport.ALL.stream().collect(Collectors.groupingBy(PlainReport::base)).values()) {
      String filters =
          reports.stream().map(PlainReport::filter).collect(Collectors.joining("\n", "", "\n"));
      String answers = ldbsearch(filters, "--interactive", "-b", reports.get(0).base(), "dn");
      String[] answer = answers.split("(?m)^# returned .*$");
      for (int i = 0; i < reports.size(); i++) {
        Files.writeString(folder.resolve(reports.get(i).name() + ".ldif"), answer[i]);
      }
    }
  }

  private static String ldbsearch(String input, String... arguments) throws IOException {
    List<String> command =
        new ArrayList<>(List.of("ldbsearch", "-H", TestDomain.property("samLdb")));
    command.addAll(Arrays.asList(arguments));
    Path filters = Files.createTempFile("zorvan-filters-", "");
    try {
      Files.writeString(filters, input);
      Process process =
          new ProcessBuilder(command)
              .redirectInput(filters.toFile())
              .redirectError(ProcessBuilder.Redirect.INHERIT)
              .start();
      String output = new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
      if (process.waitFor() != 0) {
        throw new IOException("failed: " + command);
      }
      return output;
    } catch (InterruptedException e) {
      throw new IOException(e);
    } finally {
      Files.delete(filters);
    }
  }
}
