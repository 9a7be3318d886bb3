// Authentication against the real controller: who gets in how, and what those who do not are told.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <thread>

#include "attempt.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/kerberos_failure.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/tcp_connector.h"
#include "platform/posix/unicode.h"
#include "support/loopback.h"

namespace zorvan::platform::posix {
namespace {

using live::Attempt;
using live::Identity;
using live::Reader;
using live::TestDomain;
using live::WrongPasswords;

Attempt TryOpen(const Endpoint& endpoint, const Credentials& credentials,
                std::uint32_t flags = kSecureAuthentication, CallConditions conditions = {}) {
  conditions.terms.trustedAuthorities = TestDomain::Get().Wide("caFile");
  Attempt attempt;
  attempt.result = LdapConnection::Open(endpoint, credentials, flags, attempt.connection,
                                        attempt.error, conditions);
  return attempt;
}

Endpoint Controller(std::uint16_t port = 389) { return {TestDomain::Get()["host"], port}; }

const std::vector<std::string> kNone = {"0"};
const std::vector<std::string> kOne = {"1"};

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

// The domain's controller as it looks from behind a wall that lets LDAP through and nothing else.
class LdapOnly {
 public:
  LdapOnly() {
    accepting_ = std::thread([this] {
      while (const FileDescriptor client = listener_.Accept()) Forward(client.get());
    });
  }
  ~LdapOnly() {
    listener_.Shutdown();
    accepting_.join();
  }
  Endpoint endpoint() const { return {kAddress, listener_.port()}; }

 private:
  static constexpr const char* kAddress = "127.0.0.31";

  static void Forward(int client) {
    std::string reason;
    const FileDescriptor server =
        ConnectTcp(TestDomain::Get()["address"], 389,
                   std::chrono::steady_clock::now() + std::chrono::seconds(5), reason);
    fcntl(server.get(), F_SETFL, 0);  // blocking, for the copying
    std::thread answers([&] { Copy(server.get(), client); });
    Copy(client, server.get());
    answers.join();
  }
  static void Copy(int from, int to) {
    char bytes[16384];
    for (ssize_t count = 0; (count = recv(from, bytes, sizeof bytes, 0)) > 0;) {
      send(to, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL);
    }
    shutdown(to, SHUT_WR);
  }

  support::Listener listener_{1, kAddress};
  std::thread accepting_;
};

TEST(Connection, NtlmSpeaksWhereAnAddressRulesKerberosOut) {
  const TestDomain& domain = TestDomain::Get();
  const Identity reader = Reader();
  const LdapOnly wall;
  for (const std::u16string& name : {reader.user, reader.user + u"@" + domain.Wide("dnsDomain"),
                                     domain.Wide("netbiosDomain") + u"\\" + reader.user}) {
    const Attempt attempt = TryOpen(wall.endpoint(), {name, reader.password});
    ASSERT_EQ(attempt.result, kOk) << ToUtf8(name) << ": " << ToUtf8(attempt.error.text);
    EXPECT_EQ(attempt.connection->authentication(), Authentication::kNtlm) << ToUtf8(name);
    // A read that only a bound, and here a sealed, connection answers.
    LDAP* handle = attempt.connection->handle();
    int messageId = 0;
    ASSERT_EQ(ldap_search_ext(handle, domain["baseDn"].c_str(), LDAP_SCOPE_BASE, "(objectClass=*)",
                              nullptr, 0, nullptr, nullptr, nullptr, 0, &messageId),
              LDAP_SUCCESS);
    LdapMessage answer;
    ASSERT_EQ(attempt.connection->AwaitMessage(messageId, LDAP_MSG_ALL, *answer.Put()), kOk);
    EXPECT_EQ(ldap_count_entries(handle, answer.get()), 1);
  }
  const Attempt wrong = TryOpen(wall.endpoint(), {reader.user, u"not the password"});
  EXPECT_EQ(wrong.error.code, 1326U);
  EXPECT_EQ(WrongPasswords(), kOne);
  ASSERT_EQ(TryOpen(Controller(), reader.credentials()).result, kOk);
}

TEST(Connection, IdentityOfTheProcessIsItsTicketCache) {
  const TestDomain& domain = TestDomain::Get();
  const Identity reader = Reader();
  const auto soon = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  std::string reason;
  const FileDescriptor centre = ConnectTcp(domain["host"], 88, soon, reason);
  ASSERT_TRUE(centre) << reason;
  const SecretText password(reader.password);
  KerberosCredentials tickets;
  HResult result = kOk;
  ExtendedError error;
  ASSERT_EQ(tickets.Acquire({.name = LogonName::Parse(ToUtf8(reader.user)),
                             .password = password,
                             .realm = domain["realm"],
                             .services = {"ldap/" + domain["host"]},
                             .kdc = PeerAddress(centre.get(), 88),
                             .patience = soon},
                            result, error),
            KerberosOutcome::kReady)
      << ToUtf8(error.text);
  setenv("KRB5CCNAME", tickets.cacheName().c_str(), 1);
  const Attempt attempt = TryOpen(Controller(), {});
  unsetenv("KRB5CCNAME");
  ASSERT_EQ(attempt.result, kOk) << ToUtf8(attempt.error.text);
  EXPECT_EQ(attempt.connection->authentication(), Authentication::kProcessIdentity);
}

TEST(Connection, RefusedAccountHasTheSameReasonWhicheverWayItComes) {
  const TestDomain& domain = TestDomain::Get();
  const std::u16string password = Reader().password;
  const std::tuple<std::u16string, std::u16string, Win32Code> accounts[] = {
      {domain.Wide("disabledUserName"), domain.Secret("disabledPasswordFile"), 1331},
      {u"n.refused.expired", password, 1793},
      {u"n.refused.mustchange", password, 1907},
      {u"n.refused.locked", password, 1909},
      {u"n.refused.pwexpired", password, 1330},
      {u"n.refused.hours", password, 1328}};
  const LdapOnly wall;
  for (const auto& [name, secret, code] : accounts) {
    for (const Endpoint& endpoint : {Controller(), wall.endpoint(), Controller(636)}) {
      const Attempt attempt = TryOpen(endpoint, {name, secret});
      EXPECT_EQ(attempt.result, kLogonFailure) << ToUtf8(name) << " " << endpoint.port;
      EXPECT_EQ(attempt.error.code, code)
          << ToUtf8(name) << " " << endpoint.port << ": " << ToUtf8(attempt.error.text);
    }
  }
}

TEST(Connection, ProcessWithoutATicketIsToldSo) {
  setenv("KRB5CCNAME", "MEMORY:of-nobody", 1);
  const Attempt attempt = TryOpen(Controller(), {});
  unsetenv("KRB5CCNAME");
  EXPECT_EQ(attempt.result, kNoLogonSession) << "no password was given that could be wrong";
  EXPECT_FALSE(attempt.error.text.empty());
}

}  // namespace
}  // namespace zorvan::platform::posix
