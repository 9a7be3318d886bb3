// Connections made in many threads at once, in every way of authentication.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/handles.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/unicode.h"
#include "test_domain.h"

namespace zorvan::platform::posix {
namespace {

using live::Identity;
using live::TestDomain;

constexpr int kThreads = 16;
constexpr int kRounds = 25;

struct Way {
  Identity identity;
  std::uint16_t port;
  HResult expected;
  Authentication authentication;
};

// Opens a connection and reads the domain's object through it. Empty when all went as expected.
std::string Try(const Way& way) {
  std::unique_ptr<LdapConnection> connection;
  ExtendedError error;
  const HResult result =
      LdapConnection::Open({TestDomain::Get()["host"], way.port}, way.identity.credentials(),
                           kSecureAuthentication, connection, error);
  if (result != way.expected) return ToUtf8(way.identity.user + u": " + error.text);
  if (Failed(result)) return {};
  if (connection->authentication() != way.authentication)
    return ToUtf8(way.identity.user + u": way");
  int messageId = 0;
  ldap_search_ext(connection->handle(), TestDomain::Get()["baseDn"].c_str(), LDAP_SCOPE_BASE,
                  "(objectClass=*)", nullptr, 0, nullptr, nullptr, nullptr, 0, &messageId);
  LdapMessage answer;
  const bool answered =
      Succeeded(connection->AwaitMessage(messageId, LDAP_MSG_ALL, *answer.Put())) &&
      ldap_count_entries(connection->handle(), answer.get()) == 1;
  return answered ? std::string() : ToUtf8(way.identity.user + u": read");
}

TEST(ConcurrentConnections, EachIsAuthenticatedAsItsOwnUser) {
  const TestDomain& domain = TestDomain::Get();
  ASSERT_EQ(ldap_set_option(nullptr, LDAP_OPT_X_TLS_CACERTFILE, domain["caFile"].c_str()),
            LDAP_SUCCESS);
  const Identity reader = live::Reader();
  const std::array ways{
      Way{reader, 389, kOk, Authentication::kKerberos},
      Way{{u"ELSEWHERE\\" + reader.user, reader.password}, 389, kOk, Authentication::kNtlm},
      Way{reader, 636, kOk, Authentication::kSimple},
      Way{{u"no.such.user", u"password"}, 389, kLogonFailure, {}}};
  std::array<std::string, kThreads> failures;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t round = 0; round < kRounds && failures[thread].empty(); ++round) {
        failures[thread] = Try(ways[(thread + round) % ways.size()]);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& failure : failures) EXPECT_EQ(failure, "");
}

}  // namespace
}  // namespace zorvan::platform::posix
