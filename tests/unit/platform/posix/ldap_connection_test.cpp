// What happens before and around a bind, against servers of this test's own on the loopback.
#include "platform/posix/ldap_connection.h"

#include <gtest/gtest.h>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include "platform/posix/unicode.h"
#include "support/loopback.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;

const CallConditions kShort = [] {
  CallConditions conditions;
  conditions.terms.connect = 150ms;
  conditions.terms.idle = 150ms;
  conditions.terms.domainName = u"example.test";
  return conditions;
}();

// A server that talks to one client as it is told to and closes when that is done.
class OneTimeServer {
 public:
  explicit OneTimeServer(std::function<void(int client)> talk)
      : thread_([this, talk = std::move(talk)] {
          if (const FileDescriptor client = listener_.Accept()) talk(client.get());
        }) {}
  ~OneTimeServer() {
    listener_.Shutdown();
    thread_.join();
  }
  Endpoint endpoint() const { return {"127.0.0.1", listener_.port()}; }

 private:
  support::Listener listener_;
  std::thread thread_;
};

void UntilTheClientLeaves(int client) {
  char bytes[4096];
  while (recv(client, bytes, sizeof bytes, 0) > 0) {
  }
}

bool Sends(int client, std::string_view bytes) {
  return send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0;
}
void Send(int client, std::string_view bytes) { static_cast<void>(Sends(client, bytes)); }

// Says this whatever it is asked, and nothing more.
std::function<void(int)> Saying(std::string_view words) {
  return [words = std::string(words)](int client) {
    Send(client, words);
    UntilTheClientLeaves(client);
  };
}

void Receive(int client) {
  char bytes[4096];
  recv(client, bytes, sizeof bytes, 0);
}

// Answers to message 1: a root without attributes that are of use here, and the end of the search.
constexpr std::string_view kEmptyRoot("\x30\x09\x02\x01\x01\x64\x04\x04\x00\x30\x00", 11);
constexpr std::string_view kSearchDone("\x30\x0c\x02\x01\x01\x65\x07\x0a\x01\x00\x04\x00\x04\x00",
                                       14);

struct Attempt {
  HResult result = kUnexpected;
  ExtendedError error;
  std::unique_ptr<LdapConnection> connection;
  std::chrono::steady_clock::duration time{};
};

Attempt Open(const Endpoint& endpoint, const Credentials& credentials, std::uint32_t flags,
             std::chrono::milliseconds limit = kShort.terms.connect) {
  Attempt attempt;
  CallConditions conditions = kShort;
  conditions.terms.connect = limit;
  const auto start = std::chrono::steady_clock::now();
  attempt.result = LdapConnection::Open(endpoint, credentials, flags, attempt.connection,
                                        attempt.error, conditions);
  attempt.time = std::chrono::steady_clock::now() - start;
  return attempt;
}

TEST(LdapConnection, ServerThatCannotBeTalkedToIsDown) {
  struct Case {
    const char* what;
    std::function<void(int)> talk;
    std::uint32_t flags;
    const char* reason;
  };
  const Case cases[] = {
      {"silence", Saying(""), kSecureAuthentication, "does not answer"},
      {"silence to a TLS handshake", Saying(""), kSecureAuthentication | kUseEncryption,
       "TLS: the server did not answer"},
      {"half of an answer, then silence", Saying(kEmptyRoot.substr(0, 5)), kSecureAuthentication,
       "does not answer"},
      {"the end at once", [](int) {}, kSecureAuthentication, "closed"},
      {"another protocol", Saying("HTTP/1.1 400 Bad Request\r\n" + std::string(200, ' ')),
       kSecureAuthentication, "another protocol"},
      {"no TLS", Saying(kEmptyRoot), kSecureAuthentication | kUseEncryption, "TLS: "},
  };
  for (const Case& test : cases) {
    const OneTimeServer server(test.talk);
    const Attempt attempt = Open(server.endpoint(), {u"user", u"password"}, test.flags);
    EXPECT_EQ(attempt.result, kServerDown) << test.what;
    EXPECT_FALSE(attempt.connection) << test.what;
    EXPECT_NE(ToUtf8(attempt.error.text).find(test.reason), std::string::npos)
        << test.what << ": " << ToUtf8(attempt.error.text);
    EXPECT_LT(attempt.time, 2s) << test.what;
  }
  for (const std::string& host : {std::string(), std::string("a\0b", 3)}) {
    EXPECT_EQ(Open({host, 389}, {}, 0).result, kServerDown);
  }
}

// One deadline holds for all of it, however the server spreads its silence.
// What is allocated while one lives is nobody's leak here.
#ifdef __SANITIZE_ADDRESS__
using LeaksOfOthers = __lsan::ScopedDisabler;
#else
struct LeaksOfOthers {
  LeaksOfOthers() {}
};
#endif

TEST(LdapConnection, ServerThatNeverAnswersTheBindCostsTheConnectLimitOnly) {
  const OneTimeServer server([](int client) {
    Receive(client);
    std::this_thread::sleep_for(50ms);
    Send(client, kEmptyRoot);
    Send(client, kSearchDone);
    UntilTheClientLeaves(client);
  });
  Attempt attempt;
  CallConditions conditions = kShort;
  conditions.terms.connect = 500ms;
  conditions.terms.idle = 1h;
  conditions.terms.allowNtlm = true;
  const auto start = std::chrono::steady_clock::now();
  {
    const LeaksOfOthers ofTheNtlmLibrary;
    attempt.result =
        LdapConnection::Open(server.endpoint(), {u"user", u"password"}, kSecureAuthentication,
                             attempt.connection, attempt.error, conditions);
  }
  EXPECT_TRUE(Failed(attempt.result));
  EXPECT_NE(attempt.result, kLogonFailure) << "nobody has refused the password";
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(LdapConnection, NothingLargeIsTakenFromAServerBeforeTheLogOn) {
  const std::pair<std::string, const char*> floods[] = {
      {std::string("\x30\x84\x00\x20\x00\x00\x02\x01\x01", 9), "a message of 2097152 bytes"},
      {std::string(kEmptyRoot), "more than was asked for"},
      {std::string("\x30\x0c\x02\x01\x00\x78\x07\x0a\x01\x00\x04\x00\x04\x00", 14),
       "more than was asked for"},
  };
  for (const auto& [message, reason] : floods) {
    const OneTimeServer server([&](int client) {
      Receive(client);
      while (Sends(client, message)) {
      }
    });
    const Attempt attempt = Open(server.endpoint(), {}, 0, 10s);
    EXPECT_EQ(attempt.result, kServerDown) << reason;
    EXPECT_NE(ToUtf8(attempt.error.text).find(reason), std::string::npos)
        << ToUtf8(attempt.error.text);
  }
}

TEST(LdapConnection, CancelledCallIsNotAServerThatIsDown) {
  class LeavingCaller : public CallObserver {
   public:
    bool IsCancelled() override { return ++questions_ > 2; }
    void Notify(const Notice&) override {}

   private:
    int questions_ = 0;
  } leaving;
  const OneTimeServer server(Saying(""));
  CallConditions conditions;
  conditions.terms.connect = 1h;
  conditions.observer = &leaving;
  Attempt attempt;
  attempt.result =
      LdapConnection::Open(server.endpoint(), {}, 0, attempt.connection, attempt.error, conditions);
  EXPECT_EQ(attempt.result, kCancelled);
  EXPECT_EQ(attempt.error.code, 1223U);
}

TEST(LdapConnection, NameWithoutPasswordOrPasswordWithoutNameIsRefusedUnsent) {
  const Endpoint nobody{"127.0.0.1", 1};  // where a connection would fail with another result
  const Credentials refused[] = {{u"user", std::nullopt},
                                 {u"user", u""},
                                 {u"", u""},
                                 {u"", u"password"},
                                 {u"user", std::u16string_view(u"pass\0word", 9)},
                                 {std::u16string_view(u"us\0er", 5), u"password"}};
  for (const Credentials& credentials : refused) {
    for (const std::uint32_t flags : {0U, kSecureAuthentication, kUseEncryption}) {
      const Attempt attempt = Open(nobody, credentials, flags);
      EXPECT_EQ(attempt.result, kLogonFailure);
      EXPECT_EQ(attempt.error.code, 1326U);
    }
  }
}

TEST(LdapConnection, PasswordIsNotSentInTheClear) {
  std::string heard;
  {
    const OneTimeServer server([&](int client) {
      Receive(client);
      Send(client, kEmptyRoot);
      Send(client, kSearchDone);
      char bytes[4096];
      for (ssize_t count = 0; (count = recv(client, bytes, sizeof bytes, 0)) > 0;) {
        heard.append(bytes, static_cast<std::size_t>(count));
      }
    });
    EXPECT_EQ(Open(server.endpoint(), {u"user", u"secret"}, 0).result,
              HResultFromWin32(8232));  // ERROR_DS_STRONG_AUTH_REQUIRED
  }
  EXPECT_EQ(heard.find("secret"), std::string::npos);
}

TEST(LdapConnection, WaitingForAMessageEndsWhenNothingMoreArrives) {
  const OneTimeServer server([](int client) {
    Receive(client);
    Send(client, kEmptyRoot);
    Send(client, kSearchDone);
    Receive(client);
    // Message 2: an entry piece by piece, then another one byte after the other for as long as the
    // client stays.
    const std::string entry("\x30\x09\x02\x01\x02\x64\x04\x04\x00\x30\x00", 11);
    Send(client, entry.substr(0, 3));
    Send(client, entry.substr(3));
    const std::string endless("\x30\x84\x00\x10\x00\x00\x02\x01\x02\x64", 10);
    for (std::size_t i = 0; Sends(client, {i < 10 ? &endless[i] : "x", 1}); ++i) {
      std::this_thread::sleep_for(25ms);
    }
  });
  Attempt attempt = Open(server.endpoint(), {}, 0);
  ASSERT_EQ(attempt.result, kOk) << ToUtf8(attempt.error.text);
  EXPECT_EQ(attempt.connection->authentication(), Authentication::kAnonymous);
  LDAP* handle = attempt.connection->handle();
  int messageId = 0;
  ASSERT_EQ(ldap_search_ext(handle, "", LDAP_SCOPE_SUBTREE, "(cn=*)", nullptr, 0, nullptr, nullptr,
                            nullptr, 0, &messageId),
            LDAP_SUCCESS);
  LdapMessage message;
  EXPECT_EQ(attempt.connection->AwaitMessage(messageId, LDAP_MSG_ONE, *message.Put()), kOk);
  EXPECT_EQ(ldap_msgtype(message.get()), LDAP_RES_SEARCH_ENTRY);
  EXPECT_FALSE(attempt.connection->broken());

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(attempt.connection->AwaitMessage(messageId, LDAP_MSG_ONE, *message.Put()), kTimedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_FALSE(message);
  EXPECT_TRUE(attempt.connection->broken());
  attempt.connection.reset();  // the server goes on until then
}

}  // namespace
}  // namespace zorvan::platform::posix
