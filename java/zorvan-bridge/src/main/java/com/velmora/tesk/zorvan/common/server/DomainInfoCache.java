package com.velmora.tesk.zorvan.common.server;

import java.util.Locale;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.ConcurrentMap;

/**
 * What is remembered about each domain between calls: whether its SIDs can be looked up. The
 * library switches look-ups off for a domain that refused one; {@link DomainSettings} passes the
 * answer on in later calls.
 */
public final class DomainInfoCache {
  /** Look SIDs up on the local machine. */
  public static final int LOOK_UP_LOCALLY = 0;

  /** Look SIDs up on the domain controller; the state of a domain nothing is known about. */
  public static final int LOOK_UP_ON_CONTROLLER = 1;

  /** Do not look SIDs up. */
  public static final int DO_NOT_LOOK_UP = 2;

  private static final DomainInfoCache INSTANCE = new DomainInfoCache();

  private final ConcurrentMap<String, Integer> statusByDomain = new ConcurrentHashMap<>();

  private DomainInfoCache() {}

  /** The one cache of this process. */
  public static DomainInfoCache getInstance() {
    return INSTANCE;
  }

  /** Remembers the look-up status of a domain. Called by the library, on any thread. */
  public void setDomainStatus(String domainName, int status) {
    statusByDomain.put(key(domainName), status);
  }

  /** The look-up status of a domain. */
  public int getDomainStatus(String domainName) {
    return statusByDomain.getOrDefault(key(domainName), LOOK_UP_ON_CONTROLLER);
  }

  private static String key(String domainName) {
    return domainName == null ? "" : domainName.toLowerCase(Locale.ROOT);
  }
}
