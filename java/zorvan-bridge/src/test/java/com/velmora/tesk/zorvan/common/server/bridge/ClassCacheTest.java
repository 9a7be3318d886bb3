package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.JniReferences;
import org.junit.jupiter.api.Test;

/** Filling and emptying the class cache, in and out of turn. */
@InBridgeLoader
class ClassCacheTest {
  private final CannedDomain domain = new CannedDomain();

  @Test
  void callWithoutACacheDoesNothing() {
    ADHandler handler = domain.handler();
    handler.CleanupClassIDs();
    handler.CleanupClassIDs();
    assertNull(handler.GetUsers(domain.settings, "", names("cn"), domain.listener, domain.errors));
    assertNull(handler.GetUsers(null, null, null, null, null));
    assertEquals(0, domain.log.size() + domain.rows.size(), "log lines and rows");
    handler.InitializeClassIDs();
    handler.GetUsers(domain.settings, "", names("cn"), domain.listener, domain.errors);
    assertEquals(3, domain.rows.size(), "rows after a new start");
  }

  @Test
  void callEndsWithTheCacheThatItBeganWith() {
    ADHandler handler = domain.handler();
    domain.beforeRow =
        () -> {
          handler.CleanupClassIDs();
          if (domain.rows.size() == 1) {
            handler.InitializeClassIDs();
          }
        };
    domain.search("rows=3", "cn", "managedBy");
    assertEquals(3, domain.rows.size(), "rows");
    domain.search("rows=3", "cn");
    assertEquals(3, domain.rows.size(), "rows with an empty cache besides");
    handler.InitializeClassIDs();
  }

  @Test
  void fillingAgainLetsTheFirstReferencesGo() throws Exception {
    ADHandler handler = domain.handler();
    handler.CleanupClassIDs();
    int empty = JniReferences.global();
    handler.InitializeClassIDs();
    int filled = JniReferences.global();
    assertTrue(filled - empty >= 11, "references of a filled cache: " + (filled - empty));
    for (int i = 0; i < 50; i++) {
      handler.InitializeClassIDs();
    }
    // The virtual machine's own references come and go by a few.
    assertTrue(JniReferences.global() - filled < 50, "references after filling again");
    handler.CleanupClassIDs();
    assertTrue(JniReferences.global() - empty < 8, "references after emptying");
    handler.InitializeClassIDs();
  }
}
