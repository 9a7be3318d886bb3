package com.velmora.tesk.zorvan.common.server;

import java.util.ArrayList;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/** Collects the domains that the library finds when it is asked which there are. */
public final class DomainHandler {
  private static final Map<String, List<String>> DOMAINS = new LinkedHashMap<>();

  private DomainHandler() {}

  /**
   * Takes one domain. Called by the library; a domain found again replaces what was known of it.
   *
   * @param domainName the DNS name of the domain
   * @param controllers the host names of its domain controllers; null counts as none
   */
  public static synchronized void addDomain(String domainName, ArrayList<String> controllers) {
    if (domainName != null) {
      DOMAINS.put(domainName, controllers == null ? List.of() : List.copyOf(controllers));
    }
  }

  /** The domains found so far with their controllers, in the order they were found. */
  public static synchronized Map<String, List<String>> domains() {
    return Collections.unmodifiableMap(new LinkedHashMap<>(DOMAINS));
  }

  /** Forgets all domains, before a new enumeration. */
  public static synchronized void clear() {
    DOMAINS.clear();
  }
}
