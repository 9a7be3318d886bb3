#include "platform/posix/kdc_silence.h"

#include <cstring>
#include <deque>
#include <mutex>

namespace zorvan::platform::posix {
namespace {

struct Silence {
  SocketAddress kdc;
  Deadline until;
};

// More than any domain has; the oldest makes room.
constexpr std::size_t kMaxRemembered = 64;

std::mutex mutex;
std::deque<Silence> silences;

bool Same(const SocketAddress& left, const SocketAddress& right) {
  return left.size == right.size && std::memcmp(&left.storage, &right.storage, left.size) == 0;
}

}  // namespace

void RememberSilence(const SocketAddress& kdc, Deadline now) {
  const std::lock_guard lock(mutex);
  std::erase_if(silences, [&](const Silence& silence) { return Same(silence.kdc, kdc); });
  if (silences.size() == kMaxRemembered) silences.pop_front();
  silences.push_back({kdc, now + kSilenceRemembered});
}

bool WasSilent(const SocketAddress& kdc, Deadline now) {
  const std::lock_guard lock(mutex);
  std::erase_if(silences, [&](const Silence& silence) { return silence.until <= now; });
  for (const Silence& silence : silences) {
    if (Same(silence.kdc, kdc)) return true;
  }
  return false;
}

}  // namespace zorvan::platform::posix
