package com.velmora.tesk.zorvan.common.server.bridge;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import java.io.File;
import java.io.IOException;
import java.lang.management.ManagementFactory;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Collectors;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;

/**
 * What is printed when the Java side lacks a class or member, and whether calls go on without it.
 */
class MissingClassTest {
  private static final String PACKAGE = "com.velmora.tesk.zorvan.common.server.";
  private static final String LOG_LINES = "log lines: ";

  @Test
  void missingDomainInfoCacheIsToldAndDoneWithout() throws Exception {
    String output = run(PACKAGE + "DomainInfoCache", "");
    assertEquals(
        "\n\nLRefDomainInfoCache is NULL\n\n"
            + "\n\nDomainInfoCacheClass is NULL\n\n"
            + "\n\nLgetDomainInfoCacheInstanceID is NULL\n\n"
            + "\n\nsetLookupStatusID is NULL\n\n",
        printed(output));
    assertTrue(logLines(output) > 0, "log lines of a call");
  }

  @Test
  void missingLoggerFieldIsToldAndDoneWithout() throws Exception {
    String output = run("", "nativeLogger");
    assertEquals(
        "Could not find field 'java.util.logging.Logger nativeLogger'!\n"
            + "Could not get logger object!\n",
        printed(output));
    assertTrue(logLines(output) > 0, "log lines of a call");
  }

  @Test
  void callsDoNothingWithoutAClassThatTheyNeed() throws Exception {
    String output = run(PACKAGE + "NativeError", "");
    assertEquals("", printed(output));
    assertEquals(0, logLines(output));
  }

  private static String printed(String output) {
    return output.substring(0, output.indexOf(LOG_LINES));
  }

  private static int logLines(String output) {
    return Integer.parseInt(
        output.substring(output.indexOf(LOG_LINES) + LOG_LINES.length()).strip());
  }

  private static String run(String hiddenClass, String renamedMember)
      throws IOException, InterruptedException {
    String classPath =
        Stream.of(ADHandler.class, MissingClassTest.class)
            .map(MissingClassTest::folderOf)
            .collect(Collectors.joining(File.pathSeparator));
    List<String> command = new ArrayList<>();
    command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
    // The same options as this process: the library, -Xcheck:jni, and what the platform needs.
    command.addAll(ManagementFactory.getRuntimeMXBean().getInputArguments());
    command.addAll(
        List.of(
            "-classpath",
            classPath,
            MissingClassProgram.class.getName(),
            hiddenClass,
            renamedMember));
    Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
    String output =
        new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8)
            .replace("\r", "");
    assertEquals(0, process.waitFor(), output);
    assertTrue(output.contains(LOG_LINES), output);
    return output;
  }

  private static String folderOf(Class<?> type) {
    try {
      return Path.of(type.getProtectionDomain().getCodeSource().getLocation().toURI()).toString();
    } catch (java.net.URISyntaxException e) {
      throw new IllegalStateException(e);
    }
  }
}
