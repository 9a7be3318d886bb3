#include "platform/posix/patience.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Wants no more from the given question on.
class Impatient : public CallObserver {
 public:
  explicit Impatient(int enoughAt) : enoughAt_(enoughAt) {}
  bool IsCancelled() override { return ++questions_ >= enoughAt_; }
  void Notify(const Notice&) override {}
  int questions() const { return questions_; }

 private:
  int enoughAt_;
  int questions_ = 0;
};

class PatienceTest : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ours_.Reset(ends[0]);
    theirs_.Reset(ends[1]);
  }
  HResult Await(Patience patience) {
    pollfd waiting{ours_.get(), POLLIN, 0};
    return patience.Await(std::span(&waiting, 1));
  }

  FileDescriptor ours_;
  FileDescriptor theirs_;
};

TEST_F(PatienceTest, WaitEndsWithTheCallersWishOrTheDeadline) {
  Impatient soon(3);
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(Await({Clock::now() + 1h, &soon}), kCancelled);
  EXPECT_LT(Clock::now() - start, 5s);

  Impatient never(1000);
  EXPECT_EQ(Await({Clock::now() + 500ms, &never}), kTimedOut);
  EXPECT_GE(never.questions(), 2) << "five times a second were promised";
  EXPECT_EQ(Await(Clock::now() + 1ms), kTimedOut);
}

TEST_F(PatienceTest, TimeThatIsOverIsOverWhateverIsReady) {
  ASSERT_EQ(write(theirs_.get(), "x", 1), 1);
  EXPECT_EQ(Await(Clock::now() + 10s), kOk);
  EXPECT_EQ(Await(Clock::now() - 1s), kTimedOut);
}

TEST_F(PatienceTest, CallerIsAskedAlsoWhereDataNeverStops) {
  ASSERT_EQ(write(theirs_.get(), "x", 1), 1);
  Impatient soon(2);
  Patience patience(Clock::now() + 10s, &soon);
  pollfd waiting{ours_.get(), POLLIN, 0};
  HResult result = kOk;
  while ((result = patience.Await(std::span(&waiting, 1))) == kOk &&
         Clock::now() < patience.deadline()) {
  }
  EXPECT_EQ(result, kCancelled);
}

}  // namespace
}  // namespace zorvan::platform::posix
