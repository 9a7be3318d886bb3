#include "platform/posix/kdc_silence.h"

#include <cstring>
#include <deque>
#include <mutex>

namespace zorvan::platform::posix {
namespace {

struct Conduct {
  SocketAddress kdc;
  bool answered;
  Deadline until;  // it is forgotten then
};

// More than any domain has; the oldest makes room.
constexpr std::size_t kMaxRemembered = 64;

std::mutex mutex;
std::deque<Conduct> conducts;

bool Same(const SocketAddress& left, const SocketAddress& right) {
  return left.size == right.size && std::memcmp(&left.storage, &right.storage, left.size) == 0;
}

void Remember(const SocketAddress& kdc, bool answered, Deadline now) {
  const std::lock_guard lock(mutex);
  std::erase_if(conducts, [&](const Conduct& conduct) { return Same(conduct.kdc, kdc); });
  if (conducts.size() == kMaxRemembered) conducts.pop_front();
  conducts.push_back({kdc, answered, now + kSilenceRemembered});
}

bool Did(const SocketAddress& kdc, bool answered, Deadline now) {
  const std::lock_guard lock(mutex);
  std::erase_if(conducts, [&](const Conduct& conduct) { return conduct.until <= now; });
  for (const Conduct& conduct : conducts) {
    if (Same(conduct.kdc, kdc)) return conduct.answered == answered;
  }
  return false;
}

}  // namespace

void RememberSilence(const SocketAddress& kdc, Deadline now) { Remember(kdc, false, now); }
void RememberAnswer(const SocketAddress& kdc, Deadline now) { Remember(kdc, true, now); }
bool WasSilent(const SocketAddress& kdc, Deadline now) { return Did(kdc, false, now); }
bool HasAnswered(const SocketAddress& kdc, Deadline now) { return Did(kdc, true, now); }

}  // namespace zorvan::platform::posix
