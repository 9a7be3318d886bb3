package com.velmora.tesk.zorvan.common.server.domain;

import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.BASE;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.Set;
import org.junit.jupiter.api.Test;

/** The objects that were deleted when the domain was seeded, told apart by what they were. */
class DeletedObjectsTest {
  private static final String LONG_AGO = "20000101000000.0Z";
  private static final String FAR_AHEAD = "21000101000000.0Z";
  private static final Set<String> USERS = Set.of("gone.one", "gone.two", "gone.three");

  private static Set<String> accounts(String report, String since, String base) {
    Call call =
        new Call()
            .report(
                new PlainReport(report, base, "", List.of(since)),
                TestDomain.settings(),
                List.of("sAMAccountName", "isDeleted"));
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    call.rows.forEach(row -> assertEquals(List.of("1"), row.get("isDeleted")));
    Set<String> names = call.sortedColumn("sAMAccountName");
    assertEquals(names.size(), call.rows.size(), "every object once");
    return names;
  }

  @Test
  void usersAndComputersAreToldApartAndBoundByTheTimeOnly() {
    assertEquals(USERS, accounts("GetRecentlyDeletedUsers", LONG_AGO, BASE));
    assertEquals(Set.of("GONE-PC$"), accounts("GetRecentlyDeletedComputers", LONG_AGO, BASE));
    assertEquals(Set.of(), accounts("GetRecentlyDeletedUsers", FAR_AHEAD, BASE));
    assertEquals(USERS, accounts("GetRecentlyDeletedUsers", LONG_AGO, "OU=None," + BASE));
  }
}
