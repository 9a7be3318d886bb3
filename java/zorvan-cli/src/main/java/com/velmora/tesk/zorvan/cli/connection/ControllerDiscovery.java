package com.velmora.tesk.zorvan.cli.connection;

import com.velmora.tesk.zorvan.cli.TerminalText;
import java.time.Duration;
import java.util.ArrayList;
import java.util.Collections;
import java.util.Comparator;
import java.util.Hashtable;
import java.util.List;
import java.util.Locale;
import java.util.concurrent.ExecutionException;
import java.util.concurrent.FutureTask;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.TimeoutException;
import javax.naming.CommunicationException;
import javax.naming.Context;
import javax.naming.NameNotFoundException;
import javax.naming.NamingException;
import javax.naming.directory.Attribute;
import javax.naming.directory.DirContext;
import javax.naming.directory.InitialDirContext;

/** Asks the DNS which domain controllers a domain has. */
final class ControllerDiscovery {
  // For all name servers that the system has, each of them asked twice.
  private static final Duration LIMIT = Duration.ofSeconds(10);
  private static final String FIRST_WAIT_MILLISECONDS = "1000";
  private static final String ATTEMPTS = "2";

  /** The DNS could not be asked; the message says why. */
  static final class NoAnswerException extends Exception {
    private static final long serialVersionUID = 1L;

    NoAnswerException(String message) {
      super(message);
    }
  }

  private ControllerDiscovery() {}

  /**
   * Their host names, the preferred ones first; none when the DNS knows of none.
   *
   * @throws NoAnswerException when no name server answers in time, or it cannot say
   */
  static List<String> controllersOf(String dnsDomain) throws NoAnswerException {
    return controllersOf(dnsDomain, "", LIMIT);
  }

  /**
   * @param servers the name servers as JNDI takes them, {@code dns://host:port}; empty for those of
   *     the system
   */
  static List<String> controllersOf(String dnsDomain, String servers, Duration limit)
      throws NoAnswerException {
    FutureTask<List<?>> lookUp = new FutureTask<>(() -> records(dnsDomain, servers));
    // A thread of its own: what a name server can make the look-up last has no limit there.
    Thread thread = new Thread(lookUp, "name server");
    thread.setDaemon(true);
    thread.start();
    try {
      return hosts(lookUp.get(limit.toMillis(), TimeUnit.MILLISECONDS), dnsDomain);
    } catch (TimeoutException e) {
      throw new NoAnswerException("The name server does not answer");
    } catch (InterruptedException e) {
      Thread.currentThread().interrupt();
      throw new NoAnswerException("The question to the name server was interrupted");
    } catch (ExecutionException e) {
      if (e.getCause() instanceof NameNotFoundException) {
        return List.of();
      }
      throw new NoAnswerException(
          e.getCause() instanceof CommunicationException
              ? "The name server does not answer"
              : "The name server cannot say: " + TerminalText.harmless(reason(e.getCause())));
    }
  }

  private static String reason(Throwable cause) {
    return cause instanceof NamingException naming && naming.getExplanation() != null
        ? naming.getExplanation()
        : cause.toString();
  }

  private static List<?> records(String dnsDomain, String servers) throws NamingException {
    Hashtable<String, String> environment = new Hashtable<>();
    environment.put(Context.INITIAL_CONTEXT_FACTORY, "com.sun.jndi.dns.DnsContextFactory");
    environment.put("com.sun.jndi.dns.timeout.initial", FIRST_WAIT_MILLISECONDS);
    environment.put("com.sun.jndi.dns.timeout.retries", ATTEMPTS);
    if (!servers.isEmpty()) {
      environment.put(Context.PROVIDER_URL, servers);
    }
    DirContext dns = new InitialDirContext(environment);
    try {
      String service = "_ldap._tcp.dc._msdcs." + dnsDomain;
      Attribute found = dns.getAttributes(service, new String[] {"SRV"}).get("SRV");
      return found == null ? List.of() : Collections.list(found.getAll());
    } finally {
      dns.close();
    }
  }

  /**
   * The hosts of service records within the domain. Answers of the DNS can be forged, and a host
   * elsewhere could prove to be itself without being a controller of the domain.
   */
  static List<String> hosts(List<?> records, String dnsDomain) {
    String domain = "." + dnsDomain.toLowerCase(Locale.ROOT);
    // A record is "priority weight port host."; the lowest priority comes first, then the highest
    // weight.
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
        .filter(host -> host.toLowerCase(Locale.ROOT).endsWith(domain))
        .distinct()
        .toList();
  }
}
