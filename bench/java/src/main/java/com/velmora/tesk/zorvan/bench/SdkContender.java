package com.velmora.tesk.zorvan.bench;

import com.unboundid.asn1.ASN1OctetString;
import com.unboundid.ldap.sdk.Attribute;
import com.unboundid.ldap.sdk.BindRequest;
import com.unboundid.ldap.sdk.GSSAPIBindRequest;
import com.unboundid.ldap.sdk.GSSAPIBindRequestProperties;
import com.unboundid.ldap.sdk.LDAPConnection;
import com.unboundid.ldap.sdk.LDAPException;
import com.unboundid.ldap.sdk.SASLQualityOfProtection;
import com.unboundid.ldap.sdk.SearchRequest;
import com.unboundid.ldap.sdk.SearchResult;
import com.unboundid.ldap.sdk.SearchResultEntry;
import com.unboundid.ldap.sdk.SearchResultListener;
import com.unboundid.ldap.sdk.SearchResultReference;
import com.unboundid.ldap.sdk.SearchScope;
import com.unboundid.ldap.sdk.SimpleBindRequest;
import com.unboundid.ldap.sdk.controls.SimplePagedResultsControl;

/** The UnboundID LDAP SDK for Java. */
final class SdkContender implements Contender {
  private final Server server;
  private final boolean sealed;
  private final boolean remembersLinks;

  SdkContender(Server server, boolean sealed, boolean remembersLinks) {
    this.server = server;
    this.sealed = sealed;
    this.remembersLinks = remembersLinks;
  }

  @Override
  public void search(Search search, Tally tally) throws Exception {
    try (LDAPConnection connection = new LDAPConnection(server.host(), Server.PORT)) {
      connection.bind(bindRequest());
      readAll(connection, search, tally);
    }
  }

  private BindRequest bindRequest() throws LDAPException {
    if (!sealed) {
      return new SimpleBindRequest(server.simpleBindDn(), server.password());
    }
    GSSAPIBindRequestProperties properties =
        new GSSAPIBindRequestProperties(server.principal(), server.password());
    properties.setUseTicketCache(false);
    properties.setAllowedQoP(SASLQualityOfProtection.AUTH_CONF);
    return new GSSAPIBindRequest(properties);
  }

  private void readAll(LDAPConnection connection, Search search, Tally tally) throws LDAPException {
    LinkReader links = new LinkReader(name -> readCommonName(connection, name), remembersLinks);
    // Rows that look names up are collected page by page: the listener runs on the thread that
    // reads the connection, which must not wait for another answer.
    boolean streams = search.links().isEmpty();
    SearchRequest request =
        new SearchRequest(
            streams ? new Counter(search, links, tally) : null,
            search.baseDn(),
            SearchScope.SUB,
            search.filter(),
            search.attributes().toArray(String[]::new));
    ASN1OctetString cookie = null;
    do {
      request.setControls(new SimplePagedResultsControl(Search.PAGE_SIZE, cookie, true));
      SearchResult page = connection.search(request);
      if (!streams) {
        page.getSearchEntries().forEach(entry -> addRow(entry, search, links, tally));
      }
      cookie = SimplePagedResultsControl.get(page).getCookie();
    } while (cookie != null && cookie.getValueLength() > 0);
  }

  private static void addRow(
      SearchResultEntry entry, Search search, LinkReader links, Tally tally) {
    tally.row();
    for (String name : search.attributes()) {
      Attribute attribute = entry.getAttribute(name);
      if (attribute == null) {
        continue;
      }
      if (search.links().contains(name)) {
        for (String value : attribute.getValues()) {
          tally.link(commonName(links, value));
        }
      } else if (name.equals("objectGUID")) {
        tally.value(attribute.getValueByteArray());
      } else {
        for (String value : attribute.getValues()) {
          tally.value(value);
        }
      }
    }
  }

  private static String commonName(LinkReader links, String distinguishedName) {
    try {
      return links.commonName(distinguishedName);
    } catch (Exception exception) {
      throw new IllegalStateException(exception);
    }
  }

  private static String readCommonName(LDAPConnection connection, String distinguishedName)
      throws LDAPException {
    return connection
        .getEntry(distinguishedName, Search.LINK_ATTRIBUTES.toArray(String[]::new))
        .getAttributeValue("cn");
  }

  private record Counter(Search search, LinkReader links, Tally tally)
      implements SearchResultListener {
    private static final long serialVersionUID = 1;

    @Override
    public void searchEntryReturned(SearchResultEntry entry) {
      addRow(entry, search, links, tally);
    }

    @Override
    public void searchReferenceReturned(SearchResultReference reference) {
      // A domain points to its other naming contexts; nobody follows them here.
    }
  }
}
