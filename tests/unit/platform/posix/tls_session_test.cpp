// Whom TLS lets through, against servers of this test's own on the loopback.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/ldap_connection.h"
#include "platform/posix/tls_trust.h"
#include "platform/posix/unicode.h"
#include "unit/platform/posix/certificates.h"
#include "unit/platform/posix/planted_tls_server.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using testing::ExitedWithCode;

const std::string kLoopback("\x7f\x00\x00\x01", 4);
constexpr std::u16string_view kPassword = u"the-password";
constexpr const char* kPasswordBytes = "the-password";

// A root of trust, one below it, and one that nobody trusts.
struct Authorities {
  Identity root{{.commonName = "Test root", .authority = true}};
  Identity below{{.commonName = "Test issuer", .authority = true}, &root};
  Identity late{{.commonName = "Late issuer", .fromDay = -9, .toDay = -2, .authority = true},
                &root};
  // What is printed of it must not reach a terminal as it is.
  Identity foreign{{.commonName = "Foreign\x1b[2J\u202eroot", .authority = true}};
};
const Authorities& The() {
  static const Authorities authorities;
  return authorities;
}

CertificateContents ForLoopback() { return {.commonName = "dc1", .addresses = {kLoopback}}; }

struct Attempt {
  HResult result = kUnexpected;
  ExtendedError error;
  std::unique_ptr<LdapConnection> connection;
  std::string words() const { return ToUtf8(error.text); }
};

Attempt Open(const Endpoint& endpoint, const std::string& trust,
             std::chrono::milliseconds limit = 5s, CallConditions conditions = {}) {
  conditions.terms.connect = limit;
  conditions.terms.idle = limit;
  conditions.terms.trustedAuthorities = ToUtf16(trust);
  Attempt attempt;
  attempt.result =
      LdapConnection::Open(endpoint, {u"reader@example.test", kPassword}, kUseEncryption,
                           attempt.connection, attempt.error, conditions);
  return attempt;
}

class TlsSession : public testing::Test {
 protected:
  TlsSession() {
    std::string name = (std::filesystem::temp_directory_path() / "zorvan-tls-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
    folder_ = name;
    trusted_ = Write("trusted.pem", The().root.Pem());
  }
  ~TlsSession() override {
    std::filesystem::remove_all(folder_);
    for (const int option : {LDAP_OPT_X_TLS_CRLFILE, LDAP_OPT_X_TLS_CIPHER_SUITE,
                             LDAP_OPT_X_TLS_CERTFILE, LDAP_OPT_X_TLS_KEYFILE}) {
      ldap_set_option(nullptr, option, nullptr);
    }
    const int any = 0;
    ldap_set_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &any);
  }

  std::string Write(const std::string& name, const std::string& contents) {
    const std::filesystem::path path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << contents;
    return path.string();
  }

  // The host's configuration, as ldap.conf would set it for all of the process.
  static void Configure(int option, const std::string& value) {
    ASSERT_EQ(ldap_set_option(nullptr, option, value.c_str()), LDAP_OPT_SUCCESS);
  }

  std::filesystem::path folder_;
  std::string trusted_;
};

// What libldap thinks of a server when it is told to demand a certificate.
bool LibldapAccepts(const Endpoint& endpoint, const std::string& trust) {
  LdapHandle handle;
  const std::string url = "ldaps://" + endpoint.host + ":" + std::to_string(endpoint.port);
  const int demand = LDAP_OPT_X_TLS_DEMAND;
  const int client = 0;
  return ldap_initialize(handle.Put(), url.c_str()) == LDAP_SUCCESS &&
         ldap_set_option(handle.get(), LDAP_OPT_X_TLS_CACERTFILE, trust.c_str()) == 0 &&
         ldap_set_option(handle.get(), LDAP_OPT_X_TLS_REQUIRE_CERT, &demand) == 0 &&
         ldap_set_option(handle.get(), LDAP_OPT_X_TLS_NEWCTX, &client) == 0 &&
         ldap_connect(handle.get()) == LDAP_SUCCESS;
}

// A record without contents that TLS 1.3 sends at once on the server's greeting, before it reads
// the certificate.
const std::string kCompatibility("\x14\x03\x03\x00\x01\x01", 6);

struct Case {
  const char* what;
  CertificateContents contents;
  const Identity* issuer;            // null: signed by itself
  std::vector<std::string> reasons;  // empty: the server is the right one
};

std::vector<Case> Cases() {
  CertificateContents late = ForLoopback();
  late.fromDay = -9;
  late.toDay = -2;
  CertificateContents early = ForLoopback();
  early.fromDay = 2;
  early.toDay = 9;
  CertificateContents client = ForLoopback();
  client.purpose = GNUTLS_KP_TLS_WWW_CLIENT;
  const CertificateContents elsewhere{.commonName = "127.0.0.1",
                                      .hosts = {"dc1.example.test", "dc2.example.test"}};
  CertificateContents allWrong = late;
  allWrong.addresses = {};
  allWrong.commonName = "dc\x1b[2J";
  CertificateContents manyNames = elsewhere;
  manyNames.hosts = std::vector<std::string>(40, "dc1.example.test");
  return {
      {"right", ForLoopback(), &The().root, {}},
      {"right, by an intermediate issuer", ForLoopback(), &The().below, {}},
      {"by an unknown issuer",
       ForLoopback(),
       &The().foreign,
       {"issuer is unknown: \"CN=Foreign?[2J?root\""}},
      {"by itself", ForLoopback(), nullptr, {"issuer is unknown: it is signed by itself"}},
      {"of another name",
       elsewhere,
       &The().root,
       {"not for 127.0.0.1 but for dc1.example.test, dc2.example.test"}},
      {"of many other names", manyNames, &The().root, {"dc1.example.test and 32 more"}},
      {"expired", late, &The().root, {"it expired on 20"}},
      {"not yet valid", early, &The().root, {"it is not yet valid: not before 20"}},
      {"by an expired issuer", ForLoopback(), &The().late, {"one of its issuers expired"}},
      {"not for servers", client, &The().root, {"not meant for servers"}},
      {"all wrong",
       allWrong,
       &The().foreign,
       {"issuer is unknown", "but for dc?[2J;", "it expired on 20"}},
  };
}

TEST_F(TlsSession, CertificateIsAcceptedOrRefusedWithItsReasonsAndNothingMoreIsSent) {
  for (const Case& test : Cases()) {
    for (const char* version : {"NORMAL:-VERS-ALL:+VERS-TLS1.3", "NORMAL:-VERS-ALL:+VERS-TLS1.2"}) {
      SCOPED_TRACE(std::string(test.what) + ", " + version);
      const Identity identity(test.contents, test.issuer);
      PlantedTlsServer server(identity, version);
      Attempt attempt = Open(server.endpoint(), trusted_);
      attempt.connection.reset();
      const PlantedTlsServer::Heard heard = server.AfterClients(1);
      const bool accepted = test.reasons.empty();
      EXPECT_EQ(attempt.result, accepted ? kOk : kServerDown) << attempt.words();
      EXPECT_EQ(heard.plain.find(kPasswordBytes) != std::string::npos, accepted);
      if (accepted) {
        EXPECT_TRUE(LibldapAccepts(server.endpoint(), trusted_)) << "beyond what libldap accepts";
        continue;
      }
      for (const std::string& reason : test.reasons) {
        EXPECT_NE(attempt.words().find(reason), std::string::npos)
            << reason << " in: " << attempt.words();
      }
      const std::u16string& words = attempt.error.text;
      EXPECT_EQ(std::count(words.begin(), words.end(), u';') + 1,
                static_cast<std::ptrdiff_t>(test.reasons.size()))
          << attempt.words();
      EXPECT_EQ(heard.version, "") << "the handshake was completed";
      EXPECT_TRUE(heard.later.empty() || heard.later == kCompatibility)
          << heard.later.size() << " bytes were sent after the certificate was seen";
    }
  }
}

TEST_F(TlsSession, FolderOfAuthoritiesIsTrustedAsAFileIs) {
  const Identity identity(ForLoopback(), &The().root);
  PlantedTlsServer server(identity);
  Write("authorities/foreign.pem", The().foreign.Pem());
  Write("authorities/notes.txt", "no certificate");
  const std::string folder = (folder_ / "authorities").string();
  EXPECT_NE(Open(server.endpoint(), folder).words().find("unknown"), std::string::npos);
  Write("authorities/root.pem", The().root.Pem());
  const Attempt attempt = Open(server.endpoint(), folder);
  EXPECT_EQ(attempt.result, kOk) << attempt.words();
}

TEST_F(TlsSession, NothingIsSentWhereNobodyCanBeTrusted) {
  const Identity identity(ForLoopback(), &The().root);
  PlantedTlsServer server(identity);
  const std::string pipe = (folder_ / "pipe").string();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::filesystem::create_directory(folder_ / "empty");
  const std::pair<std::string, const char*> trusts[] = {
      {(folder_ / "missing.pem").string(), "No such file"},
      {Write("empty.pem", ""), "holds no certificate"},
      {Write("words.pem", "not a certificate\n"), "holds no certificate"},
      {(folder_ / "empty").string(), "holds no certificate"},
      {pipe, "holds no certificate"}};
  int clients = 0;
  for (const auto& [trust, words] : trusts) {
    const Attempt attempt = Open(server.endpoint(), trust);
    EXPECT_EQ(attempt.result, kServerDown) << trust;
    EXPECT_NE(attempt.words().find(words), std::string::npos) << attempt.words();
    EXPECT_NE(attempt.words().find(trust), std::string::npos) << attempt.words();
    EXPECT_EQ(server.AfterClients(++clients).raw, "") << trust;
  }
}

TEST_F(TlsSession, SystemsTrustIsTheFirstFileElseTheFirstFolderThatExists) {
  const std::string missing = (folder_ / "missing").string();
  Write("folder/root.pem", The().root.Pem());
  const std::string folder = (folder_ / "folder").string();
  const std::string empty = Write("empty.pem", "");
  const char* const none[] = {missing.c_str()};
  const char* const file[] = {missing.c_str(), trusted_.c_str(), empty.c_str()};
  const char* const emptyFile[] = {empty.c_str(), trusted_.c_str()};
  const char* const folders[] = {missing.c_str(), folder.c_str()};
  const std::tuple<SystemTrust, std::string, const char*> cases[] = {
      {{file, none}, "", nullptr},
      {{none, folders}, "", nullptr},
      {{none, none}, "", "not found"},
      {{}, "", "not found"},
      {{emptyFile, folders}, "", "holds no certificate"},
      {{none, none}, trusted_, nullptr},
      {{file, folders}, missing, "No such file"}};
  for (const auto& [system, authorities, words] : cases) {
    TlsCredentials credentials;
    ASSERT_EQ(gnutls_certificate_allocate_credentials(credentials.Put()), 0);
    std::string reason;
    EXPECT_EQ(LoadTrust(authorities, system, credentials.get(), reason), words == nullptr)
        << reason;
    EXPECT_NE(reason.find(words == nullptr ? "" : words), std::string::npos) << reason;
  }
}

// In processes of their own: libldap reads its configuration once.
TEST_F(TlsSession, ConfigurationOfTheHostNeverWeakens) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::pair<const char*, const char*> environments[] = {
      {"LDAPTLS_REQCERT", "never"},
      {"LDAPTLS_REQCERT", "allow"},
      {"LDAPTLS_CACERT", "this certificate"},
      {"LDAPTLS_CACERT", "/nonexistent"},
      {"LDAPTLS_CIPHER_SUITE", "NORMAL:%VERIFY_ALLOW_BROKEN:%VERIFY_DISABLE_CRL_CHECKS"}};
  for (const auto& [name, value] : environments) {
    EXPECT_EXIT(
        {
          const Identity identity(ForLoopback());
          const std::string own = Write("own.pem", identity.Pem());
          setenv("LDAPTLS_REQCERT", "never", 1);
          setenv(name, value == std::string("this certificate") ? own.c_str() : value, 1);
          PlantedTlsServer server(identity);
          Attempt attempt = Open(server.endpoint(), "");
          attempt.connection.reset();
          const bool sent = server.AfterClients(1).plain.find(kPasswordBytes) != std::string::npos;
          std::fputs(attempt.words().c_str(), stderr);
          std::_Exit(sent ? 3 : attempt.result == kServerDown ? 0 : 4);
        },
        ExitedWithCode(0), "issuer is unknown")
        << name << "=" << value;
  }
}

TEST_F(TlsSession, ConfigurationOfTheHostMayStrengthen) {
  const Identity identity(ForLoopback(), &The().root);
  {
    PlantedTlsServer old(identity, "NORMAL:-VERS-ALL:+VERS-TLS1.2");
    EXPECT_EQ(Open(old.endpoint(), trusted_).result, kOk);
    const int newest = LDAP_OPT_X_TLS_PROTOCOL_TLS1_3;
    ASSERT_EQ(ldap_set_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &newest), 0);
    EXPECT_EQ(Open(old.endpoint(), trusted_).result, kServerDown);
    const int any = 0;
    ASSERT_EQ(ldap_set_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &any), 0);
  }
  PlantedTlsServer server(identity);
  ASSERT_EQ(Open(server.endpoint(), trusted_).result, kOk);
  EXPECT_EQ(server.AfterClients(1).version, "TLS1.3");
  Configure(LDAP_OPT_X_TLS_CIPHER_SUITE, "SECURE256:-VERS-ALL:+VERS-TLS1.2");
  ASSERT_EQ(Open(server.endpoint(), trusted_).result, kOk);
  EXPECT_EQ(server.AfterClients(2).version, "TLS1.2");
  Configure(LDAP_OPT_X_TLS_CIPHER_SUITE, "NONE:+NULL:+VERS-TLS1.2:+RSA:+SHA1:+COMP-NULL");
  EXPECT_EQ(Open(server.endpoint(), trusted_).result, kServerDown);
  Configure(LDAP_OPT_X_TLS_CIPHER_SUITE, "no such thing");
  EXPECT_NE(Open(server.endpoint(), trusted_).words().find("TLS_CIPHER_SUITE"), std::string::npos);
  Configure(LDAP_OPT_X_TLS_CIPHER_SUITE, "");

  Configure(LDAP_OPT_X_TLS_CRLFILE, Write("none.crl", ""));
  EXPECT_NE(Open(server.endpoint(), trusted_).words().find("revoked"), std::string::npos);
  const Identity other(ForLoopback(), &The().root);
  Configure(LDAP_OPT_X_TLS_CRLFILE, Write("other.crl", The().root.RevocationListPem(other)));
  EXPECT_EQ(Open(server.endpoint(), trusted_).result, kOk);
  Configure(LDAP_OPT_X_TLS_CRLFILE, Write("this.crl", The().root.RevocationListPem(identity)));
  EXPECT_NE(Open(server.endpoint(), trusted_).words().find("it was revoked"), std::string::npos);
}

TEST_F(TlsSession, ClientShowsACertificateOnlyWhereItIsConfigured) {
  const Identity identity(ForLoopback(), &The().root);
  const Identity client({.commonName = "reader"}, &The().root);
  PlantedTlsServer server(identity);
  ASSERT_EQ(Open(server.endpoint(), trusted_).result, kOk);
  EXPECT_FALSE(server.AfterClients(1).clientCertificate);
  Configure(LDAP_OPT_X_TLS_CERTFILE, Write("client.pem", client.Pem()));
  EXPECT_NE(Open(server.endpoint(), trusted_).words().find("only one"), std::string::npos);
  Configure(LDAP_OPT_X_TLS_KEYFILE, Write("client.key", client.KeyPem()));
  const Attempt attempt = Open(server.endpoint(), trusted_);
  ASSERT_EQ(attempt.result, kOk) << attempt.words();
}

// The server speaks, but does not come to an end.
TEST_F(TlsSession, PasswordIsNotSentToAHostThatOnlyTheDnsNamed) {
  const Identity good(ForLoopback(), &The().root);
  PlantedTlsServer server(good);
  CallConditions conditions;
  conditions.terms.controllersFromDns = true;
  const Attempt attempt = Open(server.endpoint(), trusted_, 5s, conditions);
  EXPECT_TRUE(Failed(attempt.result));
  EXPECT_NE(attempt.words().find("DNS"), std::string::npos) << attempt.words();
  EXPECT_EQ(server.AfterClients(1).plain.find(kPasswordBytes), std::string::npos);
}

TEST_F(TlsSession, HandshakeKeepsToItsLimit) {
  const std::string begun("\x16\x03\x03\x40\x00", 5);  // of 16,384 bytes
  const std::function<void(int)> servers[] = {
      [&](int client) {
        while (send(client, kCompatibility.data(), kCompatibility.size(), MSG_NOSIGNAL) > 0) {
        }
      },
      [&](int client) {
        send(client, begun.data(), begun.size(), MSG_NOSIGNAL);
        while (send(client, "x", 1, MSG_NOSIGNAL) > 0) std::this_thread::sleep_for(20ms);
      }};
  for (const std::function<void(int)>& talk : servers) {
    support::Listener listener;
    std::thread thread([&] {
      if (const FileDescriptor client = listener.Accept()) talk(client.get());
    });
    const auto start = std::chrono::steady_clock::now();
    const Attempt attempt = Open({"127.0.0.1", listener.port()}, trusted_, 300ms);
    EXPECT_EQ(attempt.result, kServerDown);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s) << attempt.words();
    listener.Shutdown();
    thread.join();
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
