package com.velmora.tesk.zorvan.common.server;

import java.util.ArrayList;
import java.util.List;

/**
 * The errors and notices of one native call. The library appends through {@link #setErrorList} and
 * {@link #addNotice}; the caller reads {@link #entries()} and {@link #notices()} afterwards. Safe
 * to read while the call still runs.
 */
public class NativeError {
  private final List<Entry> entries = new ArrayList<>();
  private final List<Notice> notices = new ArrayList<>();

  /**
   * One error.
   *
   * @param objectName what it concerns: a distinguished name, account, path or domain
   * @param severity {@code SEVERE} when the operation ended for that object, {@code WARNING} when
   *     it went on
   * @param code the result code in lower-case hexadecimal without prefix; empty when there is none
   * @param key the message key, to be looked up in the caller's language; may be empty
   * @param message the operating system's text for the code, or null
   */
  public record Entry(String objectName, String severity, String code, String key, String message) {

    /** Whether the operation ended because of this error. */
    public boolean isSevere() {
      return !"WARNING".equalsIgnoreCase(severity);
    }
  }

  /**
   * Something that the user must learn beyond rows and errors.
   *
   * @param kind {@code NtlmUsed}, {@code ServiceNameFromServer}, {@code ListCut}, {@code
   *     TypesUnknown}, {@code ReferralFollowed}; or the failure that ended the call: {@code
   *     ControllerFailed} (no controller could be used), {@code OpenFailed} (the container that the
   *     call begins at) or {@code SearchFailed}
   * @param subject what it concerns: a server, a distinguished name, the path that could not be
   *     opened, the filter of the failed search
   * @param detail the reason, service, attribute or host that the kind speaks of; of a failure,
   *     what the directory said, with its code for that in parentheses, or nothing
   * @param count of {@code ListCut}: how many values the row has; of a failure: its result code, as
   *     32 bits without a sign; otherwise 0
   */
  public record Notice(String kind, String subject, String detail, long count) {}

  /** Appends a notice. Called by the library; the arguments are those of {@link Notice}. */
  public synchronized void addNotice(String kind, String subject, String detail, long count) {
    notices.add(new Notice(text(kind), text(subject), text(detail), count));
  }

  /** The notices so far, in the order they were added. */
  public synchronized List<Notice> notices() {
    return List.copyOf(notices);
  }

  /**
   * Appends an entry. Called by the library, once per error; the arguments are those of {@link
   * Entry}.
   */
  public synchronized void setErrorList(
      Object objectName, String severity, Object code, Object key, Object message) {
    entries.add(
        new Entry(
            text(objectName),
            severity == null ? "SEVERE" : severity,
            text(code),
            text(key),
            message == null ? null : message.toString()));
  }

  /** The entries so far, in the order they were added. */
  public synchronized List<Entry> entries() {
    return List.copyOf(entries);
  }

  /** Whether nothing went wrong so far. */
  public synchronized boolean isEmpty() {
    return entries.isEmpty();
  }

  private static String text(Object value) {
    return value == null ? "" : value.toString();
  }

  @Override
  public String toString() {
    return entries().toString();
  }
}
