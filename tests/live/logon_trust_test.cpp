// Whom a log-on takes for the server, whoever answers: with relays at addresses of their own
// between the client and the real controller.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/posix/kerberos_failure.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/unicode.h"
#include "relay.h"
#include "test_domain.h"

namespace zorvan::platform::posix {
namespace {

using live::Reader;
using live::Relay;
using live::TestDomain;
using std::chrono::steady_clock;

constexpr char kRelayAddress[] = "127.0.0.21";  // one that the domain has a name for: down1
constexpr std::uint16_t kLdap = 389;
constexpr std::uint16_t kKerberos = 88;

// Keeps what it is told.
class Listening final : public CallObserver {
 public:
  bool IsCancelled() override { return false; }
  void Notify(const Notice& notice) override {
    notices.emplace_back(notice.kind, ToUtf8(notice.detail));
  }
  const std::string* Of(NoticeKind kind) const {
    for (const auto& [told, detail] : notices) {
      if (told == kind) return &detail;
    }
    return nullptr;
  }
  std::vector<std::pair<NoticeKind, std::string>> notices;
};

struct Attempt {
  HResult result = kUnexpected;
  ExtendedError error;
  std::unique_ptr<LdapConnection> connection;
  Listening told;
  steady_clock::duration time{};
};

struct Terms {
  bool domain = true;  // whether its name is given
  bool allowNtlm = false;
};

std::unique_ptr<Attempt> OpenAs(const std::string& host, const Credentials& credentials,
                                Terms terms = {}) {
  auto attempt = std::make_unique<Attempt>();
  CallConditions conditions;
  if (terms.domain) conditions.terms.domainName = TestDomain::Get().Wide("dnsDomain");
  conditions.terms.allowNtlm = terms.allowNtlm;
  conditions.observer = &attempt->told;
  const steady_clock::time_point start = steady_clock::now();
  attempt->result = LdapConnection::Open({host, kLdap}, credentials, kSecureAuthentication,
                                         attempt->connection, attempt->error, conditions);
  attempt->time = steady_clock::now() - start;
  return attempt;
}

std::unique_ptr<Attempt> OpenAs(const std::string& host, Terms terms = {}) {
  return OpenAs(host, Reader().credentials(), terms);
}

std::string RelayHost() { return "down1." + TestDomain::Get()["dnsDomain"]; }

TEST(LogonTrust, TicketIsForWhatTheCallerGave) {
  const TestDomain& domain = TestDomain::Get();
  const std::string host = domain["host"];
  const std::string dnsDomain = domain["dnsDomain"];
  const std::string at = "@" + domain["realm"];
  const std::string threePart = "ldap/" + host + "/" + dnsDomain + at;
  const std::tuple<std::string, std::string> cases[] = {
      {host, "ldap/" + host + at},
      {host.substr(0, host.find('.')), "ldap/" + host.substr(0, host.find('.')) + at},
      {domain["address"], threePart},
      {dnsDomain, threePart}};
  std::string key;
  for (const auto& [given, service] : cases) {
    const auto attempt = OpenAs(given);
    ASSERT_EQ(attempt->result, kOk) << given << ": " << ToUtf8(attempt->error.text);
    EXPECT_EQ(attempt->connection->authentication(), Authentication::kKerberos) << given;
    const std::string* line = attempt->told.Of(NoticeKind::kLoggedOn);
    ASSERT_NE(line, nullptr) << given;
    EXPECT_TRUE(line->ends_with(" " + service)) << *line;
    const std::string* warning = attempt->told.Of(NoticeKind::kServiceNameFromServer);
    EXPECT_EQ(warning != nullptr, given == domain["address"]) << given;
    EXPECT_EQ(warning == nullptr ? threePart : *warning, threePart);
    // One forest, proved by one realm.
    EXPECT_TRUE(attempt->connection->hasProvenForest());
    if (key.empty()) key = attempt->connection->forestKey();
    EXPECT_EQ(attempt->connection->forestKey(), key) << given;
  }
}

TEST(LogonTrust, NameThatTheRealmDoesNotKnowLeadsToNoOther) {
  // Both tell the name of the real controller, for which a ticket could be had.
  const Relay ldap(kRelayAddress, kLdap);
  const Relay kdc(kRelayAddress, kKerberos);
  for (const std::string& host : {TestDomain::Get()["aliasHost"], RelayHost()}) {
    const auto attempt = OpenAs(host);
    EXPECT_EQ(attempt->result, kTargetUnknown) << host;
    EXPECT_NE(ToUtf8(attempt->error.text).find("ldap/" + host), std::string::npos)
        << ToUtf8(attempt->error.text);
    EXPECT_FALSE(attempt->told.Of(NoticeKind::kNtlmUsed));
  }
  EXPECT_GT(kdc.connections(), 0);
}

TEST(LogonTrust, WhatTheServerSaidBeforeTheLogonIsNotKept) {
  const std::string genuine = "CN=Schema,CN=Configuration," + TestDomain::Get()["baseDn"];
  const Relay ldap(kRelayAddress, kLdap, {"CN=Schema,", "CN=Planted"});
  const Relay kdc(kRelayAddress, kKerberos);
  const auto attempt = OpenAs(kRelayAddress);
  ASSERT_EQ(attempt->result, kOk) << ToUtf8(attempt->error.text);
  EXPECT_GT(ldap.changes(), 0) << "the first reading was changed";
  EXPECT_EQ(attempt->connection->names().schemaNamingContext, genuine);
  EXPECT_EQ(attempt->connection->forestKey(),
            OpenAs(TestDomain::Get()["host"])->connection->forestKey());
}

TEST(LogonTrust, PlantedNameOfAServerIsNoControllerOfTheDomain) {
  const Relay ldap(kRelayAddress, kLdap, {"dc1.zorvan.test", "evl.zorvan.test"});
  const Relay kdc(kRelayAddress, kKerberos);
  const auto attempt = OpenAs(kRelayAddress);
  EXPECT_GT(ldap.changes(), 0);
  EXPECT_EQ(attempt->result, kTargetUnknown) << ToUtf8(attempt->error.text);
}

TEST(LogonTrust, NtlmTakesThePlaceOfKerberosByChoiceOnly) {
  const Relay ldap(kRelayAddress, kLdap);  // and nobody at port 88
  const auto refused = OpenAs(RelayHost());
  EXPECT_EQ(refused->result, kServerDown) << "so that another controller is tried";
  EXPECT_NE(ToUtf8(refused->error.text).find("NTLM is not allowed"), std::string::npos)
      << ToUtf8(refused->error.text);
  const auto allowed = OpenAs(RelayHost(), {.domain = true, .allowNtlm = true});
  ASSERT_EQ(allowed->result, kOk) << ToUtf8(allowed->error.text);
  EXPECT_EQ(allowed->connection->authentication(), Authentication::kNtlm);
  const std::string* why = allowed->told.Of(NoticeKind::kNtlmUsed);
  ASSERT_NE(why, nullptr);
  EXPECT_NE(why->find("key distribution centre"), std::string::npos) << *why;

  const auto address = OpenAs(TestDomain::Get()["address"], {.domain = false, .allowNtlm = false});
  ASSERT_EQ(address->result, kOk) << ToUtf8(address->error.text);
  EXPECT_EQ(address->connection->authentication(), Authentication::kNtlm);
  why = address->told.Of(NoticeKind::kNtlmUsed);
  ASSERT_NE(why, nullptr);
  EXPECT_NE(why->find("address"), std::string::npos) << *why;
  // Whoever answers NTLM has proved no forest.
  EXPECT_FALSE(address->connection->hasProvenForest());
  EXPECT_NE(address->connection->forestKey(), allowed->connection->forestKey());
}

TEST(LogonTrust, SilentKeyDistributionCentreCostsTwoSecondsOnce) {
  // Not where other tests had a KDC that answered, which is remembered too.
  const std::string host = "down2." + TestDomain::Get()["dnsDomain"];
  const Relay ldap("127.0.0.22", kLdap);
  const Relay kdc("127.0.0.22", kKerberos, {.silent = true});
  const auto first = OpenAs(host);
  EXPECT_EQ(first->result, kServerDown);
  EXPECT_GE(first->time, std::chrono::milliseconds(1900));
  EXPECT_LT(first->time, std::chrono::milliseconds(4000));
  const auto second = OpenAs(host);
  EXPECT_EQ(second->result, kServerDown);
  EXPECT_LT(second->time, std::chrono::milliseconds(1000));
  EXPECT_EQ(kdc.connections(), 1);
}

TEST(LogonTrust, UserOfAnotherDomainIsTreatedAlikeInBothSpellings) {
  const live::Identity reader = Reader();
  for (const bool allowed : {false, true}) {
    for (const std::u16string& name :
         {u"elsewhere.test\\" + reader.user, reader.user + u"@elsewhere.test"}) {
      const auto attempt = OpenAs(TestDomain::Get()["host"], {name, reader.password},
                                  {.domain = true, .allowNtlm = allowed});
      EXPECT_EQ(attempt->result, kLogonFailure) << ToUtf8(name);
      EXPECT_EQ(attempt->error.code, 1326U) << ToUtf8(name);
    }
  }
}

// ---- winbind

// In a process of its own, which sees a winbind that accepts and keeps silent: two log-ons by NTLM
// one after the other. Returns how many milliseconds each took, in whole tenths of a second, or 255
// for a failure of the test itself.
int LogOnBesideSilentWinbind() {
  constexpr char kFolder[] = "/run/samba/winbindd";
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", kFolder, "tmpfs", 0, "mode=0755") != 0) {
    return 255;
  }
  const FileDescriptor silent(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un place{};
  place.sun_family = AF_UNIX;
  std::snprintf(place.sun_path, sizeof place.sun_path, "%s/pipe", kFolder);
  if (bind(silent.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) != 0 ||
      listen(silent.get(), 8) != 0) {
    return 255;
  }
  steady_clock::duration slowest{};
  for (int i = 0; i < 2; ++i) {
    const auto attempt =
        OpenAs(TestDomain::Get()["address"], {.domain = false, .allowNtlm = false});
    const bool said = ToUtf8(attempt->error.text).find("winbind") != std::string::npos;
    if (attempt->result != kNoLogonServers || !said) return 254;
    slowest = std::max(slowest, attempt->time);
  }
  return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(slowest).count() /
                          100);
}

TEST(LogonTrust, SilentWinbindIsLeftBehind) {
  const pid_t child = fork();
  if (child == 0) _exit(LogOnBesideSilentWinbind());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_GE(WEXITSTATUS(status), 15);
  EXPECT_LE(WEXITSTATUS(status), 40) << "tenths of a second, or 254, 255";
}

// ---- The identity of the process

class Environment {
 public:
  Environment(const char* name, const std::string& value) : name_(name) {
    const char* before = std::getenv(name);
    if (before != nullptr) before_ = before;
    had_ = before != nullptr;
    setenv(name, value.c_str(), 1);
  }
  ~Environment() {
    if (had_) setenv(name_, before_.c_str(), 1);
    if (!had_) unsetenv(name_);
  }

 private:
  const char* name_;
  std::string before_;
  bool had_ = false;
};

TEST(LogonTrust, ConfigurationThatCannotBeReadIsCalledSo) {
  const std::string path = testing::TempDir() + "zorvan-unreadable-krb5.conf";
  std::ofstream(path) << "[libdefaults\n  default_realm\n}\n";
  const Environment configuration("KRB5_CONFIG", path);
  const live::Identity reader = Reader();
  for (const Credentials& credentials : {Credentials{}, reader.credentials()}) {
    const auto attempt = OpenAs(TestDomain::Get()["host"], credentials);
    EXPECT_EQ(attempt->result, kBadConfiguration) << ToUtf8(attempt->error.text);
    EXPECT_NE(ToUtf8(attempt->error.text).find("configuration"), std::string::npos);
  }
  std::remove(path.c_str());
}

TEST(LogonTrust, ProcessIsHeldUpByASilentKeyDistributionCentreNoLongerThanAPassword) {
  const TestDomain& domain = TestDomain::Get();
  const std::string cache = "FILE:" + testing::TempDir() + "zorvan-process.ccache";
  const Environment configuration("KRB5_CONFIG", domain["krb5Conf"]);
  const Environment tickets("KRB5CCNAME", cache);
  const std::string login =
      "kinit reader@" + domain["realm"] + " < '" + domain["readerPasswordFile"] + "' >/dev/null";
  ASSERT_EQ(std::system(login.c_str()), 0);
  const auto genuine = OpenAs(domain["host"], Credentials{});
  EXPECT_EQ(genuine->result, kOk) << ToUtf8(genuine->error.text);
  EXPECT_EQ(OpenAs(domain["aliasHost"], Credentials{})->result, kTargetUnknown);

  const std::string host = "down2." + domain["dnsDomain"];
  const Relay ldap("127.0.0.22", kLdap);
  const Relay kdc("127.0.0.22", kKerberos, {.silent = true});
  const auto held = OpenAs(host, Credentials{});
  EXPECT_EQ(held->result, kServerDown) << ToUtf8(held->error.text);
  EXPECT_LT(held->time, std::chrono::milliseconds(4000));
  std::remove(cache.substr(5).c_str());
}

TEST(LogonTrust, ExpiredTicketIsToldFromAMissingOne) {
  const TestDomain& domain = TestDomain::Get();
  const std::string cache = "FILE:" + testing::TempDir() + "zorvan-expired.ccache";
  const Environment configuration("KRB5_CONFIG", domain["krb5Conf"]);
  const Environment tickets("KRB5CCNAME", cache);
  const std::string login = "kinit -l 1s reader@" + domain["realm"] + " < '" +
                            domain["readerPasswordFile"] + "' >/dev/null && sleep 2";
  ASSERT_EQ(std::system(login.c_str()), 0);
  const auto expired = OpenAs(domain["host"], Credentials{});
  EXPECT_EQ(expired->result, kTicketExpired) << ToUtf8(expired->error.text);
  std::remove(cache.substr(5).c_str());
  const auto missing = OpenAs(domain["host"], Credentials{});
  EXPECT_EQ(missing->result, kNoLogonSession) << ToUtf8(missing->error.text);
}

}  // namespace
}  // namespace zorvan::platform::posix
