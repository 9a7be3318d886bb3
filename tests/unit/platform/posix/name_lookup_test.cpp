#include "platform/posix/name_lookup.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A resolver whose name server keeps silent until it is let go.
class SilentResolver {
 public:
  ~SilentResolver() {
    const std::lock_guard lock(state_->mutex);
    state_->released = true;
    state_->changed.notify_all();
  }
  Resolver function() const {
    return [state = state_](const char*, const char*, const addrinfo*, addrinfo**) {
      std::unique_lock lock(state->mutex);
      state->changed.wait(lock, [&] { return state->released; });
      return EAI_AGAIN;
    };
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool released = false;
  };
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

class LeavingCaller : public CallObserver {
 public:
  bool IsCancelled() override { return true; }
  void Notify(const Notice&) override {}
};

TEST(NameLookup, SilentNameServerIsGivenUpAtTheDeadlineOrWhenTheCallerLeaves) {
  const SilentResolver silent;
  std::string reason;
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(LookUp("dc1", 389, Clock::now() + 50ms, reason, silent.function()));
  EXPECT_EQ(reason, "the name server does not answer");
  LeavingCaller leaving;
  EXPECT_FALSE(LookUp("dc1", 389, {Clock::now() + 1h, &leaving}, reason, silent.function()));
  EXPECT_EQ(reason, "the caller gave up");
  EXPECT_LT(Clock::now() - start, 10s);
}

TEST(NameLookup, AddressAsksNoNameServer) {
  const SilentResolver silent;
  std::string reason;
  for (const char* address : {"127.0.0.1", "::1", "fe80::1%lo"}) {
    EXPECT_TRUE(LookUp(address, 389, Clock::now() + 50ms, reason, silent.function())) << address;
  }
}

TEST(NameLookup, FailureOfTheNameServerIsToldFromANameThatIsNot) {
  std::string reason;
  const auto answering = [](int result) -> Resolver {
    return [result](const char*, const char*, const addrinfo*, addrinfo**) { return result; };
  };
  EXPECT_FALSE(LookUp("dc1", 389, Clock::now() + 10s, reason, answering(EAI_AGAIN)));
  EXPECT_NE(reason.find("the name server does not answer"), std::string::npos) << reason;
  EXPECT_FALSE(LookUp("dc1", 389, Clock::now() + 10s, reason, answering(EAI_NONAME)));
  EXPECT_EQ(reason, gai_strerror(EAI_NONAME));
}

}  // namespace
}  // namespace zorvan::platform::posix
