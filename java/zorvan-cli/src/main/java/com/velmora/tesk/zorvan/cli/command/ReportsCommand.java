package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.ExitCode;
import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.cli.output.OutputFormat;
import com.velmora.tesk.zorvan.cli.output.OutputTarget;
import com.velmora.tesk.zorvan.cli.output.RowWriter;
import com.velmora.tesk.zorvan.cli.output.ValueFormatter;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Parameter;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.io.IOException;
import java.time.ZoneOffset;
import java.util.List;
import java.util.Map;
import java.util.concurrent.Callable;
import java.util.function.Supplier;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

/** Lists the reports, or tells all about one. */
@Command(
    name = "reports",
    mixinStandardHelpOptions = true,
    description = "Lists the reports, or describes one.",
    footerHeading = "%nExamples:%n",
    footer = {"  zorvan reports --group computers", "  zorvan reports GetInActiveUsers"})
final class ReportsCommand implements Callable<Integer> {
  private static final List<String> COLUMNS = List.of("group", "name", "parameters", "title");

  private final Surroundings surroundings;
  private final Supplier<ReportCatalogue> catalogue;

  @Parameters(
      arity = "0..1",
      paramLabel = "NAME",
      description = "Describe this report: its parameters and the attributes it shows.")
  private String name;

  @Option(
      names = {"-g", "--group"},
      paramLabel = "GROUP",
      description = "Only the reports of one group, such as users or computers.")
  private String group;

  @Option(
      names = {"-f", "--format"},
      paramLabel = "FORMAT",
      defaultValue = "TABLE",
      description = "table (the default), csv, json or jsonl.")
  private OutputFormat format;

  ReportsCommand(Surroundings surroundings, Supplier<ReportCatalogue> catalogue) {
    this.surroundings = surroundings;
    this.catalogue = catalogue;
  }

  @Override
  public Integer call() throws IOException {
    ReportCatalogue reports = catalogue.get();
    OutputTarget target = OutputTarget.standardOutput(surroundings);
    if (name != null) {
      target.writer().write(description(ReportCommand.find(reports, name)));
    } else {
      List<Report> shown = group == null ? reports.reports() : reports.group(group);
      if (shown.isEmpty()) {
        throw new UsageException(
            "There is no group "
                + group
                + ". The groups: "
                + String.join(", ", reports.groups())
                + ".");
      }
      list(shown, target);
    }
    target.complete();
    return ExitCode.COMPLETE;
  }

  private void list(List<Report> reports, OutputTarget target) throws IOException {
    RowWriter writer =
        format.open(
            target.writer(),
            COLUMNS,
            // Raw, so that the parameters are an array however many there are.
            new ValueFormatter(true, ZoneOffset.UTC),
            surroundings.outputIsTerminal(),
            surroundings.outputIsTerminal() ? surroundings.columns() : 0,
            surroundings.clock());
    for (Report report : reports) {
      List<String> parameters = report.parameters().stream().map(Parameter::name).toList();
      writer.write(
          Map.of(
              "group", report.group(),
              "name", report.name(),
              "parameters", parameters,
              "title", report.title()));
    }
    writer.end();
  }

  private static String description(Report report) {
    ReportParameters parameters = new ReportParameters(report);
    return "%s (%s)%n%s%n%n  %s%n%n%s%n%nShows unless told otherwise: %s%n"
        .formatted(
            report.name(),
            report.group(),
            report.title(),
            parameters.command(),
            parameters.describe(),
            String.join(", ", report.defaultColumns()));
  }
}
