package com.velmora.tesk.zorvan.cli;

import java.io.Console;
import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.InputStream;
import java.io.OutputStream;
import java.io.PrintWriter;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.time.Clock;

/**
 * What a command sees of the process that it runs in, so that tests can give it others.
 *
 * @param input standard input
 * @param output standard output, unbuffered; unlike {@code System.out} it reports failures
 * @param outputCharset how text is written to standard output
 * @param messages standard error
 * @param outputIsTerminal whether standard output goes to a terminal
 * @param messagesAreTerminal whether standard error goes to a terminal
 * @param columns width of the terminal in characters, 0 when unknown
 * @param configuration the folder of the profile files
 * @param clock the time
 */
public record Surroundings(
    InputStream input,
    OutputStream output,
    Charset outputCharset,
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

  public static Surroundings ofProcess() {
    Console console = System.console();
    boolean outputIsTerminal = flag(OUTPUT_TERMINAL, console != null);
    boolean messagesAreTerminal = flag(MESSAGES_TERMINAL, console != null);
    // A terminal shows its own character set alone; what goes elsewhere is UTF-8 on every system.
    Charset terminal =
        console != null
            ? console.charset()
            : Charset.forName(System.getProperty("native.encoding"));
    Charset output = outputIsTerminal ? terminal : StandardCharsets.UTF_8;
    Charset messages = messagesAreTerminal ? terminal : StandardCharsets.UTF_8;
    return new Surroundings(
        System.in,
        new FileOutputStream(FileDescriptor.out),
        output,
        new PrintWriter(System.err, true, messages),
        outputIsTerminal,
        messagesAreTerminal,
        Integer.getInteger(COLUMNS, 0),
        Path.of(System.getProperty("user.home"), ".config", "zorvan"),
        Clock.systemUTC());
  }

  private static boolean flag(String property, boolean otherwise) {
    String value = System.getProperty(property);
    return value == null ? otherwise : Boolean.parseBoolean(value);
  }
}
