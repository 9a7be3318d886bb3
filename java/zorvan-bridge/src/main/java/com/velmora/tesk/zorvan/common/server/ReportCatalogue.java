package com.velmora.tesk.zorvan.common.server;

import com.fasterxml.jackson.annotation.JsonCreator;
import com.fasterxml.jackson.annotation.JsonProperty;
import com.fasterxml.jackson.databind.DeserializationFeature;
import com.fasterxml.jackson.databind.json.JsonMapper;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.InputStream;
import java.util.Arrays;
import java.util.List;
import java.util.Locale;
import java.util.Objects;
import java.util.Optional;
import java.util.stream.Collectors;

/**
 * The reports that the native library has, with their parameters and the columns that they show
 * unless told otherwise. The native build writes the list, so it cannot differ from the library
 * that it was built with.
 */
public final class ReportCatalogue {
  private static final String RESOURCE = "report-catalogue.json";

  private final List<Report> reports;

  private ReportCatalogue(List<Report> reports) {
    this.reports = reports;
  }

  /**
   * A report.
   *
   * @param name the method of {@link ADHandler}
   * @param group what it reports about: users, computers, mail, ous, groups
   * @param title what it shows, in words
   * @param place where it searches
   * @param parameters what it must be told besides the base and the attributes, in the order of the
   *     method's arguments
   * @param defaultColumns the attributes to show when nobody says which
   */
  public record Report(
      String name,
      String group,
      String title,
      Place place,
      List<Parameter> parameters,
      List<String> defaultColumns) {

    /** Checks that the entry is whole; missing lists are empty ones. */
    public Report {
      Objects.requireNonNull(name, "name");
      Objects.requireNonNull(group, "group");
      title = title == null ? name : title;
      place = place == null ? Place.BASE : place;
      parameters = parameters == null ? List.of() : List.copyOf(parameters);
      defaultColumns = defaultColumns == null ? List.of() : List.copyOf(defaultColumns);
    }
  }

  /** Where a report searches. */
  public enum Place {
    /** Below the base that it is given. */
    @JsonProperty("base")
    BASE,
    /** Among the deleted objects of the domain, whatever the base. */
    @JsonProperty("deletedObjects")
    DELETED_OBJECTS,
    /** Below the base that it is given, which lies in the configuration of the forest. */
    @JsonProperty("configuration")
    CONFIGURATION
  }

  /**
   * A parameter of a report.
   *
   * @param name its name on the command line
   * @param type what is passed to the method
   * @param unit the unit of a number, empty when there is none
   * @param title what it means, in words
   */
  public record Parameter(String name, ParameterType type, String unit, String title) {

    /** Checks that the entry is whole. */
    public Parameter {
      Objects.requireNonNull(name, "name");
      Objects.requireNonNull(type, "type");
      unit = unit == null ? "" : unit;
      title = title == null ? name : title;
    }
  }

  /** What the argument of a parameter is. */
  public enum ParameterType {
    /** A {@code long}: milliseconds since 1970-01-01 UTC. */
    TIME("time", long.class),
    /** A {@code String}: a generalized time in UTC such as {@code 20240131000000.0Z}. */
    GENERALIZED_TIME("generalizedTime", String.class),
    /** A {@code String}: any text. */
    TEXT("text", String.class),
    /** A {@code String}: a distinguished name. */
    DN("dn", String.class),
    /** A {@code String}: the host name of the domain controller to ask. */
    CONTROLLER("controller", String.class);

    private final String word;
    private final Class<?> javaType;

    ParameterType(String word, Class<?> javaType) {
      this.word = word;
      this.javaType = javaType;
    }

    /** The type of the native method's argument. */
    public Class<?> javaType() {
      return javaType;
    }

    @JsonCreator
    static ParameterType ofWord(String word) {
      return Arrays.stream(values())
          .filter(type -> type.word.equals(word))
          .findFirst()
          .orElseThrow(() -> new IllegalArgumentException("unknown parameter type " + word));
    }
  }

  /**
   * Reads the catalogue that was packed with these classes.
   *
   * @throws IOException when it is missing or malformed
   */
  public static ReportCatalogue load() throws IOException {
    try (InputStream stream = ReportCatalogue.class.getResourceAsStream(RESOURCE)) {
      if (stream == null) {
        throw new FileNotFoundException(
            RESOURCE + " is not packed beside " + ReportCatalogue.class.getName());
      }
      return read(stream);
    }
  }

  /**
   * Reads a catalogue.
   *
   * @param json an array of reports, in UTF-8; the caller closes it
   * @throws IOException when it is malformed
   */
  public static ReportCatalogue read(InputStream json) throws IOException {
    // Unknown fields are passed over, so that a newer library's file can be read.
    JsonMapper mapper =
        JsonMapper.builder().disable(DeserializationFeature.FAIL_ON_UNKNOWN_PROPERTIES).build();
    return new ReportCatalogue(List.of(mapper.readValue(json, Report[].class)));
  }

  /** All reports, group by group. */
  public List<Report> reports() {
    return reports;
  }

  /** The names of the groups, in the order in which they appear. */
  public List<String> groups() {
    return reports.stream().map(Report::group).distinct().collect(Collectors.toList());
  }

  /** The reports of one group; empty when there is no such group. */
  public List<Report> group(String group) {
    return reports.stream().filter(report -> report.group().equalsIgnoreCase(group)).toList();
  }

  /**
   * Finds a report by its name. Upper and lower case do not matter, and the leading {@code Get} may
   * be left out.
   */
  public Optional<Report> find(String name) {
    String wanted = plain(name);
    return reports.stream().filter(report -> plain(report.name()).equals(wanted)).findFirst();
  }

  private static String plain(String name) {
    String lower = name.toLowerCase(Locale.ROOT);
    return lower.startsWith("get") ? lower.substring(3) : lower;
  }
}
