// Connecting by TCP with a time limit, and the reason when it fails.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "platform/result.h"

namespace zorvan::platform::posix {

// A socket that is closed at the end of its scope unless it is released.
class Socket {
 public:
  Socket() = default;
  explicit Socket(int descriptor) : descriptor_(descriptor) {}
  Socket(Socket&& other) noexcept : descriptor_(other.Release()) {}
  Socket& operator=(Socket&& other) noexcept;
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket();

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  int Release();

 private:
  int descriptor_ = -1;
};

// Tries every address of the host in turn, all within one time limit. On failure the socket is empty and reason tells why, in words.
// Keep-alive and no-delay are set; the socket is blocking.
Socket ConnectTcp(const std::string& host, std::uint16_t port, std::chrono::milliseconds limit,
                  std::string& reason);

}  // namespace zorvan::platform::posix
