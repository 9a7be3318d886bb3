package com.velmora.tesk.zorvan.bench;

import java.security.PrivilegedActionException;
import java.security.PrivilegedExceptionAction;
import java.util.Hashtable;
import javax.naming.Context;
import javax.naming.NamingEnumeration;
import javax.naming.NamingException;
import javax.naming.PartialResultException;
import javax.naming.directory.Attribute;
import javax.naming.directory.SearchControls;
import javax.naming.directory.SearchResult;
import javax.naming.ldap.Control;
import javax.naming.ldap.InitialLdapContext;
import javax.naming.ldap.LdapContext;
import javax.naming.ldap.LdapName;
import javax.naming.ldap.PagedResultsControl;
import javax.naming.ldap.PagedResultsResponseControl;
import javax.security.auth.Subject;

/** The LDAP provider of the JDK. */
final class JndiContender implements Contender {
  private final Server server;
  private final boolean sealed;
  private final boolean remembersLinks;

  JndiContender(Server server, boolean sealed, boolean remembersLinks) {
    this.server = server;
    this.sealed = sealed;
    this.remembersLinks = remembersLinks;
  }

  @Override
  public void search(Search search, Tally tally) throws Exception {
    LdapContext context = connect();
    try {
      readAll(context, search, tally);
    } finally {
      context.close();
    }
  }

  private LdapContext connect() throws Exception {
    Hashtable<String, Object> environment = new Hashtable<>();
    environment.put(Context.INITIAL_CONTEXT_FACTORY, "com.sun.jndi.ldap.LdapCtxFactory");
    environment.put(Context.PROVIDER_URL, "ldap://" + server.host() + ":" + Server.PORT);
    environment.put("java.naming.ldap.attributes.binary", "objectGUID");
    if (!sealed) {
      environment.put(Context.SECURITY_AUTHENTICATION, "simple");
      environment.put(Context.SECURITY_PRINCIPAL, server.simpleBindDn());
      environment.put(Context.SECURITY_CREDENTIALS, server.password());
      return new InitialLdapContext(environment, null);
    }
    environment.put(Context.SECURITY_AUTHENTICATION, "GSSAPI");
    environment.put("javax.security.sasl.qop", "auth-conf");
    try {
      return Subject.doAs(
          KerberosLogin.of(server),
          (PrivilegedExceptionAction<LdapContext>) () -> new InitialLdapContext(environment, null));
    } catch (PrivilegedActionException exception) {
      throw exception.getException();
    }
  }

  private void readAll(LdapContext context, Search search, Tally tally) throws Exception {
    SearchControls controls = new SearchControls();
    controls.setSearchScope(SearchControls.SUBTREE_SCOPE);
    controls.setReturningAttributes(search.attributes().toArray(String[]::new));
    LinkReader links = new LinkReader(name -> readCommonName(context, name), remembersLinks);
    byte[] cookie = null;
    do {
      context.setRequestControls(
          new Control[] {new PagedResultsControl(Search.PAGE_SIZE, cookie, Control.CRITICAL)});
      NamingEnumeration<SearchResult> page =
          context.search(search.baseDn(), search.filter(), controls);
      context.setRequestControls(null);
      while (hasMore(page)) {
        addRow(page.next(), search, links, tally);
      }
      cookie = cookieOf(context.getResponseControls());
    } while (cookie != null && cookie.length > 0);
  }

  /**
   * A domain ends a page with references to its other naming contexts, which nobody follows here.
   */
  private static boolean hasMore(NamingEnumeration<SearchResult> page) throws NamingException {
    try {
      return page.hasMore();
    } catch (PartialResultException references) {
      return false;
    }
  }

  private static byte[] cookieOf(Control[] controls) {
    if (controls != null) {
      for (Control control : controls) {
        if (control instanceof PagedResultsResponseControl page) {
          return page.getCookie();
        }
      }
    }
    throw new IllegalStateException("a page came without a control");
  }

  private static void addRow(SearchResult row, Search search, LinkReader links, Tally tally)
      throws Exception {
    tally.row();
    for (String name : search.attributes()) {
      Attribute attribute = row.getAttributes().get(name);
      if (attribute == null) {
        continue;
      }
      boolean link = search.links().contains(name);
      for (int i = 0; i < attribute.size(); i++) {
        if (link) {
          tally.link(links.commonName((String) attribute.get(i)));
        } else {
          tally.value(attribute.get(i));
        }
      }
    }
  }

  private static String readCommonName(LdapContext context, String distinguishedName)
      throws NamingException {
    String[] names = Search.LINK_ATTRIBUTES.toArray(String[]::new);
    return (String) context.getAttributes(new LdapName(distinguishedName), names).get("cn").get();
  }
}
