package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.cli.run.Interruption;
import com.velmora.tesk.zorvan.cli.run.ReportSource;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue.Report;
import java.util.List;
import java.util.Map;
import java.util.Stack;
import java.util.function.Supplier;
import picocli.CommandLine.Command;
import picocli.CommandLine.IParameterPreprocessor;
import picocli.CommandLine.Model.ArgSpec;
import picocli.CommandLine.Model.CommandSpec;
import picocli.CommandLine.ParameterException;
import picocli.CommandLine.Spec;

/**
 * The command above the reports, each of which is a command of its own. Only the one that is named
 * is made, so that starting takes the same time however many reports there are.
 */
@Command(
    name = "report",
    mixinStandardHelpOptions = true,
    description = "Runs a report and writes its rows as they come.",
    customSynopsis = "zorvan report NAME [OPTIONS]",
    footerHeading = "%nWhich reports there are, and what each can be told:%n",
    footer = {
      "  zorvan reports --group users       lists those of a group",
      "  zorvan reports GetInActiveUsers    describes one",
      "  zorvan report GetInActiveUsers --help",
      "",
      "The leading Get may be left out, and upper and lower case do not matter.",
      "",
      "Examples:",
      "  zorvan report GetDisabledAccounts --profile corp",
      "  zorvan report GetLogonRestrictionUsers --workstation PC7 --format csv",
      "  zorvan report GetSoonToExpireUsers --after now --before +14d",
      "  zorvan report GetUsers -a cn,lastLogon,memberOf -f json -o users.json"
    })
final class ReportCommand implements Runnable, IParameterPreprocessor {
  private final Surroundings surroundings;
  private final Supplier<ReportCatalogue> catalogue;
  private final ReportSource source;
  private final Interruption interruption;

  @Spec private CommandSpec spec;

  private ReportCommand(
      Surroundings surroundings,
      Supplier<ReportCatalogue> catalogue,
      ReportSource source,
      Interruption interruption) {
    this.surroundings = surroundings;
    this.catalogue = catalogue;
    this.source = source;
    this.interruption = interruption;
  }

  static CommandSpec spec(
      Surroundings surroundings,
      Supplier<ReportCatalogue> catalogue,
      ReportSource source,
      Interruption interruption) {
    ReportCommand command = new ReportCommand(surroundings, catalogue, source, interruption);
    return CommandSpec.forAnnotatedObject(command).preprocessor(command);
  }

  // Called before the arguments behind "report" are read.
  @Override
  public boolean preprocess(
      Stack<String> arguments, CommandSpec command, ArgSpec none, Map<String, Object> info) {
    if (arguments.isEmpty() || command.findOption(arguments.peek()) != null) {
      return false;
    }
    String name = arguments.pop();
    if (name.startsWith("-")) {
      throw wrong("The name of the report comes first, then its options.");
    }
    Report report = named(name);
    command.addSubcommand(
        report.name(), new SingleReportCommand(surroundings, report, source, interruption).line());
    arguments.push(report.name());
    return false;
  }

  @Override
  public void run() {
    throw wrong("Which report? \"zorvan reports\" lists them.");
  }

  private Report named(String name) {
    try {
      return find(catalogue.get(), name);
    } catch (UsageException e) {
      throw wrong(e.getMessage());
    }
  }

  private ParameterException wrong(String message) {
    return new ParameterException(spec.commandLine(), message);
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
