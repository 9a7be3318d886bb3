package com.velmora.tesk.zorvan.cli;

import java.time.Clock;
import java.time.DateTimeException;
import java.time.Duration;
import java.time.Instant;
import java.time.LocalDate;
import java.time.LocalDateTime;
import java.time.OffsetDateTime;
import java.time.ZoneId;
import java.time.ZoneOffset;
import java.time.ZonedDateTime;
import java.time.format.DateTimeFormatter;
import java.util.Locale;
import java.util.Optional;
import java.util.function.Function;
import java.util.regex.Matcher;
import java.util.regex.Pattern;
import java.util.stream.Stream;

/** Reads the times that people write on the command line. */
public final class TimeValue {
  /** What can be written, for messages and help texts. */
  public static final String FORMS =
      "a date (2024-05-31), a time (2024-05-31T14:30, 2024-05-31T12:30:00Z), so long ago (30d, 12h, 45m,"
          + " 2w, 6mo, 1y), so far ahead (+14d), \"now\", or milliseconds since 1970";

  private static final Pattern RELATIVE =
      Pattern.compile("(\\+?)(\\d{1,6})(mo|[smhdwy])", Pattern.CASE_INSENSITIVE);
  private static final Pattern DURATION =
      Pattern.compile("(\\d{1,9})(ms|[smhd])", Pattern.CASE_INSENSITIVE);
  private static final Pattern GENERALIZED = Pattern.compile("(\\d{14})(?:\\.\\d+)?Z");
  private static final Pattern BASIC_DATE = Pattern.compile("\\d{8}");
  private static final DateTimeFormatter FOURTEEN_DIGITS =
      DateTimeFormatter.ofPattern("uuuuMMddHHmmss", Locale.ROOT);

  private final Clock clock;
  private final ZoneId zone;

  /** Times without a zone of their own are meant in this one. */
  public TimeValue(Clock clock, ZoneId zone) {
    this.clock = clock;
    this.zone = zone;
  }

  /** The moment that a text means, or nothing when it is none. */
  public Optional<Instant> parse(String text) {
    String trimmed = text.trim();
    if (trimmed.equalsIgnoreCase("now")) {
      return Optional.of(clock.instant());
    }
    Matcher relative = RELATIVE.matcher(trimmed);
    if (relative.matches()) {
      return Optional.of(relative(relative)).filter(TimeValue::isInRange);
    }
    Matcher generalized = GENERALIZED.matcher(trimmed);
    Stream<Function<String, Instant>> forms =
        generalized.matches()
            ? Stream.of(
                any ->
                    LocalDateTime.parse(generalized.group(1), FOURTEEN_DIGITS)
                        .toInstant(ZoneOffset.UTC))
            : BASIC_DATE.matcher(trimmed).matches()
                ? Stream.of(
                    digits -> startOf(LocalDate.parse(digits, DateTimeFormatter.BASIC_ISO_DATE)),
                    digits -> Instant.ofEpochMilli(Long.parseLong(digits)))
                : Stream.of(
                    digits -> Instant.ofEpochMilli(Long.parseLong(digits)),
                    date -> startOf(LocalDate.parse(date)),
                    time -> LocalDateTime.parse(time).atZone(zone).toInstant(),
                    time -> OffsetDateTime.parse(time).toInstant(),
                    time -> ZonedDateTime.parse(time).toInstant());
    return forms
        .map(form -> attempt(form, trimmed))
        .flatMap(Optional::stream)
        .findFirst()
        .filter(TimeValue::isInRange);
  }

  /** The length of time that a text such as 30s or 5m means, or nothing when it is none. */
  public static Optional<Duration> duration(String text) {
    Matcher parts = DURATION.matcher(text.trim());
    if (!parts.matches()) {
      return Optional.empty();
    }
    long amount = Long.parseLong(parts.group(1));
    return Optional.of(
        switch (parts.group(2).toLowerCase(Locale.ROOT)) {
          case "ms" -> Duration.ofMillis(amount);
          case "s" -> Duration.ofSeconds(amount);
          case "m" -> Duration.ofMinutes(amount);
          case "h" -> Duration.ofHours(amount);
          default -> Duration.ofDays(amount);
        });
  }

  /** A moment in the generalized-time form of the directory, to the second. */
  public static String generalizedTime(Instant moment) {
    return FOURTEEN_DIGITS.format(moment.atOffset(ZoneOffset.UTC)) + ".0Z";
  }

  private Instant relative(Matcher parts) {
    ZonedDateTime now = clock.instant().atZone(zone);
    long amount = Long.parseLong(parts.group(2)) * (parts.group(1).isEmpty() ? -1 : 1);
    return switch (parts.group(3).toLowerCase(Locale.ROOT)) {
      case "s" -> now.plusSeconds(amount).toInstant();
      case "m" -> now.plusMinutes(amount).toInstant();
      case "h" -> now.plusHours(amount).toInstant();
      case "d" -> now.plusDays(amount).toInstant();
      case "w" -> now.plusWeeks(amount).toInstant();
      case "mo" -> now.plusMonths(amount).toInstant();
      default -> now.plusYears(amount).toInstant();
    };
  }

  private Instant startOf(LocalDate date) {
    return date.atStartOfDay(zone).toInstant();
  }

  // The directory counts from 1601, and its written form has room for four digits.
  private static boolean isInRange(Instant moment) {
    int year = moment.atOffset(ZoneOffset.UTC).getYear();
    return year >= 1601 && year <= 9999;
  }

  private static Optional<Instant> attempt(Function<String, Instant> form, String text) {
    try {
      return Optional.of(form.apply(text));
    } catch (DateTimeException | NumberFormatException e) {
      return Optional.empty();
    }
  }
}
