package com.velmora.tesk.zorvan.common.server.domain;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import org.junit.jupiter.api.Test;

/** The objects that were deleted when the domain was seeded, told apart by what they were. */
class DeletedObjectsTest {
  private static final String LONG_AGO = "20000101000000.0Z";
  private static final String FAR_AHEAD = "21000101000000.0Z";

  private final ADHandler handler = NativeLibraryLoader.handler();

  private static Set<String> accountNames(Call call) {
    Set<String> names = new TreeSet<>();
    call.rows.forEach(row -> names.add(((List<?>) row.get("sAMAccountName")).get(0).toString()));
    assertTrue(call.errors.isEmpty(), call.errors::toString);
    assertEquals(names.size(), call.rows.size(), "every object once");
    return names;
  }

  private Call users(String since, String base) {
    Call call = new Call();
    ArrayList<String> columns = new ArrayList<>(List.of("sAMAccountName", "isDeleted"));
    handler.GetRecentlyDeletedUsers(TestDomain.settings(), base, columns, call, since, call.errors);
    return call;
  }

  @Test
  void usersAndComputersAreToldApart() {
    Call users = users(LONG_AGO, TestDomain.BASE);
    assertEquals(Set.of("gone.one", "gone.two", "gone.three"), accountNames(users));
    users.rows.forEach(row -> assertEquals(List.of("1"), row.get("isDeleted")));

    Call computers = new Call();
    handler.GetRecentlyDeletedComputers(
        TestDomain.settings(),
        TestDomain.BASE,
        new ArrayList<>(List.of("sAMAccountName")),
        computers,
        LONG_AGO,
        computers.errors);
    assertEquals(Set.of("GONE-PC$"), accountNames(computers));
  }

  @Test
  void timeBoundsTheReportAndTheBaseDoesNot() {
    assertEquals(Set.of(), accountNames(users(FAR_AHEAD, TestDomain.BASE)));
    assertEquals(3, users(LONG_AGO, "OU=None," + TestDomain.BASE).rows.size());
  }
}
