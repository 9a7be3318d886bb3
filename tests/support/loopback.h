// A port of the loopback that listens. Nobody accepts unless the test does.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <stdexcept>

#include "platform/posix/handles.h"

namespace zorvan::support {

class Listener {
 public:
  explicit Listener(int backlog = 8, const char* host = "127.0.0.1", std::uint16_t port = 0)
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    inet_pton(AF_INET, host, &address.sin_addr);
    const int again = 1;
    setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &again, sizeof again);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t size = sizeof address;
    if (bind(socket_.get(), generic, size) != 0 || listen(socket_.get(), backlog) != 0 ||
        getsockname(socket_.get(), generic, &size) != 0) {
      throw std::runtime_error("no port on loopback");
    }
    port_ = ntohs(address.sin_port);
  }

  std::uint16_t port() const { return port_; }
  // Nothing once the listener was shut down.
  platform::posix::FileDescriptor Accept() {
    return platform::posix::FileDescriptor(accept(socket_.get(), nullptr, nullptr));
  }
  void Shutdown() { shutdown(socket_.get(), SHUT_RDWR); }

 private:
  platform::posix::FileDescriptor socket_;
  std::uint16_t port_ = 0;
};

}  // namespace zorvan::support
