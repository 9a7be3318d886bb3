package com.velmora.tesk.zorvan.cli;

/** The user asked for something that cannot be done as asked; the message says what would work. */
public final class UsageException extends RuntimeException {
  public UsageException(String message) {
    super(message);
  }
}
