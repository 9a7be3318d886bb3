package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.TimeValue;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Parameter;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.ParameterType;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.time.Instant;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.stream.Collectors;
import picocli.CommandLine.Model.OptionSpec;

/** The parameters of a report as options of its command. */
final class ReportParameters {
  // Parameters stand before the options that all reports have, which have no order of their own.
  private static final int FIRST = -1000;

  private final Report report;
  private final List<OptionSpec> options = new ArrayList<>();

  ReportParameters(Report report) {
    this.report = report;
    for (Parameter parameter : report.parameters()) {
      options.add(
          OptionSpec.builder(option(parameter))
              .type(String.class)
              .paramLabel(form(parameter))
              .order(FIRST + options.size())
              .description(meaning(parameter).replace("%", "%%"))
              .build());
    }
  }

  /**
   * One option for each parameter, in the order of the parameters. None is required by the parser,
   * which would call it missing when it is only misspelt.
   */
  List<OptionSpec> options() {
    return options;
  }

  /** The command to type, with a placeholder for each value. */
  String command() {
    return report.parameters().stream()
        .map(
            parameter -> {
              String option = option(parameter) + " " + form(parameter);
              return isOptional(parameter) ? " [" + option + "]" : " " + option;
            })
        .collect(Collectors.joining("", "zorvan report " + report.name(), ""));
  }

  /** What the report can be told, one line each, indented. */
  String describe() {
    if (report.parameters().isEmpty()) {
      return report.name() + " takes no parameters.";
    }
    return report.parameters().stream()
        .map(
            parameter ->
                "\n  " + option(parameter) + " " + form(parameter) + "  " + meaning(parameter))
        .collect(Collectors.joining("", report.name() + " takes these parameters:", ""));
  }

  /**
   * The arguments of the native method, in the order of the parameters, from the values that the
   * options were given.
   *
   * @param times reads the texts that mean times
   * @param controller the domain controller asked when none is named
   * @throws UsageException when a value is not of its parameter's type
   */
  List<Object> arguments(TimeValue times, String controller) {
    checkThatNoneIsMissing();
    List<Object> arguments = new ArrayList<>();
    for (int i = 0; i < options.size(); i++) {
      Parameter parameter = report.parameters().get(i);
      String given = options.get(i).getValue();
      arguments.add(value(parameter, given == null ? controller : given, times));
    }
    return arguments;
  }

  private void checkThatNoneIsMissing() {
    List<String> missing = new ArrayList<>();
    for (int i = 0; i < options.size(); i++) {
      Parameter parameter = report.parameters().get(i);
      if (options.get(i).getValue() == null && !isOptional(parameter)) {
        missing.add(option(parameter));
      }
    }
    if (!missing.isEmpty()) {
      throw wrong("Missing: " + String.join(", ", missing) + ".");
    }
  }

  private Object value(Parameter parameter, String text, TimeValue times) {
    return switch (parameter.type()) {
      case TIME -> moment(parameter, text, times).toEpochMilli();
      case GENERALIZED_TIME -> TimeValue.generalizedTime(moment(parameter, text, times));
      case TEXT -> text;
      case DN, CONTROLLER -> {
        if (text.isBlank()) {
          throw wrong(option(parameter) + " must not be empty.");
        }
        yield text.trim();
      }
    };
  }

  private Instant moment(Parameter parameter, String text, TimeValue times) {
    return times
        .parse(text)
        .orElseThrow(
            () ->
                wrong(
                    "\"%s\" is not a time. For %s give %s."
                        .formatted(text, option(parameter), TimeValue.FORMS)));
  }

  private UsageException wrong(String message) {
    return new UsageException(message + "\n" + describe());
  }

  // Without a controller the first server of the connection is asked.
  private static boolean isOptional(Parameter parameter) {
    return parameter.type() == ParameterType.CONTROLLER;
  }

  // servicePack becomes --service-pack.
  private static String option(Parameter parameter) {
    return "--" + parameter.name().replaceAll("(?=[A-Z])", "-").toLowerCase(Locale.ROOT);
  }

  private static String form(Parameter parameter) {
    return switch (parameter.type()) {
      case TIME, GENERALIZED_TIME -> "TIME";
      case DN -> "DN";
      case CONTROLLER -> "HOST";
      case TEXT -> "TEXT";
    };
  }

  private static String meaning(Parameter parameter) {
    return switch (parameter.type()) {
      case TIME, GENERALIZED_TIME -> parameter.title() + ": " + TimeValue.FORMS;
      case CONTROLLER -> parameter.title() + "; without it the first --server";
      case DN -> parameter.title();
      case TEXT ->
          parameter.unit().isEmpty()
              ? parameter.title()
              : parameter.title() + ", " + parameter.unit();
    };
  }
}
