package com.velmora.tesk.zorvan.cli;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintWriter;
import java.nio.file.Path;
import java.time.Clock;

/**
 * What a command sees of the process that it runs in, so that tests can give it others.
 *
 * @param input standard input
 * @param output standard output, unbuffered; unlike {@code System.out} it reports failures
 * @param messages standard error
 * @param outputIsTerminal whether standard output goes to a terminal
 * @param messagesAreTerminal whether standard error goes to a terminal
 * @param columns width of the terminal in characters, 0 when unknown
 * @param configuration the folder of the profile files
 * @param clock the time
 */
record Surroundings(
    InputStream input,
    OutputStream output,
    PrintWriter messages,
    boolean outputIsTerminal,
    boolean messagesAreTerminal,
    int columns,
    Path configuration,
    Clock clock) {

  // The launcher script can tell which streams are terminals and passes it on; Java itself cannot
  // ask for one stream alone.
  private static final String OUTPUT_TERMINAL = "zorvan.terminal.output";
  private static final String MESSAGES_TERMINAL = "zorvan.terminal.messages";
  private static final String COLUMNS = "zorvan.terminal.columns";

  static Surroundings ofProcess() {
    boolean console = System.console() != null;
    return new Surroundings(
        System.in,
        new FileOutputStream(FileDescriptor.out),
        new PrintWriter(System.err, true),
        flag(OUTPUT_TERMINAL, console),
        flag(MESSAGES_TERMINAL, console),
        Integer.getInteger(COLUMNS, 0),
        Path.of(System.getProperty("user.home"), ".config", "zorvan"),
        Clock.systemUTC());
  }

  private static boolean flag(String property, boolean otherwise) {
    String value = System.getProperty(property);
    return value == null ? otherwise : Boolean.parseBoolean(value);
  }
}
