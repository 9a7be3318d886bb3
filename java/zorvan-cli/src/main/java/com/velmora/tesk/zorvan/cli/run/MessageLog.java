package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.TerminalText;
import com.velmora.tesk.zorvan.common.server.LogSink;
import java.io.PrintWriter;

/** Shows the library's log on standard error, up to a level. Nothing is concluded from it. */
final class MessageLog implements LogSink {
  private final PrintWriter messages;
  private final int level;

  /**
   * @param level lines up to this level are shown
   */
  MessageLog(PrintWriter messages, int level) {
    this.messages = messages;
    this.level = level;
  }

  @Override
  public boolean isWanted(Channel channel, int lineLevel) {
    return lineLevel <= level;
  }

  @Override
  public void write(Channel channel, int lineLevel, String text) {
    messages.println("log: " + TerminalText.harmless(text.strip()));
  }
}
