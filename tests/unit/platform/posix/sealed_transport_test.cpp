// The two layers under an LDAP connection, over a socket pair, with a protection that can be seen
// through.
#include "platform/posix/sealed_transport.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/socket_transport.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;

// A token is the text reversed behind "#"; one without it is forged. Cannot seal "expired".
class Reversing : public MessageProtection {
 public:
  bool Wrap(std::string_view plain, std::string& token) override {
    if (plain.ends_with("expired")) return false;
    token = "#";
    token.append(plain.rbegin(), plain.rend());
    return true;
  }
  bool Unwrap(std::string_view token, std::string& plain) override {
    if (!token.starts_with('#')) return false;
    plain.assign(token.rbegin(), token.rend() - 1);
    return true;
  }
};

std::string Framed(std::string_view token) {
  std::string frame;
  for (int shift = 24; shift >= 0; shift -= 8) {
    frame += static_cast<char>(token.size() >> shift);
  }
  return frame.append(token);
}

std::string Sealed(std::string_view plain) {
  std::string token;
  Reversing().Wrap(plain, token);
  return Framed(token);
}

using Element = UniqueHandle<BerElement*, [](BerElement* element) { ber_free(element, 1); }>;

// A message as LDAP has them: a sequence, here of one string.
std::string Encoded(const std::string& text) {
  const Element element(ber_alloc_t(LBER_USE_DER));
  ber_printf(element.get(), "{o}", text.data(), text.size());
  berval bytes{};
  ber_flatten2(element.get(), &bytes, 0);
  return {bytes.bv_val, bytes.bv_len};
}

Patience In(std::chrono::milliseconds time) { return std::chrono::steady_clock::now() + time; }

class TransportTest : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    server_.Reset(ends[1]);
    socket_.emplace(FileDescriptor(ends[0]));
    buffer_ = ber_sockbuf_alloc();
    ASSERT_TRUE(socket_->Attach(buffer_));
    ASSERT_TRUE(sealed_.Attach(buffer_));
  }
  void TearDown() override { ber_sockbuf_free(buffer_); }

  void ServerSends(std::string_view bytes) {
    ASSERT_EQ(send(server_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }

  // Everything that the client has sent so far, unsealed.
  std::string ServerReceives() {
    char bytes[65536];
    ssize_t count = 0;
    while ((count = recv(server_.get(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
      received_.append(bytes, static_cast<std::size_t>(count));
    }
    std::string plain;
    for (std::string_view rest = received_; rest.size() >= 4;) {
      std::size_t length = 0;
      for (const char byte : rest.substr(0, 4))
        length = length << 8 | static_cast<std::uint8_t>(byte);
      if (rest.size() < 4 + length) break;
      std::string piece;
      EXPECT_TRUE(Reversing().Unwrap(rest.substr(4, length), piece));
      plain += piece;
      rest.remove_prefix(4 + length);
    }
    return plain;
  }

  // The text of the next message, as libldap gets at it; nothing while it is not complete (errno is
  // EAGAIN then) or when the connection has failed.
  std::optional<std::string> ClientReads() {
    if (!reading_) reading_.Reset(ber_alloc_t(0));
    ber_len_t length = 0;
    errno = 0;
    if (ber_get_next(buffer_, &length, reading_.get()) != LBER_SEQUENCE) return std::nullopt;
    berval text{};
    EXPECT_NE(ber_scanf(reading_.get(), "m", &text), LBER_ERROR);
    std::string result(text.bv_val, text.bv_len);
    reading_.Reset();
    return result;
  }

  bool ClientSends(const std::string& text) {
    const Element element(ber_alloc_t(LBER_USE_DER));
    ber_printf(element.get(), "{o}", text.data(), text.size());
    return ber_flush2(buffer_, element.get(), LBER_FLUSH_FREE_NEVER) == 0;
  }

  bool DataReady() { return ber_sockbuf_ctrl(buffer_, LBER_SB_OPT_DATA_READY, nullptr) > 0; }

  FileDescriptor server_;
  std::optional<SocketTransport> socket_;
  SealedTransport sealed_{std::make_unique<Reversing>()};
  Sockbuf* buffer_ = nullptr;
  Element reading_;
  std::string received_;
};

TEST_F(TransportTest, WhatCannotBeSealedIsNotSentAndTheTransportHasFailed) {
  EXPECT_TRUE(ClientSends("good"));
  EXPECT_FALSE(sealed_.failed());
  EXPECT_FALSE(ClientSends("expired"));
  EXPECT_TRUE(sealed_.failed());
  EXPECT_FALSE(socket_->failed());
  EXPECT_EQ(ServerReceives(), Encoded("good"));
}

TEST_F(TransportTest, MessagesArriveWholeHoweverTheStreamIsCut) {
  const std::vector<std::string> texts = {"the first", std::string(300, 'b'),
                                          std::string(70000, 'c'), "the last"};
  // Tokens and messages do not share their ends: one token holds two messages, one message two
  // tokens.
  const std::string big = Encoded(texts[2]);
  const std::string stream = Sealed(Encoded(texts[0]) + Encoded(texts[1])) +
                             Sealed(big.substr(0, 40000)) + Sealed("") +
                             Sealed(big.substr(40000) + Encoded(texts[3]));
  for (const std::size_t cut : {std::size_t{1}, std::size_t{7}, std::size_t{4093}, stream.size()}) {
    std::vector<std::string> got;
    for (std::size_t sent = 0; sent < stream.size(); sent += cut) {
      ServerSends(std::string_view(stream).substr(sent, cut));
      do {
        if (auto text = ClientReads()) {
          got.push_back(*text);
        } else {
          ASSERT_EQ(errno, EAGAIN) << "cut at " << cut << ", sent " << sent;
        }
      } while (DataReady());
    }
    while (auto text = ClientReads()) got.push_back(*text);
    EXPECT_EQ(got, texts) << "cut at " << cut;
  }
}

TEST_F(TransportTest, PartOfATokenIsNotReadyAndTheRestOfOneIs) {
  const std::string token = Sealed(Encoded("first") + Encoded("second"));
  ServerSends(token.substr(0, token.size() - 1));
  EXPECT_FALSE(ClientReads());
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_FALSE(DataReady()) << "libldap would spin";
  ServerSends(token.substr(token.size() - 1));
  EXPECT_EQ(ClientReads(), "first");
  EXPECT_TRUE(DataReady()) << "libldap would wait for the socket";
  EXPECT_EQ(ClientReads(), "second");
  EXPECT_FALSE(DataReady());
}

TEST_F(TransportTest, RequestsAreTakenWhileTheServerDoesNotRead) {
  std::string sent;
  for (char letter = 'a'; letter <= 'z'; ++letter) {
    const std::string text(100000, letter);
    ASSERT_TRUE(ClientSends(text));
    sent += Encoded(text);
  }
  // What the socket had no room for goes out while an answer is awaited.
  EXPECT_LT(ServerReceives().size(), sent.size());
  for (int turn = 0; turn < 1000 && ServerReceives().size() < sent.size(); ++turn) {
    Patience patience = In(1ms);
    EXPECT_EQ(socket_->Await(patience), kTimedOut);
  }
  EXPECT_EQ(ServerReceives(), sent);
}

TEST_F(TransportTest, ForgedOrMalformedTokenEndsTheConnection) {
  const std::string bad[] = {Framed("forged"), std::string(4, '\0'), "\xFF\xFF\xFF\xFF",
                             std::string("\x01\x00\x00\x01", 4)};
  for (const std::string& frame : bad) {
    TearDown();
    sealed_ = SealedTransport(std::make_unique<Reversing>());
    reading_.Reset();
    SetUp();
    ServerSends(Sealed(Encoded("good")) + frame);
    EXPECT_EQ(ClientReads(), "good");
    EXPECT_TRUE(DataReady());
    EXPECT_FALSE(ClientReads());
    EXPECT_EQ(errno, EPROTO);
    ServerSends(Sealed(Encoded("after")));
    EXPECT_FALSE(ClientReads()) << "what follows a bad token cannot be trusted";
    EXPECT_EQ(errno, EPROTO);
    EXPECT_FALSE(ClientSends("anything"));
  }
}

TEST_F(TransportTest, ClosedConnectionIsAFailureAndNoSignal) {
  ServerSends(Sealed("half a message").substr(0, 9));
  server_.Reset();
  Patience patience = In(2s);
  EXPECT_EQ(socket_->Await(patience), kOk);
  EXPECT_FALSE(ClientReads());
  EXPECT_NE(errno, EAGAIN);
  EXPECT_FALSE(ClientSends("nobody hears it"));
}

TEST_F(TransportTest, WaitingEndsAtTheDeadline) {
  Patience patience = In(10ms);
  EXPECT_EQ(socket_->Await(patience), kTimedOut);
  patience = In(10ms);
  socket_->ReadUntil(&patience);
  EXPECT_FALSE(ClientReads());
  EXPECT_EQ(errno, ETIMEDOUT);
  socket_->ReadUntil(nullptr);
  EXPECT_FALSE(ClientReads());
  EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
}  // namespace zorvan::platform::posix
