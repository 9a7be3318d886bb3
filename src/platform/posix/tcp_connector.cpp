#include "platform/posix/tcp_connector.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <span>
#include <system_error>
#include <vector>

#include "platform/posix/name_lookup.h"

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kNextAddressAfter{250};

// A dead peer is found out after about three minutes of silence on an idle connection.
constexpr int kKeepAliveIdleSeconds = 90;
constexpr int kKeepAliveIntervalSeconds = 15;
constexpr int kKeepAliveProbes = 6;

std::string ErrorText(int error) { return std::generic_category().message(error); }

// Why an operation whose patience is at its end has failed.
std::string ReasonOf(HResult ended) {
  return ended == kCancelled ? "the caller gave up" : "no answer within the time limit";
}

void SetOption(int descriptor, int level, int option, int value) {
  setsockopt(descriptor, level, option, &value, sizeof value);
}

// Several connection attempts under way; the first that succeeds wins.
class Attempts {
 public:
  // Starts connecting to one more address.
  void Start(const sockaddr* address, socklen_t size) {
    FileDescriptor descriptor(
        socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (descriptor && connect(descriptor.get(), address, size) == 0) {
      connected_ = std::move(descriptor);
    } else if (descriptor && errno == EINPROGRESS) {
      waiting_.push_back(std::move(descriptor));
    } else {
      error_ = errno;
    }
  }

  // Waits until one attempt succeeds, one more fails or patience ends.
  void Await(Patience patience) {
    if (waiting_.empty() || connected_) return;
    std::vector<pollfd> events;
    for (const FileDescriptor& descriptor : waiting_) {
      events.push_back({descriptor.get(), POLLOUT, 0});
    }
    if (Failed(patience.Await(events))) return;
    for (std::size_t i = events.size(); i-- > 0;) {
      if (events[i].revents != 0) Finish(i);
    }
  }

  bool pending() const { return !waiting_.empty(); }
  FileDescriptor& connected() { return connected_; }
  int error() const { return error_; }

 private:
  void Finish(std::size_t index) {
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(waiting_[index].get(), SOL_SOCKET, SO_ERROR, &error, &size);
    if (error == 0) {
      connected_ = std::move(waiting_[index]);
    } else {
      error_ = error;
    }
    waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(index));
  }

  std::vector<FileDescriptor> waiting_;
  FileDescriptor connected_;
  int error_ = 0;
};

FileDescriptor ConnectToAny(const addrinfo* addresses, const Patience& patience,
                            std::string& reason) {
  Attempts attempts;
  const addrinfo* next = addresses;
  HResult ended = kOk;
  while ((next != nullptr || attempts.pending()) && !attempts.connected() &&
         Succeeded(ended = patience.Verdict())) {
    if (next != nullptr) {
      attempts.Start(next->ai_addr, next->ai_addrlen);
      next = next->ai_next;
    }
    const Deadline pause = Clock::now() + kNextAddressAfter;
    attempts.Await(next == nullptr ? patience : patience.Until(pause));
  }
  FileDescriptor connected = std::move(attempts.connected());
  if (!connected) {
    const bool silent = attempts.pending() || attempts.error() == 0;
    reason = silent ? ReasonOf(ended) : ErrorText(attempts.error());
    return {};
  }
  SetOption(connected.get(), IPPROTO_TCP, TCP_NODELAY, 1);
  SetOption(connected.get(), SOL_SOCKET, SO_KEEPALIVE, 1);
  SetOption(connected.get(), IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
  SetOption(connected.get(), IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
  SetOption(connected.get(), IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
  return connected;
}

// Moves exactly size bytes with send or recv, waiting as long as patience allows.
template <typename Transfer>
bool MoveAll(std::size_t size, int descriptor, short events, Patience& patience,
             std::string& reason, const Transfer& transfer) {
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = transfer(done);
    if (count > 0) {
      done += static_cast<std::size_t>(count);
    } else if (count == 0) {
      reason = "the connection was closed before the answer";
      return false;
    } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
      pollfd waiting{descriptor, events, 0};
      const HResult ended = patience.Await(std::span(&waiting, 1));
      if (Failed(ended)) {
        reason = ReasonOf(ended);
        return false;
      }
    } else if (errno != EINTR) {
      reason = ErrorText(errno);
      return false;
    }
  }
  return true;
}

bool ReceiveAll(int descriptor, char* bytes, std::size_t size, Patience& patience,
                std::string& reason) {
  return MoveAll(size, descriptor, POLLIN, patience, reason, [&](std::size_t done) {
    return recv(descriptor, bytes + done, size - done, MSG_DONTWAIT);
  });
}

}  // namespace

short AwaitDescriptor(int descriptor, short events, Patience patience) {
  pollfd waiting{descriptor, events, 0};
  return Succeeded(patience.Await(std::span(&waiting, 1))) ? waiting.revents
                                                           : static_cast<short>(0);
}

FileDescriptor ConnectTcp(const std::string& host, std::uint16_t port, Patience patience,
                          std::string& reason) {
  const AddressList addresses = LookUp(host, port, patience, reason);
  FileDescriptor connected;
  if (addresses) connected = ConnectToAny(addresses.get(), patience, reason);
  if (!connected) reason.insert(0, host + " port " + std::to_string(port) + ": ");
  return connected;
}

FileDescriptor ConnectTcp(const SocketAddress& address, Patience patience, std::string& reason) {
  SocketAddress target = address;
  addrinfo only{};
  only.ai_addr = reinterpret_cast<sockaddr*>(&target.storage);
  only.ai_addrlen = target.size;
  return ConnectToAny(&only, patience, reason);
}

SocketAddress PeerAddress(int descriptor, std::uint16_t port) {
  SocketAddress peer;
  peer.size = sizeof peer.storage;
  if (getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer.storage), &peer.size) != 0)
    return {};
  // The port is at the same place for both families.
  static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
  reinterpret_cast<sockaddr_in*>(&peer.storage)->sin_port = htons(port);
  return peer;
}

bool ExchangeFramed(int descriptor, const void* request, std::size_t size, std::size_t limit,
                    Patience patience, std::string& reply, std::string& reason) {
  std::uint32_t length = htonl(static_cast<std::uint32_t>(size));
  std::string framed(reinterpret_cast<const char*>(&length), sizeof length);
  framed.append(static_cast<const char*>(request), size);
  const bool sent =
      MoveAll(framed.size(), descriptor, POLLOUT, patience, reason, [&](std::size_t done) {
        return send(descriptor, framed.data() + done, framed.size() - done,
                    MSG_NOSIGNAL | MSG_DONTWAIT);
      });
  if (!sent) return false;
  if (!ReceiveAll(descriptor, reinterpret_cast<char*>(&length), sizeof length, patience, reason)) {
    return false;
  }
  length = ntohl(length);
  if (length == 0 || length > limit) {
    reason = "the answer is of another protocol";
    return false;
  }
  reply.resize(length);
  return ReceiveAll(descriptor, reply.data(), reply.size(), patience, reason);
}

}  // namespace zorvan::platform::posix
