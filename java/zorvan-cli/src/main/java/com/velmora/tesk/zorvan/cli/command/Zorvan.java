package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.ExitCode;
import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.UsageException;
import com.velmora.tesk.zorvan.cli.run.ErrorTexts;
import com.velmora.tesk.zorvan.cli.run.Interruption;
import com.velmora.tesk.zorvan.cli.run.NativeReportSource;
import com.velmora.tesk.zorvan.cli.run.ReportSource;
import com.velmora.tesk.zorvan.common.server.ReportCatalogue;
import java.io.IOException;
import java.io.PrintWriter;
import java.io.UncheckedIOException;
import java.util.function.Supplier;
import picocli.CommandLine;
import picocli.CommandLine.Command;
import picocli.CommandLine.HelpCommand;
import picocli.CommandLine.IVersionProvider;
import picocli.CommandLine.ParameterException;

/** The command {@code zorvan}: reports and searches over an Active Directory domain. */
@Command(
    name = "zorvan",
    mixinStandardHelpOptions = true,
    versionProvider = Zorvan.Version.class,
    subcommands = HelpCommand.class,
    description = "Reports on an Active Directory domain.",
    synopsisSubcommandLabel = "COMMAND",
    footerHeading = "%nExamples:%n",
    footer = {
      "  zorvan reports --group users",
      "  zorvan report GetDisabledAccounts --domain corp.example.com --user admin",
      "  zorvan report GetInActiveUsers --before 90d -f csv -o inactive.csv",
      "  zorvan search \"(&(objectClass=user)(department=Sales))\" -a sAMAccountName,mail",
      "",
      "Exit codes: 0 done, 1 failed, 2 wrong usage, 3 not all of the rows or their values."
    })
public final class Zorvan {
  private final Surroundings surroundings;
  private final Supplier<ReportCatalogue> catalogue;
  private final ReportSource source;
  private final Interruption interruption;

  Zorvan(
      Surroundings surroundings,
      Supplier<ReportCatalogue> catalogue,
      ReportSource source,
      Interruption interruption) {
    this.surroundings = surroundings;
    this.catalogue = catalogue;
    this.source = source;
    this.interruption = interruption;
  }

  /** Runs the command line and ends the process with its exit code. */
  public static void main(String[] arguments) {
    Interruption interruption = new Interruption();
    interruption.install();
    Zorvan zorvan =
        new Zorvan(
            Surroundings.ofProcess(),
            Zorvan::packedCatalogue,
            new NativeReportSource(),
            interruption);
    interruption.exit(zorvan.run(arguments));
  }

  /** Runs the command line and returns its exit code. */
  int run(String... arguments) {
    CommandLine line =
        new CommandLine(this)
            .addSubcommand(new ReportsCommand(surroundings, catalogue))
            .addSubcommand(ReportCommand.spec(surroundings, catalogue, source, interruption))
            .addSubcommand(new SearchCommand(surroundings, source, interruption));
    configured(line, surroundings)
        .setParameterExceptionHandler((e, args) -> wrongUsage(e))
        .setExecutionExceptionHandler((e, command, result) -> failed(e, command));
    if (arguments.length == 0) {
      line.usage(surroundings.messages());
      return ExitCode.USAGE;
    }
    try {
      return line.execute(arguments);
    } catch (Error e) {
      surroundings.messages().println("error: " + ErrorTexts.describe(e));
      return ExitCode.FAILED;
    }
  }

  /** What holds for each command; one that is added later does not inherit it. */
  static CommandLine configured(CommandLine line, Surroundings surroundings) {
    return line.setCaseInsensitiveEnumValuesAllowed(true)
        .setUsageHelpAutoWidth(true)
        .setOut(new PrintWriter(surroundings.output(), true, surroundings.outputCharset()))
        .setErr(surroundings.messages());
  }

  private int wrongUsage(ParameterException e) {
    surroundings.messages().println("error: " + e.getMessage());
    CommandLine.UnmatchedArgumentException.printSuggestions(e, surroundings.messages());
    surroundings
        .messages()
        .println("Try: " + e.getCommandLine().getCommandSpec().qualifiedName() + " --help");
    return ExitCode.USAGE;
  }

  private int failed(Exception e, CommandLine command) {
    if (e instanceof UsageException) {
      return wrongUsage(new ParameterException(command, e.getMessage()));
    }
    surroundings
        .messages()
        .println("error: " + (e instanceof UncheckedIOException ? e.getMessage() : e));
    return ExitCode.FAILED;
  }

  private static ReportCatalogue packedCatalogue() {
    try {
      return ReportCatalogue.load();
    } catch (IOException e) {
      throw new UncheckedIOException("The report catalogue cannot be read: " + e.getMessage(), e);
    }
  }

  static final class Version implements IVersionProvider {
    @Override
    public String[] getVersion() {
      String version = Zorvan.class.getPackage().getImplementationVersion();
      return new String[] {"zorvan " + (version == null ? "(not packed)" : version)};
    }
  }
}
