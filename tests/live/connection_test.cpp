// Authentication against the real controller: who gets in how, and what those who do not are told.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/posix/ldap_connection.h"
#include "platform/posix/tcp_connector.h"
#include "platform/posix/unicode.h"
#include "test_domain.h"

namespace zorvan::platform::posix {
namespace {

using live::Identity;
using live::Reader;
using live::TestDomain;

struct Attempt {
  HResult result = kUnexpected;
  ExtendedError error;
  std::unique_ptr<LdapConnection> connection;
};

Attempt TryOpen(const Endpoint& endpoint, const Credentials& credentials,
                std::uint32_t flags = kSecureAuthentication) {
  Attempt attempt;
  attempt.result =
      LdapConnection::Open(endpoint, credentials, flags, attempt.connection, attempt.error);
  return attempt;
}

Endpoint Controller(std::uint16_t port = 389) { return {TestDomain::Get()["host"], port}; }

// What the server's own database says.
std::string Stored(const std::string& account, const std::string& attribute) {
  const std::string command = "ldbsearch -H '" + TestDomain::Get()["samLdb"] +
                              "' '(sAMAccountName=" + account + ")' " + attribute + " 2>/dev/null";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  char line[512];
  while (output && std::fgets(line, sizeof line, output.get()) != nullptr) {
    const std::string text(line);
    if (text.starts_with(attribute + ": ")) {
      return text.substr(attribute.size() + 2, text.size() - attribute.size() - 3);
    }
  }
  return {};
}

TEST(Connection, EveryFormOfAUserNameLogsOnByKerberos) {
  const TestDomain& domain = TestDomain::Get();
  const Identity reader = Reader();
  const std::u16string at = u"@" + domain.Wide("dnsDomain");
  const std::u16string flat = domain.Wide("netbiosDomain") + u"\\";
  for (const std::u16string& name : {reader.user, reader.user + at, flat + reader.user,
                                     domain.Wide("dnsDomain") + u"\\" + reader.user}) {
    const Attempt attempt = TryOpen(Controller(), {name, reader.password});
    EXPECT_EQ(attempt.result, kOk) << ToUtf8(name) << ": " << ToUtf8(attempt.error.text);
    if (attempt.connection) {
      EXPECT_EQ(attempt.connection->authentication(), Authentication::kKerberos) << ToUtf8(name);
      EXPECT_EQ(attempt.connection->names().realm, domain["realm"]);
    }
  }
}

TEST(Connection, AddressInsteadOfANameLogsOnByKerberosToo) {
  const Identity reader = Reader();
  const Attempt attempt = TryOpen({TestDomain::Get()["address"], 389}, reader.credentials());
  ASSERT_EQ(attempt.result, kOk) << ToUtf8(attempt.error.text);
  EXPECT_EQ(attempt.connection->authentication(), Authentication::kKerberos);
}

TEST(Connection, WrongPasswordCostsExactlyOneTry) {
  const Identity reader = Reader();
  ASSERT_EQ(TryOpen(Controller(), reader.credentials()).result, kOk);  // starts the count anew
  ASSERT_EQ(Stored("reader", "badPwdCount"), "0");
  const Attempt attempt = TryOpen(Controller(), {reader.user, u"not the password"});
  EXPECT_EQ(attempt.result, kLogonFailure);
  EXPECT_EQ(attempt.error.code, 1326U);
  EXPECT_EQ(Stored("reader", "badPwdCount"), "1");
  ASSERT_EQ(TryOpen(Controller(), reader.credentials()).result, kOk);
}

TEST(Connection, DisabledAccountIsToldApartFromAWrongPassword) {
  const TestDomain& domain = TestDomain::Get();
  const std::u16string user = domain.Wide("disabledUserName");
  const std::u16string password = domain.Secret("disabledPasswordFile");
  const Attempt attempt = TryOpen(Controller(), {user, password});
  EXPECT_EQ(attempt.result, kLogonFailure);
  EXPECT_EQ(attempt.error.code, 1331U) << ToUtf8(attempt.error.text);
}

TEST(Connection, EmptyPasswordIsRefusedWithoutATry) {
  ASSERT_EQ(TryOpen(Controller(), Reader().credentials()).result, kOk);
  const std::u16string user = Reader().user;
  for (const auto& password :
       {std::optional<std::u16string_view>(u""), std::optional<std::u16string_view>()}) {
    EXPECT_EQ(TryOpen(Controller(), {user, password}).result, kLogonFailure);
  }
  EXPECT_EQ(Stored("reader", "badPwdCount"), "0");
}

TEST(Connection, ProcessWithoutATicketIsToldSo) {
  setenv("KRB5CCNAME", "MEMORY:of-nobody", 1);
  const Attempt attempt = TryOpen(Controller(), {});
  unsetenv("KRB5CCNAME");
  EXPECT_TRUE(Failed(attempt.result));
  EXPECT_FALSE(attempt.error.text.empty());
}

TEST(Connection, UnknownHostAndClosedPortAreServersThatAreDown) {
  const Identity reader = Reader();
  for (const Endpoint& endpoint :
       {Endpoint{"no-such-host.invalid", 389}, Endpoint{"127.0.0.21", 389}, Controller(9)}) {
    const Attempt attempt = TryOpen(endpoint, reader.credentials());
    EXPECT_EQ(attempt.result, kServerDown) << endpoint.host;
    EXPECT_FALSE(attempt.error.text.empty()) << endpoint.host;
  }
}

// ---- TLS

class TlsConnection : public testing::Test {
 protected:
  void Trust(const std::string& file) {
    ASSERT_EQ(ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, file.c_str()), LDAP_SUCCESS);
  }
  void TearDown() override { ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, nullptr); }
};

TEST_F(TlsConnection, VerifiedCertificateLetsBothKindsOfBindThrough) {
  Trust(TestDomain::Get()["caFile"]);
  const Identity reader = Reader();
  const Attempt secure = TryOpen(Controller(636), reader.credentials());
  EXPECT_EQ(secure.result, kOk) << ToUtf8(secure.error.text);
  const std::u16string principal = reader.user + u"@" + TestDomain::Get().Wide("dnsDomain");
  const Attempt simple = TryOpen(Controller(636), {principal, reader.password}, kUseEncryption);
  EXPECT_EQ(simple.result, kOk) << ToUtf8(simple.error.text);
}

TEST_F(TlsConnection, UntrustedCertificateEndsBeforeAPasswordIsSent) {
  ASSERT_EQ(TryOpen(Controller(), Reader().credentials()).result, kOk);
  Trust("/etc/ssl/certs/ca-certificates.crt");
  const Attempt attempt = TryOpen(Controller(636), {Reader().user, u"not the password"});
  EXPECT_EQ(attempt.result, kServerDown);
  EXPECT_NE(ToUtf8(attempt.error.text).find("TLS"), std::string::npos);
  EXPECT_EQ(Stored("reader", "badPwdCount"), "0");
}

TEST_F(TlsConnection, CertificateOfAnotherNameIsRefused) {
  Trust(TestDomain::Get()["caFile"]);
  // The name resolves to the controller, whose certificate does not hold it.
  const Attempt attempt = TryOpen({TestDomain::Get()["aliasHost"], 636}, Reader().credentials());
  EXPECT_EQ(attempt.result, kServerDown);
  EXPECT_NE(ToUtf8(attempt.error.text).find("TLS"), std::string::npos)
      << ToUtf8(attempt.error.text);
}

}  // namespace
}  // namespace zorvan::platform::posix
