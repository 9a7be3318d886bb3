package com.velmora.tesk.zorvan.common.server.bridge;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import java.io.File;
import java.lang.management.ManagementFactory;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import org.junit.jupiter.api.Test;

/**
 * What is printed when the Java side lacks a class or member, and whether calls go on without it.
 */
class MissingClassTest {
  private static final String PACKAGE = "com.velmora.tesk.zorvan.common.server.";
  private static final String LOG_LINES = "log lines: ";
  private static final String LOADER = "loader: ";

  @Test
  void whatIsMissingIsToldAndDoneWithoutUnlessCallsNeedIt() throws Exception {
    assertPrints(
        PACKAGE + "DomainInfoCache",
        "",
        "\n\nLRefDomainInfoCache is NULL\n\n"
            + "\n\nDomainInfoCacheClass is NULL\n\n"
            + "\n\nLgetDomainInfoCacheInstanceID is NULL\n\n"
            + "\n\nsetLookupStatusID is NULL\n\n",
        true);
    assertPrints(
        "",
        "nativeLogger",
        "Could not find field 'java.util.logging.Logger nativeLogger'!\n"
            + "Could not get logger object!\n",
        true);
  }

  @Test
  void whatCallsNeedIsNamedByTheLoader() throws Exception {
    assertPrints(PACKAGE + "NativeError", "", "", false, "NativeError");
    assertPrints("", "isCompleted", "", false, "model/NativeListener.isCompleted()Z");
    // The Java side of an older version has no method to take the name.
    assertPrints(
        PACKAGE + "NativeError",
        "missingMember",
        "ZorvanSecurity: the Java classes lack com/velmora/tesk/zorvan/common/server/NativeError,"
            + " so no call can be made\n",
        false);
  }

  private static void assertPrints(
      String hiddenClass,
      String renamedMember,
      String printed,
      boolean callsGoOn,
      String... missing)
      throws Exception {
    String output = run(hiddenClass, renamedMember);
    int end = output.indexOf(LOG_LINES);
    int loader = output.indexOf(LOADER, end);
    assertEquals(printed, output.substring(0, end));
    // The loader fills the cache once more, so what is printed comes again behind this line.
    String lines = output.substring(end + LOG_LINES.length()).lines().findFirst().orElseThrow();
    int logLines = Integer.parseInt(lines);
    assertEquals(callsGoOn, logLines > 0, output);
    List<String> named = output.substring(loader).lines().skip(1).map(String::strip).toList();
    assertEquals(
        Arrays.stream(missing).map(name -> PACKAGE.replace('.', '/') + name).toList(),
        named,
        output);
  }

  private static String run(String hiddenClass, String renamedMember) throws Exception {
    String classPath =
        folderOf(ADHandler.class) + File.pathSeparator + folderOf(MissingClassProgram.class);
    List<String> command = new ArrayList<>();
    command.add(Path.of(System.getProperty("java.home"), "bin", "java").toString());
    // The same options as this process: the library, -Xcheck:jni, and what the platform needs.
    command.addAll(ManagementFactory.getRuntimeMXBean().getInputArguments());
    command.addAll(
        List.of("-cp", classPath, MissingClassProgram.class.getName(), hiddenClass, renamedMember));
    Process process = new ProcessBuilder(command).redirectErrorStream(true).start();
    String output =
        new String(process.getInputStream().readAllBytes(), StandardCharsets.UTF_8)
            .replace("\r", "");
    assertEquals(0, process.waitFor(), output);
    assertTrue(output.contains(LOG_LINES), output);
    return output;
  }

  private static Path folderOf(Class<?> type) throws URISyntaxException {
    return Path.of(type.getProtectionDomain().getCodeSource().getLocation().toURI());
  }
}
