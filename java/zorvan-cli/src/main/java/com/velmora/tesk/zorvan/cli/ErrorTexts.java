package com.velmora.tesk.zorvan.cli;

import com.velmora.tesk.zorvan.common.server.NativeError;
import java.io.IOException;
import java.io.InputStream;
import java.util.Optional;
import java.util.Properties;

/** Puts the library's error entries, which are keys and codes, into words. */
final class ErrorTexts {
  private static final String WIN32_FACILITY = "8007";

  private final Properties messages = load("messages.properties");
  private final Properties codes = load("result-codes.properties");

  /** What happened, to whom, and under which key and code it can be looked up: two lines. */
  String describe(NativeError.Entry entry) {
    StringBuilder text = new StringBuilder(entry.isSevere() ? "error: " : "warning: ");
    text.append(
        messages.getProperty(entry.key(), "The library reports " + words(entry.key()) + "."));
    if (!entry.objectName().isEmpty()) {
      text.append(" [").append(TerminalText.harmless(entry.objectName())).append(']');
    }
    text.append("\n  key ").append(TerminalText.harmless(entry.key()));
    if (!entry.code().isEmpty()) {
      text.append(", code 0x").append(TerminalText.harmless(entry.code()));
      Optional.ofNullable(entry.message())
          .filter(message -> !message.isBlank())
          .or(() -> meaning(entry.code()))
          .ifPresent(meaning -> text.append(": ").append(TerminalText.harmless(meaning.strip())));
    }
    return text.toString();
  }

  /** What a line of the library's log tells of a failure: two lines. */
  String describe(MessageLog.Failure failure) {
    return "error: "
        + failure.words()
        + meaning(failure.code()).map(words -> ": " + words).orElse("")
        + ".\n  log "
        + failure.line();
  }

  /** What Java threw. */
  static String describe(Throwable e) {
    if (e instanceof OutOfMemoryError) {
      return "Java has not enough memory (" + e.getMessage() + ")";
    }
    return e instanceof LinkageError || e instanceof IOException
        ? String.valueOf(e.getMessage())
        : e.toString();
  }

  /** What a result code means, given as the library gives it: hexadecimal without prefix. */
  Optional<String> meaning(String code) {
    String plain = code.startsWith(WIN32_FACILITY) ? code.substring(WIN32_FACILITY.length()) : code;
    return Optional.ofNullable(codes.getProperty(code))
        .or(() -> Optional.ofNullable(codes.getProperty(plain.replaceFirst("^0+(?=.)", ""))));
  }

  private static String words(String key) {
    String last = key.substring(key.lastIndexOf('.') + 1).replace('_', ' ');
    return last.isBlank() ? "an error" : "\"" + TerminalText.harmless(last) + "\"";
  }

  private static Properties load(String resource) {
    Properties texts = new Properties();
    try (InputStream stream = ErrorTexts.class.getResourceAsStream(resource)) {
      texts.load(stream);
    } catch (IOException e) {
      throw new IllegalStateException(resource + " cannot be read", e);
    }
    return texts;
  }
}
