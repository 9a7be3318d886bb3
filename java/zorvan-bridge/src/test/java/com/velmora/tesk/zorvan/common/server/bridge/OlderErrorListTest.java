package com.velmora.tesk.zorvan.common.server.bridge;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import org.junit.jupiter.api.Test;

/** A Java side whose error list takes no notices. */
@InBridgeLoader(renaming = "addNotice")
class OlderErrorListTest {
  @Test
  void noticesAreLinesOnly() {
    CannedDomain domain = new CannedDomain();
    domain.search("notices", "cn");
    assertEquals(3, domain.rows.size(), "rows");
    assertEquals(List.of(), domain.errors.notices());
    assertTrue(domain.errors.isEmpty(), domain.errors::toString);
    assertTrue(domain.logged("CN=Ann was asked for at dc2"));
  }
}
