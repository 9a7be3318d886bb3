package com.velmora.tesk.zorvan.common.server.domain;

import static com.velmora.tesk.zorvan.common.server.domain.TestDomain.NOTABLE;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.List;
import java.util.Properties;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Listeners that do not take everything, with a directory that has more to give. */
class ListenerTest {
  private static final class Enough extends Call {
    private final int limit;

    Enough(int limit) {
      this.limit = limit;
    }

    @Override
    public boolean isCompleted() {
      return rows.size() >= limit;
    }
  }

  @AfterEach
  void nextCallWorks() {
    Call call = new Call().search(NOTABLE, "(sAMAccountName=n.chief)", "cn");
    assertEquals(List.of("Chief"), call.onlyRow().get("cn"));
  }

  // 1000 is a whole page; the page behind it has been asked for by then.
  @ParameterizedTest
  @ValueSource(ints = {0, 1, 10, 1000, 1001})
  void callEndsWhenTheListenerHasEnough(int limit) {
    Call report = new Enough(limit).users(TestDomain.settings(), TestDomain.BASE, "cn");
    assertEquals(limit, report.rows.size(), "rows of a report");
    assertTrue(report.errors.isEmpty(), report.errors::toString);
    Call search = new Enough(limit).search(TestDomain.BASE, "(objectCategory=person)", "cn");
    assertEquals(Math.max(limit, 1), search.rows.size(), "rows of a search");
    assertTrue(search.errors.isEmpty(), search.errors::toString);
  }

  // What the library would call after it, -Xcheck:jni tells.
  @ParameterizedTest
  @CsvSource({"true, 1", "true, 7", "false, 0", "false, 7"})
  void exceptionOfTheListenerReachesTheCaller(boolean fromAddRow, int rowsBefore) {
    IllegalStateException mine = new IllegalStateException("enough");
    Call call =
        new Call() {
          @Override
          public void addRow(Properties row) {
            super.addRow(row);
            refuse(fromAddRow);
          }

          @Override
          public boolean isCompleted() {
            refuse(!fromAddRow);
            return false;
          }

          private void refuse(boolean here) {
            if (here && rows.size() == rowsBefore) {
              throw mine;
            }
          }
        };
    assertSame(
        mine,
        assertThrows(
            IllegalStateException.class,
            () -> call.users(TestDomain.settings(), TestDomain.BASE, "cn", "memberOf")));
    assertEquals(rowsBefore, call.rows.size());
    assertTrue(call.errors.isEmpty(), call.errors::toString);
  }

  @Test
  void listenerMayCallTheLibraryItself() {
    Call inner = new Call();
    Call outer =
        new Call() {
          @Override
          public void addRow(Properties row) {
            super.addRow(row);
            inner.search(
                NOTABLE,
                "(sAMAccountName=" + ((List<?>) row.get("sAMAccountName")).get(0) + ")",
                "cn");
          }
        };
    outer.search(NOTABLE, "(sAMAccountName=n.chain.*)", "sAMAccountName", "cn");
    assertEquals(4, outer.rows.size());
    assertEquals(Call.column(outer.rows, "cn"), Call.column(inner.rows, "cn"));
  }
}
