// Authentication against the real controller: who gets in how, and what those who do not are told.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/posix/handles.h"
#include "platform/posix/kerberos_credentials.h"
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

// The domain's controller as it looks from behind a wall that lets LDAP through and nothing else.
class LdapOnly {
 public:
  LdapOnly() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, kAddress, &address.sin_addr);
    EXPECT_EQ(bind(listener_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    listen(listener_.get(), 1);
    socklen_t size = sizeof address;
    getsockname(listener_.get(), reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    accepting_ = std::thread([this] {
      while (true) {
        const FileDescriptor client(accept(listener_.get(), nullptr, nullptr));
        if (!client) return;
        Forward(client.get());
      }
    });
  }
  ~LdapOnly() {
    shutdown(listener_.get(), SHUT_RDWR);
    accepting_.join();
  }
  Endpoint endpoint() const { return {kAddress, port_}; }

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

  FileDescriptor listener_;
  std::uint16_t port_ = 0;
  std::thread accepting_;
};

TEST(Connection, NtlmSpeaksWhereKerberosCannot) {
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
  EXPECT_EQ(Stored("reader", "badPwdCount"), "1");
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
  ExtendedError error;
  ASSERT_EQ(tickets.Acquire({.name = LogonName::Parse(ToUtf8(reader.user)),
                             .password = password,
                             .realm = domain["realm"],
                             .services = {"ldap/" + domain["host"]},
                             .centre = PeerAddress(centre.get(), 88),
                             .timeLimit = kConnectTimeout},
                            error),
            KerberosOutcome::kReady)
      << ToUtf8(error.text);
  setenv("KRB5CCNAME", tickets.cacheName().c_str(), 1);
  const Attempt attempt = TryOpen(Controller(), {});
  unsetenv("KRB5CCNAME");
  ASSERT_EQ(attempt.result, kOk) << ToUtf8(attempt.error.text);
  EXPECT_EQ(attempt.connection->authentication(), Authentication::kProcessIdentity);
}

TEST(Connection, DisabledAccountIsToldApartFromAWrongPassword) {
  const TestDomain& domain = TestDomain::Get();
  const std::u16string user = domain.Wide("disabledUserName");
  const std::u16string password = domain.Secret("disabledPasswordFile");
  const Attempt attempt = TryOpen(Controller(), {user, password});
  EXPECT_EQ(attempt.result, kLogonFailure);
  EXPECT_EQ(attempt.error.code, 1331U) << ToUtf8(attempt.error.text);
}

TEST(Connection, RefusedAccountHasTheSameReasonWhicheverWayItComes) {
  struct Account {
    const char16_t* name;
    Win32Code code;
  };
  constexpr std::array kAccounts{
      Account{u"n.refused.expired", 1793}, Account{u"n.refused.mustchange", 1907},
      Account{u"n.refused.locked", 1909}, Account{u"n.refused.pwexpired", 1330},
      Account{u"n.refused.hours", 1328}};
  ASSERT_EQ(
      ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, TestDomain::Get()["caFile"].c_str()),
      LDAP_SUCCESS);
  const std::u16string password = Reader().password;
  const LdapOnly wall;
  for (const Account& account : kAccounts) {
    for (const Endpoint& endpoint : {Controller(), wall.endpoint(), Controller(636)}) {
      const Attempt attempt = TryOpen(endpoint, {account.name, password});
      EXPECT_EQ(attempt.result, kLogonFailure) << ToUtf8(account.name) << " " << endpoint.port;
      EXPECT_EQ(attempt.error.code, account.code)
          << ToUtf8(account.name) << " " << endpoint.port << ": " << ToUtf8(attempt.error.text);
    }
  }
  ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, nullptr);
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
