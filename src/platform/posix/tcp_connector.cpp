#include "platform/posix/tcp_connector.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

struct FreeAddresses {
  void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, FreeAddresses>;

std::string ErrorText(int error) { return std::generic_category().message(error); }

Addresses Resolve(const std::string& host, std::uint16_t port, std::string& reason) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
  if (result != 0) reason = "the host " + host + " is unknown: " + gai_strerror(result);
  return Addresses(result == 0 ? found : nullptr);
}

int MillisecondsUntil(Clock::time_point deadline) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left, 0));
}

// Zero, or the error of the connection attempt; ETIMEDOUT when the deadline passes first.
int FinishConnecting(int descriptor, Clock::time_point deadline) {
  pollfd waiting{descriptor, POLLOUT, 0};
  int ready = 0;
  do {
    ready = poll(&waiting, 1, MillisecondsUntil(deadline));
  } while (ready < 0 && errno == EINTR);
  if (ready == 0) return ETIMEDOUT;
  if (ready < 0) return errno;
  int error = 0;
  socklen_t size = sizeof error;
  getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
  return error;
}

void SetOptions(int descriptor) {
  const int on = 1;
  const int idleSeconds = 60;
  setsockopt(descriptor, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, &idleSeconds, sizeof idleSeconds);
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) & ~O_NONBLOCK);
}

Socket ConnectTo(const addrinfo& address, Clock::time_point deadline, int& error) {
  Socket socket(::socket(address.ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) {
    error = errno;
    return {};
  }
  error = connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
  if (error == EINPROGRESS) error = FinishConnecting(socket.get(), deadline);
  if (error != 0) return {};
  SetOptions(socket.get());
  return socket;
}

}  // namespace

Socket& Socket::operator=(Socket&& other) noexcept {
  Socket old(std::exchange(descriptor_, other.Release()));
  return *this;
}

Socket::~Socket() {
  if (descriptor_ >= 0) close(descriptor_);
}

int Socket::Release() { return std::exchange(descriptor_, -1); }

Socket ConnectTcp(const std::string& host, std::uint16_t port, std::chrono::milliseconds limit,
                  std::string& reason) {
  const Clock::time_point deadline = Clock::now() + limit;
  const Addresses addresses = Resolve(host, port, reason);
  for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
    int error = 0;
    Socket socket = ConnectTo(*address, deadline, error);
    if (socket) return socket;
    reason = host + " port " + std::to_string(port) + ": " + ErrorText(error);
  }
  return {};
}

}  // namespace zorvan::platform::posix
