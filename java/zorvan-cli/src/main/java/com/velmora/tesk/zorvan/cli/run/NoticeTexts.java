package com.velmora.tesk.zorvan.cli.run;

import com.velmora.tesk.zorvan.cli.TerminalText;
import com.velmora.tesk.zorvan.common.server.NativeError.Notice;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.stream.Collectors;
import java.util.stream.Stream;

/**
 * Puts the library's notices into a few lines: what has to do with trust, which values are missing
 * from the rows, and what explains the failure that ended the call.
 */
final class NoticeTexts {
  private static final String LIST_CUT = "ListCut";
  private static final String TYPES_UNKNOWN = "TypesUnknown";
  static final String SEARCH_FAILED = "SearchFailed";
  private static final String OPEN_FAILED = "OpenFailed";
  private static final String CONTROLLER_FAILED = "ControllerFailed";
  private static final Set<String> FAILURES = Set.of(CONTROLLER_FAILED, OPEN_FAILED, SEARCH_FAILED);
  private static final int MAX_LINES = 5;

  private final Map<String, List<Notice>> byKind;

  NoticeTexts(List<Notice> notices) {
    this.byKind =
        new LinkedHashSet<>(notices)
            .stream()
                .collect(
                    Collectors.groupingBy(Notice::kind, LinkedHashMap::new, Collectors.toList()));
  }

  /** Whether values are missing from rows that came. */
  boolean tellOfMissingValues() {
    return byKind.containsKey(LIST_CUT) || byKind.containsKey(TYPES_UNKNOWN);
  }

  /** What is missing. */
  List<String> missingValues() {
    List<String> lines = new ArrayList<>();
    List<Notice> cut = byKind.getOrDefault(LIST_CUT, List.of());
    if (!cut.isEmpty()) {
      lines.add(
          "error: " + (cut.size() == 1 ? "1 list is" : cut.size() + " lists are") + " not whole:");
      add(
          lines,
          cut,
          notice ->
              notice.detail()
                  + " of "
                  + notice.subject()
                  + " shows "
                  + notice.count()
                  + " of more");
    }
    List<Notice> unknown = byKind.getOrDefault(TYPES_UNKNOWN, List.of());
    if (!unknown.isEmpty()) {
      lines.add("error: values are missing, because the schema could not be read:");
      add(lines, unknown, notice -> notice.detail() + " (asked of " + notice.subject() + ")");
    }
    return lines;
  }

  /** The failures that ended the call. */
  List<Notice> failures() {
    return byKind.entrySet().stream()
        .filter(entry -> FAILURES.contains(entry.getKey()))
        .flatMap(entry -> entry.getValue().stream())
        .toList();
  }

  /**
   * What explains the failures, each as "name text": the directory's own words, and the path that
   * could not be opened.
   */
  List<String> explanations() {
    Stream<String> reasons =
        failures().stream()
            .map(Notice::detail)
            .filter(detail -> !detail.isEmpty())
            .distinct()
            .map(detail -> "reason " + detail);
    Stream<String> paths =
        byKind.getOrDefault(OPEN_FAILED, List.of()).stream()
            .map(notice -> "path " + notice.subject());
    return Stream.concat(reasons.limit(MAX_LINES), paths.limit(MAX_LINES))
        .map(TerminalText::harmless)
        .toList();
  }

  /** What does not make the rows less than whole. */
  List<String> warnings() {
    List<String> lines = new ArrayList<>();
    byKind.forEach(
        (kind, notices) -> {
          Notice first = notices.get(0);
          String subject = TerminalText.harmless(first.subject());
          String detail = TerminalText.harmless(first.detail());
          switch (kind) {
            case LIST_CUT, TYPES_UNKNOWN, CONTROLLER_FAILED, OPEN_FAILED, SEARCH_FAILED -> {}
            case "NtlmUsed" ->
                lines.add(
                    "warning: NTLM was used with "
                        + subject
                        + more(notices)
                        + ", which does not prove who the server is"
                        + (detail.isEmpty() ? "" : ": " + detail));
            case "ServiceNameFromServer" ->
                lines.add(
                    "warning: "
                        + subject
                        + " is an address; Kerberos was asked for the name that the server gave, "
                        + detail
                        + more(notices));
            case "ReferralFollowed" ->
                lines.add("note: " + subject + more(notices) + " was asked for at " + detail);
            default ->
                lines.add(
                    "note: "
                        + TerminalText.harmless(kind)
                        + ": "
                        + subject
                        + " "
                        + detail
                        + more(notices));
          }
        });
    return lines;
  }

  private static String more(List<Notice> notices) {
    return notices.size() == 1 ? "" : " (and " + (notices.size() - 1) + " more)";
  }

  private interface Words {
    String of(Notice notice);
  }

  private static void add(List<String> lines, List<Notice> notices, Words words) {
    notices.stream()
        .limit(MAX_LINES)
        .forEach(notice -> lines.add("  " + TerminalText.harmless(words.of(notice))));
    if (notices.size() > MAX_LINES) {
      lines.add("  and " + (notices.size() - MAX_LINES) + " more");
    }
  }
}
