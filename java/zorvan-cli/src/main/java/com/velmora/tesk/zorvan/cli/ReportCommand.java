package com.velmora.tesk.zorvan.cli;

import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Place;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.util.ArrayList;
import java.util.List;
import java.util.Optional;
import java.util.concurrent.Callable;
import java.util.function.Supplier;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

/** Runs a report and writes its rows. */
@Command(
    name = "report",
    mixinStandardHelpOptions = true,
    sortOptions = false,
    description = "Runs a report and writes its rows as they come.",
    footerHeading = "%nExamples:%n",
    footer = {
      "  zorvan report GetDisabledAccounts --profile corp",
      "  zorvan report GetLogonRestrictionUsers --param workstation=PC7 --format csv",
      "  zorvan report GetSoonToExpireUsers -p after=now -p before=+14d",
      "  zorvan report GetUsers -a cn,lastLogon,memberOf -f json -o users.json",
      "",
      "Ctrl-C ends the report and keeps what was got. Times are ISO dates, or words",
      "where the directory has no time. A linked object, such as a group in memberOf,",
      "is shown by its name in tables and CSV, whole in JSON. CSV cells that a",
      "spreadsheet would take for formulas begin with an apostrophe.",
      "",
      "Exit codes: 0 done, with or without rows; 1 failed; 2 wrong usage; 3 not all",
      "of the rows or of their values, because of an error on the way or Ctrl-C."
    })
final class ReportCommand implements Callable<Integer> {
  private final Surroundings surroundings;
  private final Supplier<ReportCatalogue> catalogue;
  private final ReportSource source;
  private final Interruption interruption;

  @Parameters(
      paramLabel = "NAME",
      description = "Which report; \"zorvan reports\" lists them. The leading Get may be left out.")
  private String name;

  @Option(
      names = {"-p", "--param"},
      paramLabel = "NAME=VALUE",
      description =
          "A parameter of the report; \"zorvan reports NAME\" tells which it has. A time is "
              + TimeValue.FORMS
              + ".")
  private List<String> parameters = new ArrayList<>();

  @Mixin private OutputOptions output;
  @Mixin private ConnectionOptions connection;

  ReportCommand(
      Surroundings surroundings,
      Supplier<ReportCatalogue> catalogue,
      ReportSource source,
      Interruption interruption) {
    this.surroundings = surroundings;
    this.catalogue = catalogue;
    this.source = source;
    this.interruption = interruption;
  }

  @Override
  public Integer call() {
    Report report = find(catalogue.get(), name);
    ReportArguments arguments =
        new ReportArguments(new TimeValue(surroundings.clock(), output.zone()));
    // Checked before a password is asked for; the controller is known only after that.
    arguments.parse(report, parameters, Optional.of("any"));
    AttributeSelection selection = AttributeSelection.of(output.columns(report.defaultColumns()));
    output.mostRows();
    try (Connection open = connection.open(surroundings, output.quiet)) {
      List<Object> values =
          arguments.parse(report, parameters, open.servers().stream().findFirst());
      String base =
          report.place() == Place.CONFIGURATION ? open.configurationBase() : open.domainBase();
      return RowRun.run(
          surroundings,
          interruption,
          output,
          selection.columns(),
          open.doubt(),
          false,
          (listener, errors) ->
              source.report(
                  report, open.settings(), base, selection.requested(), listener, values, errors));
    }
  }

  /** The report of a name, or a complaint that names those that may have been meant. */
  static Report find(ReportCatalogue catalogue, String name) {
    return catalogue
        .find(name)
        .orElseThrow(
            () -> {
              List<String> near =
                  NearNames.of(name, catalogue.reports().stream().map(Report::name).toList());
              return new UsageException(
                  "There is no report "
                      + name
                      + "."
                      + (near.isEmpty()
                          ? " \"zorvan reports\" lists them."
                          : " Did you mean " + String.join(", ", near) + "?"));
            });
  }
}
