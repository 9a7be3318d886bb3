package com.velmora.tesk.zorvan.common.server;

import com.velmora.tesk.zorvan.common.server.model.NativeListener;
import java.util.ArrayList;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Objects;
import java.util.Properties;
import java.util.Set;
import java.util.logging.Logger;

/**
 * The native methods of the library ZorvanSecurity, and the log methods through which it speaks.
 *
 * <p>{@link NativeLibraryLoader#handler()} loads the library, fills its class cache and gives the
 * instance to call. After that any number of threads may call any method at the same time; a call
 * runs on the caller's thread from begin to end and keeps nothing afterwards.
 *
 * <h2>What the methods share</h2>
 *
 * <ul>
 *   <li><b>Settings</b> come first: a {@link Properties} with the keys of {@link DomainSettings}.
 *       Lists, here and among the other arguments, are {@link ArrayList}; another list counts as
 *       absent. The first controller of its list that accepts the credentials serves the whole
 *       call.
 *   <li><b>Rows</b> are handed to the {@link NativeListener} one by one as they arrive. A row is a
 *       {@link Properties} that maps an attribute name, spelled as it was asked for, to an {@link
 *       ArrayList} of its values. Values are text: numbers in decimal, {@code "1"} and {@code "0"}
 *       for booleans, times as the count of 100-nanosecond intervals since 1601-01-01 UTC, SIDs and
 *       GUIDs in their usual written form. An attribute that the object does not have is no key of
 *       the row. {@code memberOf}, {@code member}, {@code managedBy}, {@code authOrig} and {@code
 *       unauthOrig} hold nested {@link Properties} with {@code distinguishedName}, {@code cn} and
 *       {@code objectGUID} in place of texts; {@code manager}, {@code publicDelegates} and {@code
 *       altRecipient} hold the common name of the object that they point to. {@code memberOf} ends
 *       with the account's primary group, which the directory leaves out of the attribute, and
 *       {@code member} takes in the accounts whose primary group it is. Of octets other than SIDs,
 *       GUIDs and {@code logonHours} the list is empty.
 *   <li><b>Threads</b>: everything that a call brings (rows, errors, notices, log lines) comes on
 *       the thread that made it, before it returns.
 *   <li><b>Ending early</b>: {@link NativeListener#isCompleted()} is asked after each row, and
 *       several times a second while the call waits for the directory. When it answers true the
 *       call ends without an error. An interrupt of the thread ends it just as soon, but adds an
 *       error with the code {@code 800704c7} and no key: {@code SEVERE} before the first row,
 *       {@code WARNING} after it. The interrupt status of the thread stays set. An exception or
 *       error of the listener, the {@link NativeError} or the {@link LogSink} ends the call and
 *       reaches the caller, {@link OutOfMemoryError} included. On Windows the system's own client
 *       does the waiting, so a call ends only when the next answer arrives.
 *   <li><b>Limits</b>: one connection with its log-on may take 10 seconds, a wait for one message
 *       120 seconds, and a message may have 64 MiB. {@link DomainSettings} can change these and
 *       limit the whole call. On Windows the system's own limits apply.
 *   <li><b>Errors</b> come last: a {@link NativeError} that takes what the user must learn. The
 *       methods throw nothing of their own. A {@code SEVERE} entry with the key {@code
 *       halden.common_authentication.native.failure.given_servers_not_opertional}, {@code
 *       ...username/password.wrong}, {@code ...user_no_read_permission} or {@code
 *       ...some_authentication_problem} means that no controller could be used; {@code
 *       halden.reports.native.failure.no_view_permission} or {@code ...authentication} that the
 *       base could not be opened. Either way there are no rows. A report whose search fails later
 *       adds one entry with a key of {@code halden.reports.native.failure}: {@code SEVERE} when it
 *       gave no row, {@code WARNING} when the rows are not all there are. Invalid settings, such as
 *       a limit below zero, have the code {@code 80070057}; a log line names the key.
 *   <li><b>Notices</b> go to the same {@link NativeError}: facts that the user must learn although
 *       nothing failed, such as a log-on by NTLM. See {@link NativeError.Notice}.
 * </ul>
 */
public class ADHandler {

  /** The logger that the library's own messages go to unless another {@link LogSink} is set. */
  public static final Logger nativeLogger =
      Logger.getLogger("com.velmora.tesk.zorvan.common.server.native");

  private static volatile LogSink logSink = new LoggerSink(nativeLogger);

  // ---- Log methods, called by the library ----

  /**
   * Takes a line of the general log.
   *
   * @param level 1 for milestones and failures, 2 for warnings about security descriptors, 3 for
   *     detail
   * @param text the line, as the library wrote it
   */
  public static void log(int level, String text) {
    hand(LogSink.Channel.GENERAL, level, text);
  }

  /**
   * Takes a line about the creation or change of objects.
   *
   * @param level as for {@link #log}
   * @param text the line, as the library wrote it
   */
  public static void admanglog(int level, String text) {
    hand(LogSink.Channel.MANAGEMENT, level, text);
  }

  /**
   * Takes a line about the delegation of permissions.
   *
   * @param level as for {@link #log}
   * @param text the line, as the library wrote it
   */
  public static void deleglog(int level, String text) {
    hand(LogSink.Channel.DELEGATION, level, text);
  }

  /** Whether somebody reads lines of detail; asked once at the beginning of each call. */
  public static boolean isdebugLogLevel() {
    return logSink.isWanted(LogSink.Channel.GENERAL, LogSink.DETAIL);
  }

  /**
   * Sends the library's log lines elsewhere.
   *
   * @param sink takes the lines from now on, on whatever thread makes a call
   * @return the sink in use until now
   */
  public static synchronized LogSink setLogSink(LogSink sink) {
    LogSink previous = logSink;
    logSink = Objects.requireNonNull(sink, "sink");
    return previous;
  }

  private static void hand(LogSink.Channel channel, int level, String text) {
    LogSink sink = logSink;
    if (sink.isWanted(channel, level)) {
      sink.write(channel, level, text);
    }
  }

  // ---- Class cache ----

  private static final Set<String> missingMembers = new LinkedHashSet<>();

  /**
   * Fills the library's cache of Java classes and methods. Must return before any other native
   * method is called, which {@link NativeLibraryLoader#handler()} sees to. Calling it again
   * replaces the cache; calls that are running keep the one that they began with.
   *
   * <p>When a required class or method is missing, {@link #missingMembers()} names it, and every
   * call does nothing.
   */
  public native void InitializeClassIDs();

  /**
   * Empties the class cache, which refers to these classes; {@link NativeLibraryLoader#close()}
   * calls it. Calls that are running end normally. Later ones do nothing until {@link
   * #InitializeClassIDs} is called again.
   */
  public native void CleanupClassIDs();

  /** Takes the name of a required class or member that is missing. Called by the library. */
  static void missingMember(String name) {
    synchronized (missingMembers) {
      missingMembers.add(name);
    }
    log(LogSink.MILESTONE, "The jar lacks what the native library needs: " + name);
  }

  /** The required classes and members that the library did not find; empty when it found all. */
  public static List<String> missingMembers() {
    synchronized (missingMembers) {
      return List.copyOf(missingMembers);
    }
  }

  // ---- Search ----

  /**
   * Streams the objects below a container that match a filter.
   *
   * @param containerDn the container searched, its subtree included
   * @param filter an LDAP filter; the lenient spellings that directory clients accept, such as
   *     {@code (!manager=*)} or {@code objectClass=user}, are accepted here too
   * @param listener takes the rows; asked after each row whether the search shall end, so that at
   *     least one row is delivered
   * @param errors takes one {@code SEVERE} entry when no controller answers or the credentials are
   *     refused; a container that cannot be opened and a search that fails are notices, {@code
   *     OpenFailed} and {@code SearchFailed}
   */
  public native Object GetObjects(
      Properties settings,
      String containerDn,
      String filter,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  // ---- Reports: users ----

  /**
   * Streams all users. Machine-trust accounts are left out, here and in the other user reports
   * unless they say otherwise.
   *
   * <p>All reports take their first four arguments and the last one alike and return null; their
   * own parameters stand between the listener and the error list. A time is a {@code long},
   * milliseconds since 1970-01-01 UTC, of which whole seconds count, or a {@code String} in
   * generalized time, UTC ({@code 20240131000000.0Z}). A controller is the host name of the one
   * that is asked, for attributes that are not replicated; null or empty means the controller of
   * the connection.
   *
   * @param settings the domain and how to reach it, see {@link DomainSettings}
   * @param baseDn the container searched, its subtree included
   * @param attributes the attributes each row shall hold, in the order they are read
   * @param listener takes a row for each object; asked before each row whether the report shall end
   * @param errors takes one {@code SEVERE} entry when no controller answers, the credentials are
   *     refused or the base cannot be opened, and one entry when the rows are not all there are
   */
  public native Object GetUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users whose account is enabled. */
  public native Object GetEnabledAccounts(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users whose account is disabled. All users are read and those whose {@code
   * userAccountControl} has bit 2 are kept.
   */
  public native Object GetDisabledAccounts(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users who must log on with a smart card. All users are read and those whose {@code
   * userAccountControl} has bit 0x40000 are kept.
   */
  public native Object GetSmartCardEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users to whom dial-in access is allowed. That is {@code msNPAllowDialin} true;
   * users left to the network policy are in neither dial-in report.
   */
  public native Object GetDialInAccessAllowedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users to whom dial-in access is denied. That is {@code msNPAllowDialin} false. */
  public native Object GetDialInAccessDeniedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users who may have an empty password. That is {@code userAccountControl} bit 32.
   */
  public native Object GetPwdNotRequiredUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users whose password never expires. That is {@code userAccountControl} bit 65536.
   */
  public native Object GetPwdNeverExpireUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users who must change their password at the next logon. That is {@code pwdLastSet}
   * 0. Machine-trust accounts are included.
   */
  public native Object GetMustChangePwdUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users who have a logon script. */
  public native Object GetUsersWithScriptPath(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users who have no logon script. */
  public native Object GetUsersWithoutScriptPath(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users who manage somebody. That is, {@code directReports} is not empty. */
  public native Object GetAllManagerUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users who have no manager. */
  public native Object GetUnManagedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users who report to one manager.
   *
   * @param managerDn distinguished name of the manager
   */
  public native Object GetManagerBasedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String managerDn,
      NativeError errors);

  /**
   * Streams the users who belong to no group but Domain Users. The primary group is Domain Users
   * and {@code memberOf} is empty.
   */
  public native Object GetUsersOfDomainUsersGroupOnly(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users who are restricted to workstations, one given workstation not among them.
   *
   * @param workstation name of one workstation, as in {@code userWorkstations}
   */
  public native Object GetLogonRestrictionUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String workstation,
      NativeError errors);

  /**
   * Streams the users created since a time.
   *
   * @param createdSince earliest {@code whenCreated}
   */
  public native Object GetRecentlyCreatedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String createdSince,
      NativeError errors);

  /**
   * Streams the users modified since a time.
   *
   * @param modifiedSince earliest {@code whenChanged}
   */
  public native Object GetRecentlyModifiedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String modifiedSince,
      NativeError errors);

  /**
   * Streams the users whose password changed after a time.
   *
   * @param changedSince start of the period
   */
  public native Object GetRecentlyPwdChangedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long changedSince,
      NativeError errors);

  /**
   * Streams the users whose password has not changed since a time. Users who must change their
   * password at the next logon are left out.
   *
   * @param unchangedSince start of the period
   */
  public native Object GetRecentlyPwdUnChangedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long unchangedSince,
      NativeError errors);

  /**
   * Streams the users whose password expires soon. The caller works out the two bounds from the
   * domain's maximum password age. Passwords that never expire are left out.
   *
   * @param setAfter passwords set later than this, milliseconds since 1970-01-01 UTC: now less the
   *     maximum password age
   * @param setUpTo passwords set no later than this, milliseconds since 1970-01-01 UTC: {@code
   *     setAfter} plus the length of the coming period
   */
  public native Object GetSoonToPasswordExpireUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long setAfter,
      long setUpTo,
      NativeError errors);

  /**
   * Streams the users whose password has expired. The caller works out the bound from the domain's
   * maximum password age. Passwords that never expire, and users who must change theirs, are left
   * out.
   *
   * @param pwdSetUpTo passwords set no later than this have expired, milliseconds since 1970-01-01
   *     UTC: now less the maximum password age
   */
  public native Object GetPasswordExpiredUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long pwdSetUpTo,
      NativeError errors);

  /**
   * Streams the users who gave a wrong password since a time, as one domain controller saw it.
   *
   * @param badLogonSince start of the period
   */
  public native Object GetRecentlyBadLoginUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String controller,
      long badLogonSince,
      NativeError errors);

  /**
   * Streams the users who have not logged on since a time, as one domain controller saw it. Both
   * {@code lastLogon} and {@code lastLogonTimestamp} must be absent or old.
   *
   * @param inactiveSince no logon after this
   */
  public native Object GetInActiveUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String controller,
      long inactiveSince,
      NativeError errors);

  /**
   * Streams the users who have logged on since a time, as one domain controller saw it.
   *
   * @param loggedOnSince start of the period
   */
  public native Object GetRecentlyLoggedOnUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String controller,
      long loggedOnSince,
      NativeError errors);

  /** Streams the users who have never logged on, as one domain controller saw it. */
  public native Object GetNeverLoggedInUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String controller,
      NativeError errors);

  /** Streams the users whose account never expires. */
  public native Object GetAccountNeverExpiredUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users whose account has expired by now. The clock is that of this machine. */
  public native Object GetAccountExpiredUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users whose account expired within a period.
   *
   * @param expiredSince start of the period
   * @param expiredUntil end of the period, milliseconds since 1970-01-01 UTC, normally now
   */
  public native Object GetRecentlyExpiredUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long expiredSince,
      long expiredUntil,
      NativeError errors);

  /**
   * Streams the users whose account expires within a coming period.
   *
   * @param expiresAfter start of the period, exclusive, milliseconds since 1970-01-01 UTC, normally
   *     now
   * @param expiresUntil end of the period, milliseconds since 1970-01-01 UTC
   */
  public native Object GetSoonToExpireUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long expiresAfter,
      long expiresUntil,
      NativeError errors);

  /** Streams the printers published in the directory. */
  public native Object GetAllPrinters(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Deleted users.
   *
   * <p>Each row is one user among the deleted objects: for every attribute asked for that the
   * object still has, a list of its values as text. Deletion takes most attributes away; {@code
   * sAMAccountName}, {@code objectSid}, {@code whenChanged} and {@code lastKnownParent} stay.
   *
   * @param baseDn not used: deleted objects lie in one container of their domain
   * @param changedSince earliest {@code whenChanged}, which is when the object was deleted unless
   *     it was changed after that
   * @param errors takes one {@code SEVERE} entry when no controller answers, the credentials are
   *     refused or the container cannot be read
   */
  public native Object GetRecentlyDeletedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String changedSince,
      NativeError errors);

  /**
   * Streams all users for the terminal-services settings of their accounts. The settings are asked
   * for by the names {@code tsProfilePath}, {@code tsHomeDir}, {@code tsAllowLogon} and so on;
   * {@code sAMAccountName} must stand before them in the attribute list. Machine-trust accounts are
   * included.
   */
  public native Object GetUsersTerminalServiceProperties(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  // ---- Reports: computers ----

  /** Streams all computers. */
  public native Object GetAllComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the domain controllers: {@code userAccountControl} has bit 0x2000. */
  public native Object GetDomainControllerObjects(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the workstations and member servers: {@code userAccountControl} has bit 0x1000. */
  public native Object GetComputerObjects(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the computers trusted for delegation: {@code userAccountControl} has bit 0x80000. */
  public native Object GetTrustedObjects(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the disabled computers: {@code userAccountControl} has bit 2. */
  public native Object GetDisabledObjects(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the computers that have a manager. That is, {@code managedBy} is set. */
  public native Object GetManagedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the computers that have no manager. */
  public native Object GetUnManagedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the computers created since a time.
   *
   * @param createdSince earliest {@code whenCreated}
   */
  public native Object GetRecentlyCreatedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String createdSince,
      NativeError errors);

  /**
   * Streams the computers modified since a time.
   *
   * @param modifiedSince earliest {@code whenChanged}
   */
  public native Object GetRecentlyModifiedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String modifiedSince,
      NativeError errors);

  /**
   * Deleted computers.
   *
   * <p>Each row is one computer among the deleted objects: for every attribute asked for that the
   * object still has, a list of its values as text. Deletion takes most attributes away; {@code
   * sAMAccountName}, {@code objectSid}, {@code whenChanged} and {@code lastKnownParent} stay.
   *
   * @param baseDn not used: deleted objects lie in one container of their domain
   * @param changedSince earliest {@code whenChanged}, which is when the object was deleted unless
   *     it was changed after that
   * @param errors takes one {@code SEVERE} entry when no controller answers, the credentials are
   *     refused or the container cannot be read
   */
  public native Object GetRecentlyDeletedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String changedSince,
      NativeError errors);

  /**
   * Streams the computers that have not changed their password since a time. A computer in use
   * changes it every 30 days unless told otherwise.
   *
   * @param passwordUnchangedSince computer password not changed after this, milliseconds since
   *     1970-01-01 UTC
   */
  public native Object GetInActiveComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      long passwordUnchangedSince,
      NativeError errors);

  /**
   * Streams the computers that have not logged on since a time, as one domain controller saw it.
   * Both {@code lastLogon} and {@code lastLogonTimestamp} must be absent or old.
   *
   * @param inactiveSince no logon after this
   */
  public native Object GetInActiveObjects(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String controller,
      long inactiveSince,
      NativeError errors);

  /**
   * Streams the computers with one operating system and service pack.
   *
   * @param operatingSystem value of {@code operatingSystem}, for example {@code Windows Server 2022
   *     Standard}
   * @param servicePack beginning of {@code operatingSystemServicePack}; empty for computers that
   *     have none
   */
  public native Object GetOSBasedComputers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String operatingSystem,
      String servicePack,
      NativeError errors);

  // ---- Reports: mail ----

  /** Streams the users who have a mailbox. */
  public native Object GetMailBoxEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users who have no mailbox. */
  public native Object GetUsersWithoutMailBox(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users whose mail goes to an address outside. They have {@code mailNickname} and
   * {@code targetAddress}.
   */
  public native Object GetMailEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the groups that receive mail. */
  public native Object GetMailEnabledGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose web access is switched off. */
  public native Object GetOWADisabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose web access is not switched off. */
  public native Object GetOWAEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose POP3 access is switched off. */
  public native Object GetPOP3DisabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose POP3 access is not switched off. */
  public native Object GetPOP3EnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose IMAP4 access is switched off. */
  public native Object GetIMAP4DisabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose IMAP4 access is not switched off. */
  public native Object GetIMAP4EnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users whose mobile browsing is switched off. */
  public native Object GetOMADisabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the mailbox users whose mobile browsing is not switched off. Only mailboxes without
   * {@code msExchVersion} count.
   */
  public native Object GetOMAEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the mailbox users whose mobile synchronization is switched off. Only mailboxes with
   * {@code msExchVersion} count; system mailboxes are left out.
   */
  public native Object GetSyncDisabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the mailbox users whose mobile synchronization is not switched off. Only mailboxes with
   * {@code msExchVersion} count; system mailboxes are left out.
   */
  public native Object GetSyncEnabledUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the users whose mail is forwarded to one recipient.
   *
   * @param forwardToDn distinguished name of the recipient that mail is forwarded to
   */
  public native Object GetForwardToBasedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String forwardToDn,
      NativeError errors);

  /**
   * Streams the users who have a proxy address with a given ending.
   *
   * @param addressSuffix end of the proxy address, for example {@code @example.com}
   */
  public native Object GetProxyAddressBasedUsers(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String addressSuffix,
      NativeError errors);

  /**
   * Streams the groups that have a proxy address with a given ending.
   *
   * @param addressSuffix end of the proxy address, for example {@code @example.com}
   */
  public native Object GetProxyAddressBasedGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String addressSuffix,
      NativeError errors);

  /** Streams the users whose mailbox follows the storage limits of its store. */
  public native Object GetUsersWithDefaultStorageLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the users whose mailbox has storage limits of its own. */
  public native Object GetUsersWithoutDefaultStorageLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users without a size limit of their own for sent messages. */
  public native Object GetUsersWithDefaultSendingLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users with a size limit of their own for sent messages. */
  public native Object GetUsersWithRestrictedSendingLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mail users without a size limit of their own for received messages. */
  public native Object GetUsersWithDefaultReceivingLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mail users with a size limit of their own for received messages. */
  public native Object GetUsersWithRestrictedReceivingLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mail users who accept or refuse mail from named senders only. */
  public native Object GetUsersWithMessageRestrictions(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mail users who neither name senders to accept nor senders to refuse. */
  public native Object GetUsersWithoutMessageRestrictions(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users without a limit of their own on recipients. */
  public native Object GetUsersWithDefaultRecipLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mailbox users with a limit of their own on recipients. */
  public native Object GetUsersWithRestrictedRecipLimit(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the mail users hidden from the address lists. */
  public native Object GetUsersHideFromExchAddresslist(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the contacts that receive mail. */
  public native Object GetMailEnabledContacts(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams all contacts. */
  public native Object GetAllContacts(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  // ---- Reports: organizational units ----

  /**
   * Streams everything that holds accounts: organizational units, containers and the built-in
   * domain.
   */
  public native Object GetOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams all organizational units. */
  public native Object GetAllOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the organizational units that have a group policy linked. */
  public native Object GetGPOLinkedOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the organizational units that block the inheritance of group policies. */
  public native Object GetGPOBlockedInheritanceOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the organizational units created since a time.
   *
   * @param createdSince earliest {@code whenCreated}
   */
  public native Object GetRecentlyCreatedOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String createdSince,
      NativeError errors);

  /**
   * Streams the organizational units modified since a time.
   *
   * @param modifiedSince earliest {@code whenChanged}
   */
  public native Object GetRecentlyModifiedOUs(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      String modifiedSince,
      NativeError errors);

  // ---- Reports: groups and sites ----

  /** Streams all groups. */
  public native Object GetAllGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams all groups. The same objects as {@link #GetAllGroups}; both names are in use. */
  public native Object GetGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the groups that have a manager. That is, {@code managedBy} is set. */
  public native Object GetManagedGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /** Streams the groups that have no manager. */
  public native Object GetUnManagedGroups(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);

  /**
   * Streams the subnets of the forest. They live in the configuration naming context, so the base
   * must lie there ({@code CN=Subnets,CN=Sites,CN=Configuration,...}).
   */
  public native Object GetAllSubnets(
      Properties settings,
      String baseDn,
      ArrayList<String> attributes,
      NativeListener listener,
      NativeError errors);
}
