package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.TerminalText;
import com.velmora.tesk.zorvan.common.server.NativeError;
import java.io.IOException;
import java.io.InputStream;
import java.util.Optional;
import java.util.Properties;

/** Puts the library's error entries, which are keys and codes, into words. */
public final class ErrorTexts {
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

  /**
   * What a failure notice tells, for a call that adds no entry of its own: two lines.
   *
   * @param afterRows whether rows came before it
   */
  String describe(NativeError.Notice failure, boolean afterRows) {
    String code = Long.toHexString(failure.count());
    String words =
        failure.kind().equals(NoticeTexts.SEARCH_FAILED)
            ? afterRows ? "The search broke off, there may be more" : "The search failed"
            : "The container that the search begins at could not be read";
    return "error: "
        + words
        + meaning(code).map(meaning -> ": " + meaning).orElse("")
        + ".\n  code 0x"
        + code;
  }

  /** What Java threw. */
  public static String describe(Throwable e) {
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
