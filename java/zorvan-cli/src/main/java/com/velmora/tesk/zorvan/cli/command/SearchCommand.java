package com.velmora.tesk.zorvan.cli.command;

import com.velmora.tesk.zorvan.cli.Surroundings;
import com.velmora.tesk.zorvan.cli.connection.Connection;
import com.velmora.tesk.zorvan.cli.connection.ConnectionOptions;
import com.velmora.tesk.zorvan.cli.output.OutputOptions;
import com.velmora.tesk.zorvan.cli.run.Interruption;
import com.velmora.tesk.zorvan.cli.run.ReportSource;
import com.velmora.tesk.zorvan.cli.run.RowRun;
import java.util.List;
import java.util.concurrent.Callable;
import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Parameters;

/** Searches with a filter of the user's own and writes the rows. */
@Command(
    name = "search",
    mixinStandardHelpOptions = true,
    sortOptions = false,
    description = "Searches the directory and writes the objects found as they come.",
    footerHeading = "%nExamples:%n",
    footer = {
      "  zorvan search \"(objectClass=printQueue)\" --profile corp",
      "  zorvan search \"(&(objectClass=group)(!member=*))\" -a cn,whenCreated",
      "",
      "Exit codes: 0 done, with or without rows; 1 failed; 2 wrong usage; 3 not all",
      "of the rows or of their values, because of an error on the way or Ctrl-C."
    })
final class SearchCommand implements Callable<Integer> {
  private static final List<String> COLUMNS = List.of("name", "objectClass", "distinguishedName");

  private final Surroundings surroundings;
  private final ReportSource source;
  private final Interruption interruption;

  @Parameters(
      paramLabel = "FILTER",
      description = "An LDAP filter. In the shell, put it between quotation marks.")
  private String filter;

  @Mixin private OutputOptions output;
  @Mixin private ConnectionOptions connection;

  SearchCommand(Surroundings surroundings, ReportSource source, Interruption interruption) {
    this.surroundings = surroundings;
    this.source = source;
    this.interruption = interruption;
  }

  @Override
  public Integer call() {
    AttributeSelection selection = AttributeSelection.of(output.columns(COLUMNS));
    output.mostRows();
    output.zone();
    try (Connection open = connection.open(surroundings, output.isQuiet())) {
      return RowRun.run(
          surroundings,
          interruption,
          output,
          selection.columns(),
          open.doubt(),
          (listener, errors) ->
              source.search(
                  open.settings(),
                  open.domainBase(),
                  filter,
                  selection.requested(),
                  listener,
                  errors));
    }
  }
}
