package com.velmora.tesk.zorvan.cli;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Parameter;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.time.Instant;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Optional;

/** Turns {@code --param name=value} into the arguments of a report. */
final class ReportArguments {
  private final TimeValue times;

  ReportArguments(TimeValue times) {
    this.times = times;
  }

  /**
   * The arguments in the order of the report's parameters.
   *
   * @param given texts of the form {@code name=value}
   * @param controller the domain controller asked when none is named
   * @throws UsageException when one is unknown, missing, given twice or not of its type
   */
  List<Object> parse(Report report, List<String> given, Optional<String> controller) {
    Map<String, String> byName = new LinkedHashMap<>();
    for (String text : given) {
      int equals = text.indexOf('=');
      if (equals <= 0) {
        throw wrong(report, "--param takes name=value, not \"" + text + "\".");
      }
      Parameter parameter = named(report, text.substring(0, equals).trim());
      if (byName.put(parameter.name(), text.substring(equals + 1)) != null) {
        throw wrong(report, "The parameter " + parameter.name() + " is given twice.");
      }
    }
    List<Object> arguments = new ArrayList<>();
    for (Parameter parameter : report.parameters()) {
      String text = byName.get(parameter.name());
      if (text == null) {
        text = otherwise(report, parameter, controller);
      }
      arguments.add(value(report, parameter, text));
    }
    return arguments;
  }

  /** What a report can be told, one line each, indented. */
  static String describe(Report report) {
    if (report.parameters().isEmpty()) {
      return report.name() + " takes no parameters.";
    }
    StringBuilder text = new StringBuilder(report.name() + " takes these parameters:");
    for (Parameter parameter : report.parameters()) {
      text.append("\n  ").append(parameter.name()).append('=').append(form(parameter));
      text.append("  ").append(parameter.title());
    }
    return text.toString();
  }

  private static String form(Parameter parameter) {
    return switch (parameter.type()) {
      case TIME, GENERALIZED_TIME -> "TIME";
      case DN -> "DN";
      case CONTROLLER -> "HOST";
      case TEXT -> "TEXT";
    };
  }

  private static Parameter named(Report report, String name) {
    return report.parameters().stream()
        .filter(parameter -> parameter.name().equalsIgnoreCase(name))
        .findFirst()
        .orElseThrow(() -> wrong(report, report.name() + " has no parameter " + name + "."));
  }

  private static String otherwise(Report report, Parameter parameter, Optional<String> controller) {
    return switch (parameter.type()) {
      case CONTROLLER -> controller.orElseThrow(() -> missing(report, parameter));
      default -> throw missing(report, parameter);
    };
  }

  private Object value(Report report, Parameter parameter, String text) {
    return switch (parameter.type()) {
      case TIME -> moment(report, parameter, text).toEpochMilli();
      case GENERALIZED_TIME -> TimeValue.generalizedTime(moment(report, parameter, text));
      case TEXT -> text;
      case DN, CONTROLLER -> {
        if (text.isBlank()) {
          throw wrong(report, "The parameter " + parameter.name() + " must not be empty.");
        }
        yield text.trim();
      }
    };
  }

  private Instant moment(Report report, Parameter parameter, String text) {
    return times
        .parse(text)
        .orElseThrow(
            () ->
                wrong(
                    report,
                    "\"%s\" is not a time. For %s give %s."
                        .formatted(text, parameter.name(), TimeValue.FORMS)));
  }

  private static UsageException missing(Report report, Parameter parameter) {
    return wrong(report, "The parameter " + parameter.name() + " is missing.");
  }

  private static UsageException wrong(Report report, String message) {
    return new UsageException(message + "\n" + describe(report));
  }
}
