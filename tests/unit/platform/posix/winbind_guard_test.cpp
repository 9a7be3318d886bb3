#include "platform/posix/winbind_guard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>

#include "platform/posix/ntlm_credentials.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class Cancelling final : public CallObserver {
 public:
  bool IsCancelled() override { return true; }
  void Notify(const Notice&) override {}
};

TEST(WinbindGuard, WorkThatHangsIsLeftBehindAndHoldsNobodyUp) {
  const auto release = std::make_shared<std::promise<void>>();
  const auto hangs = [future = release->get_future().share()] { future.wait(); };
  Clock::time_point start = Clock::now();
  EXPECT_FALSE(RunBesideWinbind(hangs, start + 50ms, nullptr));
  EXPECT_LT(Clock::now() - start, 1s);

  start = Clock::now();
  const auto ran = std::make_shared<std::atomic<bool>>(false);
  EXPECT_FALSE(RunBesideWinbind([ran] { *ran = true; }, start + 10s, nullptr));
  EXPECT_LT(Clock::now() - start, 1s) << "told at once";
  EXPECT_FALSE(*ran);

  release->set_value();
  while (!RunBesideWinbind([ran] { *ran = true; }, Clock::now() + 10s, nullptr)) {
    ASSERT_LT(Clock::now() - start, 10s) << "the turn is free again";
  }
  EXPECT_TRUE(*ran);
}

TEST(WinbindGuard, CallerWhoWantsNoMoreIsNotHeldUp) {
  const auto release = std::make_shared<std::promise<void>>();
  const auto hangs = [future = release->get_future().share()] { future.wait(); };
  Cancelling observer;
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(RunBesideWinbind(hangs, start + 10s, &observer));
  EXPECT_LT(Clock::now() - start, 1s);
  release->set_value();
  while (!RunBesideWinbind([] {}, Clock::now() + 10s, nullptr)) {
    ASSERT_LT(Clock::now() - start, 10s);
  }
}

// A caller whose answer needs the turn itself, as a handler that makes another call does.
class AskingAgain final : public CallObserver {
 public:
  bool IsCancelled() override {
    other = std::async(std::launch::async,
                       [] { return RunBesideWinbind([] {}, Clock::now() + 50ms, nullptr); });
    return other.wait_for(2s) == std::future_status::ready;
  }
  void Notify(const Notice&) override {}

  std::future<bool> other;
};

TEST(WinbindGuard, CallerIsAskedWithoutTheLock) {
  const auto release = std::make_shared<std::promise<void>>();
  const auto hangs = [future = release->get_future().share()] { future.wait(); };
  AskingAgain observer;
  const Clock::time_point start = Clock::now();
  EXPECT_FALSE(RunBesideWinbind(hangs, start + 10s, &observer));
  EXPECT_LT(Clock::now() - start, 2s) << "the other call ended while the caller was asked";
  release->set_value();
  while (!RunBesideWinbind([] {}, Clock::now() + 10s, nullptr)) {
    ASSERT_LT(Clock::now() - start, 10s);
  }
}

TEST(NtlmCredentials, OneIsKeptForAnAccountWithItsPassword) {
  const SecretText password(u"secret");
  const SecretText changed(u"changed");
  const auto first = std::make_shared<GssCredential>();
  const auto second = std::make_shared<GssCredential>();
  EXPECT_EQ(FindNtlmCredential("D\\kept", password), nullptr);
  KeepNtlmCredential("D\\kept", password, first);
  EXPECT_EQ(FindNtlmCredential("D\\kept", password), first);
  EXPECT_EQ(FindNtlmCredential("D\\kept", changed), nullptr);
  EXPECT_EQ(FindNtlmCredential("D\\other", password), nullptr);
  KeepNtlmCredential("D\\kept", changed, second);
  EXPECT_EQ(FindNtlmCredential("D\\kept", changed), second);
  EXPECT_EQ(FindNtlmCredential("D\\kept", password), nullptr) << "an account has one password";
}

}  // namespace
}  // namespace zorvan::platform::posix
