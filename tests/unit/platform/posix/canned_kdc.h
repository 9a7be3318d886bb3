// A key distribution centre in a thread of the test, which answers every request alike; and the
// bytes of what it can say.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/posix/tcp_connector.h"
#include "support/loopback.h"
#include "unit/platform/posix/ber.h"

namespace zorvan::platform::posix {

// A request for that many iterations, for AES-256, in one of the two forms that a KRB-ERROR has for
// it: their fields are numbered from 1 (PA-DATA) or from 0 (TYPED-DATA).
inline std::string KeyInfo(std::uint32_t iterations, char firstField = 1) {
  using ber::Element;
  std::string count;
  for (int shift = 24; shift >= 0; shift -= 8) count += static_cast<char>(iterations >> shift);
  const std::string entry = Element('\xa0', Element('\x02', "\x12")) +
                            Element('\xa1', Element('\x1b', "EXAMPLE.TESTreader")) +
                            Element('\xa2', ber::Octets(count));
  const auto type = static_cast<char>('\xa0' + firstField);
  const auto value = static_cast<char>(type + 1);
  return Element('\x30', Element(type, Element('\x02', "\x13")) +
                             Element(value, ber::Octets(Element('\x30', Element('\x30', entry)))));
}

// That encrypted timestamps are understood.
inline std::string TimestampWanted(char firstField = 1) {
  using ber::Element;
  const auto type = static_cast<char>('\xa0' + firstField);
  const auto value = static_cast<char>(type + 1);
  return Element('\x30', Element(type, Element('\x02', "\x02")) + Element(value, ber::Octets("")));
}

inline std::string KdcError(char code, const std::string& padata = {}) {
  using ber::Element;
  const auto small = [](char value) { return Element('\x02', std::string(1, value)); };
  const auto text = [](const std::string& value) { return Element('\x1b', value); };
  std::string fields = Element('\xa0', small('\x05')) + Element('\xa1', small('\x1e')) +
                       Element('\xa4', Element('\x18', "20260101000000Z")) +
                       Element('\xa5', small('\0')) + Element('\xa6', small(code)) +
                       Element('\xa9', text("EXAMPLE.TEST"));
  fields += Element(
      '\xaa',
      Element('\x30', Element('\xa0', small('\x02')) +
                          Element('\xa1', Element('\x30', text("krbtgt") + text("EXAMPLE.TEST")))));
  if (!padata.empty()) fields += Element('\xac', ber::Octets(Element('\x30', padata)));
  return Element('\x7e', Element('\x30', fields));
}

class CannedKdc {
 public:
  // Without an answer it keeps silent.
  explicit CannedKdc(std::optional<std::string> answer)
      : answer_(std::move(answer)), thread_([this] { Run(); }) {}
  ~CannedKdc() {
    listener_.Shutdown();
    thread_.join();
  }
  CannedKdc(const CannedKdc&) = delete;
  CannedKdc& operator=(const CannedKdc&) = delete;

  SocketAddress address() const {
    SocketAddress address;
    auto* inet = reinterpret_cast<sockaddr_in*>(&address.storage);
    inet->sin_family = AF_INET;
    inet->sin_port = htons(listener_.port());
    inet_pton(AF_INET, "127.0.0.1", &inet->sin_addr);
    address.size = sizeof *inet;
    return address;
  }

  std::vector<std::string> requests() {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  void Run() {
    std::vector<FileDescriptor> kept;  // a silent one closes nothing
    while (FileDescriptor client = listener_.Accept()) {
      char bytes[4096];
      const ssize_t count = recv(client.get(), bytes, sizeof bytes, 0);
      {
        const std::lock_guard lock(mutex_);
        requests_.emplace_back(bytes, count < 0 ? 0 : static_cast<std::size_t>(count));
      }
      if (answer_) {
        const std::uint32_t size = htonl(static_cast<std::uint32_t>(answer_->size()));
        std::string framed(reinterpret_cast<const char*>(&size), sizeof size);
        framed += *answer_;
        send(client.get(), framed.data(), framed.size(), MSG_NOSIGNAL);
      } else {
        kept.push_back(std::move(client));
      }
    }
  }

  std::optional<std::string> answer_;
  support::Listener listener_;
  std::mutex mutex_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

}  // namespace zorvan::platform::posix
