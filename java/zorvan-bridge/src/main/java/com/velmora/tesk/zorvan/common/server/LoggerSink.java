package com.velmora.tesk.zorvan.common.server;

import java.util.logging.Level;
import java.util.logging.Logger;

/**
 * Sends log lines to {@code java.util.logging}: level 1 as INFO, 2 as FINE, 3 as FINEST. Management
 * and delegation lines go to child loggers, so that they can be switched on and routed by
 * themselves.
 */
final class LoggerSink implements LogSink {
  private final Logger general;
  private final Logger management;
  private final Logger delegation;

  LoggerSink(Logger general) {
    this.general = general;
    this.management = Logger.getLogger(general.getName() + ".management");
    this.delegation = Logger.getLogger(general.getName() + ".delegation");
  }

  @Override
  public boolean isWanted(Channel channel, int level) {
    return logger(channel).isLoggable(level(level));
  }

  @Override
  public void write(Channel channel, int level, String text) {
    // The class is named here because the logger would otherwise walk the stack to find it, for
    // every line.
    logger(channel)
        .logp(level(level), ADHandler.class.getName(), null, String.valueOf(text).strip());
  }

  private Logger logger(Channel channel) {
    return switch (channel) {
      case GENERAL -> general;
      case MANAGEMENT -> management;
      case DELEGATION -> delegation;
    };
  }

  private static Level level(int level) {
    if (level <= MILESTONE) {
      return Level.INFO;
    }
    return level < DETAIL ? Level.FINE : Level.FINEST;
  }
}
