package com.velmora.tesk.zorvan.cli.output;

import com.velmora.tesk.zorvan.cli.output.AttributeKinds.Meaning;
import java.time.Duration;
import java.time.Instant;
import java.time.OffsetDateTime;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.time.format.DateTimeFormatter;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;
import java.util.TreeMap;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

/**
 * Turns the values of a row, which the library gives as texts, into what people and programs read:
 * counts of 100 nanoseconds into dates, decimal texts into numbers, linked objects into their
 * names.
 */
public final class ValueFormatter {
  private static final Pattern DECIMAL = Pattern.compile("-?\\d{1,19}");
  private static final long TICKS_PER_SECOND = 10_000_000L;
  private static final long SECONDS_1601_TO_1970 = 11_644_473_600L;
  private static final List<String> NAMES_OF_LINKED = List.of("cn", "distinguishedName");

  private final boolean raw;
  private final ZoneId zone;

  /**
   * @param raw whether values stay as the library gave them
   * @param zone where dates are shown
   */
  public ValueFormatter(boolean raw, ZoneId zone) {
    this.raw = raw;
    this.zone = zone;
  }

  /**
   * The value of an attribute as data: text, {@link Long}, {@link Boolean}, a list of those, or a
   * map for a linked object. One value stands alone unless the attribute holds several by its
   * nature; raw values are always lists.
   */
  Object data(String attribute, Object value) {
    Meaning meaning = AttributeKinds.known().of(attribute);
    if (!(value instanceof List<?> values)) {
      return one(meaning, value);
    }
    if (!raw && !meaning.several() && values.size() == 1) {
      return one(meaning, values.get(0));
    }
    List<Object> data = new ArrayList<>(values.size());
    for (Object element : values) {
      data.add(one(meaning, element));
    }
    return data;
  }

  /** The value of an attribute as a line of text; several values stand behind one another. */
  String text(String attribute, Object value) {
    if (value == null) {
      return "";
    }
    Meaning meaning = AttributeKinds.known().of(attribute);
    if (value instanceof List<?> values) {
      return values.size() == 1
          ? lineOf(one(meaning, values.get(0)))
          : values.stream()
              .map(element -> lineOf(one(meaning, element)))
              .collect(Collectors.joining("; "));
    }
    return lineOf(one(meaning, value));
  }

  private Object one(Meaning meaning, Object value) {
    if (value instanceof Map<?, ?> linked) {
      Map<String, Object> data = new TreeMap<>(String.CASE_INSENSITIVE_ORDER);
      linked.forEach((key, inner) -> data.put(key.toString(), data(key.toString(), inner)));
      return new LinkedHashMap<>(data);
    }
    String text = String.valueOf(value);
    if (raw || !DECIMAL.matcher(text).matches()) {
      return text;
    }
    return switch (meaning.kind()) {
      case TEXT -> text;
      case NUMBER -> number(text).<Object>map(count -> count).orElse(text);
      case BOOLEAN -> text.equals("1") ? Boolean.TRUE : text.equals("0") ? Boolean.FALSE : text;
      case TIME -> number(text).map(ticks -> time(meaning, ticks)).orElse(text);
      case PERIOD -> number(text).map(ticks -> period(meaning, ticks)).orElse(text);
    };
  }

  private String time(Meaning meaning, long ticks) {
    if (ticks == Long.MAX_VALUE) {
      return "never";
    }
    if (ticks == 0 && meaning.zero().isPresent()) {
      return meaning.zero().get();
    }
    if (ticks < 0) {
      return Long.toString(ticks);
    }
    Instant moment =
        Instant.ofEpochSecond(Math.floorDiv(ticks, TICKS_PER_SECOND) - SECONDS_1601_TO_1970);
    OffsetDateTime shown = moment.atZone(zone).toOffsetDateTime();
    return shown.getOffset().equals(ZoneOffset.UTC)
        ? moment.toString()
        : DateTimeFormatter.ISO_OFFSET_DATE_TIME.format(shown);
  }

  private static String period(Meaning meaning, long ticks) {
    if (ticks == Long.MIN_VALUE || ticks == Long.MAX_VALUE) {
      return "never";
    }
    if (ticks == 0 && meaning.zero().isPresent()) {
      return meaning.zero().get();
    }
    Duration length = Duration.ofSeconds(Math.abs(ticks) / TICKS_PER_SECOND);
    List<String> parts = new ArrayList<>();
    addPart(parts, length.toDays(), "day");
    addPart(parts, length.toHoursPart(), "hour");
    addPart(parts, length.toMinutesPart(), "minute");
    addPart(parts, length.toSecondsPart(), "second");
    return parts.isEmpty() ? "0 seconds" : String.join(" ", parts);
  }

  private static void addPart(List<String> parts, long amount, String unit) {
    if (amount != 0) {
      parts.add(amount + " " + unit + (amount == 1 ? "" : "s"));
    }
  }

  private static String lineOf(Object data) {
    if (data instanceof Map<?, ?> linked) {
      return NAMES_OF_LINKED.stream()
          .map(linked::get)
          .filter(name -> name != null)
          .map(Object::toString)
          .findFirst()
          .orElseGet(linked::toString);
    }
    return data.toString();
  }

  private static Optional<Long> number(String text) {
    try {
      return Optional.of(Long.valueOf(text));
    } catch (NumberFormatException e) {
      return Optional.empty();
    }
  }
}
