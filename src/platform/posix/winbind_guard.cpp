#include "platform/posix/winbind_guard.h"

#include <dlfcn.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

// Twice as often as the caller was promised.
constexpr std::chrono::milliseconds kBetweenQuestions{100};

struct Turn {
  std::mutex mutex;
  std::condition_variable changed;
  bool taken = false;
  bool leftBehind = false;
};

// Waits until the condition holds; false when time or the caller's wish for the result is over. The
// caller answers in code of its own, which must not hold up other calls, so it is asked without the
// lock.
template <typename Condition>
bool Await(Turn& turn, std::unique_lock<std::mutex>& lock, Deadline deadline,
           CallObserver* observer, const Condition& condition) {
  while (!condition()) {
    if (Clock::now() >= deadline) return false;
    turn.changed.wait_until(lock, std::min(deadline, Clock::now() + kBetweenQuestions));
    if (observer == nullptr || condition()) continue;
    lock.unlock();
    const bool cancelled = observer->IsCancelled();
    lock.lock();
    if (cancelled && !condition()) return false;
  }
  return true;
}

// The code that a thread left behind will return to must stay.
void KeepLibraryLoaded() {
  Dl_info here{};
  if (dladdr(reinterpret_cast<void*>(&RunBesideWinbind), &here) != 0)
    static_cast<void>(dlopen(here.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE));
}

}  // namespace

bool RunBesideWinbind(std::function<void()> work, Deadline deadline, CallObserver* observer) {
  static const auto shared = std::make_shared<Turn>();
  const std::shared_ptr<Turn> turn = shared;  // outlives the end of the process in its thread
  std::unique_lock lock(turn->mutex);
  const bool free =
      Await(*turn, lock, deadline, observer, [&] { return !turn->taken || turn->leftBehind; });
  if (!free || turn->leftBehind) return false;
  const auto done = std::make_shared<bool>(false);
  std::thread thread;
  try {
    thread = std::thread([turn, done, work = std::move(work)]() mutable {
      work();
      work = nullptr;
      const std::lock_guard alone(turn->mutex);
      *done = true;
      turn->taken = false;
      turn->leftBehind = false;
      turn->changed.notify_all();
    });
  } catch (const std::system_error&) {
    return false;  // no thread is left; the turn stays free for the next
  }
  turn->taken = true;
  if (Await(*turn, lock, deadline, observer, [&] { return *done; })) {
    lock.unlock();
    thread.join();
    return true;
  }
  turn->leftBehind = true;
  KeepLibraryLoaded();
  thread.detach();
  return false;
}

}  // namespace zorvan::platform::posix
