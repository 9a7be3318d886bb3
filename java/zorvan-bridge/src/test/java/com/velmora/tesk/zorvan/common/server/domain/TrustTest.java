package com.velmora.tesk.zorvan.common.server.domain;

import static org.junit.jupiter.api.Assertions.assertEquals;

import com.velmora.tesk.zorvan.common.server.DomainSettings;
import java.nio.file.Path;
import java.util.List;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.condition.DisabledOnOs;
import org.junit.jupiter.api.condition.OS;

/** Whom a call trusts for TLS, as its settings say. */
@DisabledOnOs(value = OS.WINDOWS, disabledReason = "Windows decides itself whom to trust")
class TrustTest {
  private static DomainSettings settings() {
    return DomainSettings.ofDomain(TestDomain.DNS_NAME)
        .controllers(List.of(TestDomain.HOST + ":636"))
        .user(
            TestDomain.FLAT_NAME + "\\" + TestDomain.property("readerUserName"),
            TestDomain.password("readerPasswordFile").toCharArray());
  }

  private static Call chief(DomainSettings settings) {
    return new Call().users(settings.toProperties(), "CN=Chief," + TestDomain.NOTABLE, "cn");
  }

  @Test
  void authorityOfTheSettingsDecides() {
    Path authority = Path.of(TestDomain.property("caFile"));
    assertEquals(
        List.of("Chief"), chief(settings().trustedAuthorities(authority)).onlyRow().get("cn"));
    for (DomainSettings distrusting :
        List.of(settings(), settings().trustedAuthorities(authority.resolveSibling("missing")))) {
      Call refused = chief(distrusting);
      assertEquals(List.of(), refused.rows);
      assertEquals("8007203a", refused.errors.entries().get(0).code());
    }
  }
}
