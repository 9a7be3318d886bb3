#include "platform/posix/tcp_connector.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/loopback.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using support::Listener;

int Option(int descriptor, int level, int name) {
  int value = 0;
  socklen_t size = sizeof value;
  getsockopt(descriptor, level, name, &value, &size);
  return value;
}

TEST(TcpConnector, ConnectedSocketIsKeptAliveAndNotInherited) {
  Listener listener;
  std::string reason;
  // A name with addresses of two families, of which only the second is listened on.
  const FileDescriptor connected =
      ConnectTcp("localhost", listener.port(), Clock::now() + 5s, reason);
  ASSERT_TRUE(connected) << reason;
  EXPECT_TRUE(Option(connected.get(), SOL_SOCKET, SO_KEEPALIVE));
  EXPECT_NE(fcntl(connected.get(), F_GETFD) & FD_CLOEXEC, 0);

  const SocketAddress peer = PeerAddress(connected.get(), 88);
  EXPECT_EQ(reinterpret_cast<const sockaddr_in&>(peer.storage).sin_port, htons(88));
  const FileDescriptor again =
      ConnectTcp(PeerAddress(connected.get(), listener.port()), Clock::now() + 5s, reason);
  EXPECT_TRUE(again) << reason;
}

TEST(TcpConnector, FailureSaysWhereAndWhy) {
  const std::uint16_t refused = Listener().port();
  std::string reason;
  EXPECT_FALSE(ConnectTcp("127.0.0.1", refused, Clock::now() + 5s, reason));
  EXPECT_EQ(reason, "127.0.0.1 port " + std::to_string(refused) + ": Connection refused");
  for (const std::string& host : {std::string("no-such-host.invalid"), std::string(300, 'x'),
                                  std::string("two words"), std::string("::1%nonsense")}) {
    reason.clear();
    EXPECT_FALSE(ConnectTcp(host, 389, Clock::now() + 5s, reason)) << host;
    EXPECT_TRUE(reason.starts_with(host + " port 389: ")) << reason;
    EXPECT_GT(reason.size(), (host + " port 389: ").size());
  }
}

TEST(TcpConnector, HostThatKeepsSilentIsGivenUpAtTheDeadline) {
  // A full queue of connections that nobody accepts drops what comes next, as a dead host would.
  Listener listener(0);
  std::vector<FileDescriptor> filling;
  std::string reason;
  const Clock::time_point start = Clock::now();
  do {
    filling.push_back(ConnectTcp("127.0.0.1", listener.port(), Clock::now() + 100ms, reason));
  } while (filling.back() && filling.size() < 10);
  EXPECT_FALSE(filling.back());
  EXPECT_NE(reason.find("no answer within the time limit"), std::string::npos) << reason;
  EXPECT_LT(Clock::now() - start, 3s);
}

TEST(TcpConnector, FramedExchangeEndsWhateverTheOtherSideDoes) {
  struct Case {
    const char* what;
    std::string answer;
    bool stays;
    std::string expected;
    const char* reason;
  };
  const Case cases[] = {
      {"a whole answer", std::string("\0\0\0\5hello", 9), false, "hello", ""},
      {"silence", "", true, "", "time limit"},
      {"half an answer, then silence", std::string("\0\0\0\5he", 6), true, "", "time limit"},
      {"half an answer, then the end", std::string("\0\0\0\5he", 6), false, "", "closed"},
      {"an empty answer", std::string(4, '\0'), true, "", "another protocol"},
      {"an endless answer", "HTTP/1.1 400 Bad Request", true, "", "another protocol"},
  };
  for (const Case& test : cases) {
    Listener listener;
    std::string reason;
    const FileDescriptor connected =
        ConnectTcp("127.0.0.1", listener.port(), Clock::now() + 5s, reason);
    ASSERT_TRUE(connected);
    FileDescriptor server = listener.Accept();
    ASSERT_EQ(send(server.get(), test.answer.data(), test.answer.size(), 0),
              static_cast<ssize_t>(test.answer.size()));
    if (!test.stays) shutdown(server.get(), SHUT_WR);
    std::string reply;
    reason.clear();
    const bool answered =
        ExchangeFramed(connected.get(), "question", 8, 1000, Clock::now() + 50ms, reply, reason);
    EXPECT_EQ(answered, !test.expected.empty()) << test.what;
    EXPECT_EQ(answered ? reply : "", test.expected) << test.what;
    EXPECT_NE(reason.find(test.reason), std::string::npos) << test.what << ": " << reason;
    char asked[13] = {};
    EXPECT_EQ(recv(server.get(), asked, 12, 0), 12) << test.what;
    EXPECT_EQ(std::string(asked, 12), std::string("\0\0\0\x08question", 12)) << test.what;
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
