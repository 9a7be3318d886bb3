package com.velmora.tesk.zorvan.common.server;

import java.lang.management.ManagementFactory;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import javax.management.JMException;
import javax.management.ObjectName;

/**
 * The virtual machine's own count of JNI references, which it tells at the end of a thread dump.
 */
public final class JniReferences {
  private JniReferences() {}

  /** How many global references there are. */
  public static int global() throws JMException {
    Object dump =
        ManagementFactory.getPlatformMBeanServer()
            .invoke(
                new ObjectName("com.sun.management:type=DiagnosticCommand"),
                "threadPrint",
                new Object[] {new String[0]},
                new String[] {String[].class.getName()});
    Matcher count = Pattern.compile("JNI global ref\\w*: (\\d+)").matcher(dump.toString());
    if (!count.find()) {
      throw new AssertionError("the thread dump tells no number of global references");
    }
    return Integer.parseInt(count.group(1));
  }
}
