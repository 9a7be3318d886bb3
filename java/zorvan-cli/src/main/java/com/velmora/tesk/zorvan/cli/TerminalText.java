package com.velmora.tesk.zorvan.cli;

/**
 * Text as a terminal shows it. The directory's values are other people's input: their control
 * characters never reach the terminal, where they could move the cursor, hide rows or answer for
 * the user. Widths are counted in columns, not characters.
 */
public final class TerminalText {
  private static final char ELLIPSIS = '…';
  private static final int FIRST_CONTROL_PICTURE = 0x2400;
  private static final int REPLACEMENT = 0xFFFD;

  private TerminalText() {}

  /** The text on one line, with a visible sign for each character that would do something. */
  public static String harmless(String text) {
    if (isHarmless(text)) {
      return text;
    }
    StringBuilder shown = new StringBuilder(text.length());
    text.codePoints().map(TerminalText::sign).forEach(shown::appendCodePoint);
    return shown.toString();
  }

  /** Whether the text has none of the characters that {@link #acts} tells. */
  public static boolean isHarmless(String text) {
    for (int i = 0; i < text.length(); ) {
      int character = text.codePointAt(i);
      if (acts(character)) {
        return false;
      }
      i += Character.charCount(character);
    }
    return true;
  }

  /** How many columns the text takes. */
  public static int width(String text) {
    int width = 0;
    for (int i = 0; i < text.length(); ) {
      int character = text.codePointAt(i);
      width += width(character);
      i += Character.charCount(character);
    }
    return width;
  }

  /** The beginning of the text that fits, with an ellipsis when something was cut off. */
  public static String fit(String text, int columns) {
    if (width(text) <= columns) {
      return text;
    }
    int width = 1;
    int end = 0;
    while (end < text.length()) {
      int character = text.codePointAt(end);
      if (width + width(character) > columns) {
        break;
      }
      width += width(character);
      end += Character.charCount(character);
    }
    return text.substring(0, end) + ELLIPSIS;
  }

  /**
   * Whether a character does something to a terminal, or changes what is read without being seen:
   * control characters, breaks of lines, marks that reorder what follows or hide in it, halves of
   * characters. Joiners, of which emoji and some scripts are made, do not count.
   */
  public static boolean acts(int character) {
    if (character >= ' ' && character < 0x7F) {
      return false;
    }
    return switch (Character.getType(character)) {
      case Character.CONTROL,
              Character.SURROGATE,
              Character.LINE_SEPARATOR,
              Character.PARAGRAPH_SEPARATOR ->
          true;
      case Character.FORMAT -> !isJoiner(character) && !isVisibleFormat(character);
      default -> false;
    };
  }

  private static boolean isJoiner(int character) {
    return character == 0x200C || character == 0x200D;
  }

  // Signs that enclose digits, in Arabic, Syriac and Kaithi: they are seen.
  private static boolean isVisibleFormat(int character) {
    return character >= 0x600 && character <= 0x605
        || character == 0x6DD
        || character == 0x70F
        || character == 0x890
        || character == 0x891
        || character == 0x8E2
        || character == 0x110BD
        || character == 0x110CD;
  }

  private static int sign(int character) {
    if (!acts(character)) {
      return character;
    }
    if (character == '\n' || character == '\t' || character == '\r') {
      return ' ';
    }
    return character < 0x20 ? FIRST_CONTROL_PICTURE + character : REPLACEMENT;
  }

  private static int width(int character) {
    if (character < 0x300) {
      return 1;
    }
    return switch (Character.getType(character)) {
      case Character.NON_SPACING_MARK, Character.ENCLOSING_MARK, Character.FORMAT -> 0;
      default -> isWide(character) ? 2 : 1;
    };
  }

  // The East Asian wide and full-width blocks, and the emoji.
  private static boolean isWide(int character) {
    return character >= 0x1100 && character <= 0x115F
        || character >= 0x2E80 && character <= 0xA4CF && character != 0x303F
        || character >= 0xAC00 && character <= 0xD7A3
        || character >= 0xF900 && character <= 0xFAFF
        || character >= 0xFE30 && character <= 0xFE6F
        || character >= 0xFF00 && character <= 0xFF60
        || character >= 0xFFE0 && character <= 0xFFE6
        || character >= 0x1F300 && character <= 0x1FAFF
        || character >= 0x20000 && character <= 0x3FFFD;
  }
}
