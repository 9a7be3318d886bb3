package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.TimeValue;
import com.velmora.tesk.zorvan.cli.connection.Connection;
import com.velmora.tesk.zorvan.cli.connection.ConnectionOptions;
import com.velmora.tesk.zorvan.cli.output.OutputOptions;
import com.velmora.tesk.zorvan.cli.run.Interruption;
import com.velmora.tesk.zorvan.cli.run.ReportSource;
import com.velmora.tesk.zorvan.cli.run.RowRun;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Place;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Model.CommandSpec;

/** Runs one report and writes its rows. Its parameters are options of the command. */
@Command(
    mixinStandardHelpOptions = true,
    sortOptions = false,
    footer = {
      "",
      "Ctrl-C ends the report and keeps what was got. Times are ISO dates, or words",
      "where the directory has no time. A linked object, such as a group in memberOf,",
      "is shown by its name in tables and CSV, whole in JSON. CSV cells that a",
      "spreadsheet would take for formulas begin with an apostrophe.",
      "",
      "Exit codes: 0 done, with or without rows; 1 failed; 2 wrong usage; 3 not all",
      "of the rows or of their values, because of an error on the way or Ctrl-C."
    })
final class SingleReportCommand implements Callable<Integer> {
  private final Surroundings surroundings;
  private final Report report;
  private final ReportSource source;
  private final Interruption interruption;
  private final ReportParameters parameters;

  @Mixin private OutputOptions output;
  @Mixin private ConnectionOptions connection;

  SingleReportCommand(
      Surroundings surroundings, Report report, ReportSource source, Interruption interruption) {
    this.surroundings = surroundings;
    this.report = report;
    this.source = source;
    this.interruption = interruption;
    this.parameters = new ReportParameters(report);
  }

  /** The command with the report's own texts and options. */
  CommandLine line() {
    CommandSpec spec = CommandSpec.forAnnotatedObject(this).name(report.name());
    parameters.options().forEach(spec::addOption);
    spec.usageMessage()
        .customSynopsis(literal(parameters.command() + " [OPTIONS]"))
        .description(
            literal(report.title() + "."),
            literal(
                "Shows, unless --attributes says otherwise: "
                    + String.join(", ", report.defaultColumns())));
    return Zorvan.configured(new CommandLine(spec), surroundings);
  }

  // The texts of a command are formats.
  private static String literal(String text) {
    return text.replace("%", "%%");
  }

  @Override
  public Integer call() {
    TimeValue times = new TimeValue(surroundings.clock(), output.zone());
    // Checked before a password is asked for; the controller is known only after that.
    parameters.arguments(times, "any");
    AttributeSelection selection = AttributeSelection.of(output.columns(report.defaultColumns()));
    output.mostRows();
    try (Connection open = connection.open(surroundings, output.isQuiet())) {
      List<Object> values = parameters.arguments(times, open.servers().get(0));
      String base =
          report.place() == Place.CONFIGURATION ? open.configurationBase() : open.domainBase();
      return RowRun.run(
          surroundings,
          interruption,
          output,
          selection.columns(),
          open.doubt(),
          (listener, errors) ->
              source.report(
                  report, open.settings(), base, selection.requested(), listener, values, errors));
    }
  }
}
