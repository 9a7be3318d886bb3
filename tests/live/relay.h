// Somebody on the way between client and controller: at an address of its own it passes on what
// both say, and changes what it was told to change as long as that can be read.
#pragma once

#include <fcntl.h>

#include <atomic>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/posix/tcp_connector.h"
#include "support/loopback.h"
#include "test_domain.h"

namespace zorvan::live {

// Replaces old by changed, of the same length, in what the controller says. A silent relay accepts
// and passes on nothing.
struct Change {
  std::string old = {};
  std::string changed = {};
  bool silent = false;
};

class Relay {
 public:
  Relay(const char* address, std::uint16_t port, Change change = {})
      : port_(port), change_(std::move(change)), listener_(8, address, port), accepting_([this] {
          while (platform::posix::FileDescriptor client = listener_.Accept()) {
            ++connections_;
            if (!change_.silent) Forward(client.get());
            if (change_.silent) kept_.push_back(std::move(client));
          }
        }) {}
  ~Relay() {
    listener_.Shutdown();
    accepting_.join();
  }
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  int changes() const { return changes_; }
  int connections() const { return connections_; }

 private:
  void Forward(int client) {
    std::string reason;
    const platform::posix::FileDescriptor server = platform::posix::ConnectTcp(
        TestDomain::Get()["address"], port_,
        std::chrono::steady_clock::now() + std::chrono::seconds(5), reason);
    fcntl(server.get(), F_SETFL, 0);  // blocking, for the copying
    std::thread answers([&] { Copy(server.get(), client, true); });
    Copy(client, server.get(), false);
    answers.join();
  }

  void Copy(int from, int to, bool changing) {
    char bytes[16384];
    for (ssize_t count = 0; (count = recv(from, bytes, sizeof bytes, 0)) > 0;) {
      std::string passed(bytes, static_cast<std::size_t>(count));
      for (std::size_t at = 0;
           changing && !change_.old.empty() && (at = passed.find(change_.old)) != std::string::npos;
           ++changes_) {
        passed.replace(at, change_.old.size(), change_.changed);
      }
      send(to, passed.data(), passed.size(), MSG_NOSIGNAL);
    }
    shutdown(to, SHUT_WR);
  }

  std::uint16_t port_;
  Change change_;
  std::atomic<int> changes_ = 0;
  std::atomic<int> connections_ = 0;
  std::vector<platform::posix::FileDescriptor> kept_;
  support::Listener listener_;
  std::thread accepting_;
};

}  // namespace zorvan::live
