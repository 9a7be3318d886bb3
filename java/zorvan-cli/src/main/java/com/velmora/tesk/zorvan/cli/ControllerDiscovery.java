package com.velmora.tesk.zorvan.cli;

import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.Hashtable;
import java.util.List;
import javax.naming.Context;
import javax.naming.NamingException;
import javax.naming.directory.Attribute;
import javax.naming.directory.DirContext;
import javax.naming.directory.InitialDirContext;

/** Asks the DNS which domain controllers a domain has. */
final class ControllerDiscovery {
  private ControllerDiscovery() {}

  /** Their host names, the preferred ones first; none when the DNS does not say. */
  static List<String> controllersOf(String dnsDomain) {
    Hashtable<String, String> environment = new Hashtable<>();
    environment.put(Context.INITIAL_CONTEXT_FACTORY, "com.sun.jndi.dns.DnsContextFactory");
    environment.put("com.sun.jndi.dns.timeout.initial", "2000");
    environment.put("com.sun.jndi.dns.timeout.retries", "2");
    try {
      DirContext dns = new InitialDirContext(environment);
      try {
        String service = "_ldap._tcp.dc._msdcs." + dnsDomain;
        Attribute records = dns.getAttributes(service, new String[] {"SRV"}).get("SRV");
        return records == null ? List.of() : hosts(Collections.list(records.getAll()));
      } finally {
        dns.close();
      }
    } catch (NamingException e) {
      return List.of();
    }
  }

  // A record is "priority weight port host."; the lowest priority comes first, then the highest
  // weight.
  static List<String> hosts(List<?> records) {
    List<String[]> parts = new ArrayList<>();
    for (Object record : records) {
      String[] fields = record.toString().trim().split("\\s+");
      if (fields.length == 4) {
        parts.add(fields);
      }
    }
    return parts.stream()
        .sorted(
            Comparator.<String[]>comparingInt(fields -> Integer.parseInt(fields[0]))
                .thenComparing(fields -> -Integer.parseInt(fields[1])))
        .map(fields -> fields[3].replaceFirst("\\.$", ""))
        .distinct()
        .toList();
  }
}
