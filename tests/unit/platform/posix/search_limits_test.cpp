// Servers that never come to an end, or say too much: each search must end, and say why.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/posix/posix_directory.h"
#include "platform/posix/unicode.h"
#include "unit/platform/posix/ber.h"
#include "unit/platform/posix/canned_server.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr HResult kDecodingError = HResultFromWin32(8253);
constexpr HResult kResultsTooLarge = HResultFromWin32(8248);
constexpr HResult kControlNotFound = HResultFromWin32(8258);
constexpr HResult kClientLoop = HResultFromWin32(8259);

std::string Person(int id, const std::string& name) {
  return CannedServer::Entry(id, "CN=" + name + ",DC=x", ber::Attribute("cn", {name}));
}

class Caller : public CallObserver {
 public:
  bool IsCancelled() override {
    ++questions;
    return enough;
  }
  void Notify(const Notice&) override {}

  bool enough = false;
  int questions = 0;
};

struct End {
  HResult result = kUnexpected;
  std::size_t rows = 0;
  ExtendedError error;
};

class SearchLimits : public testing::Test {
 protected:
  void SetUp() override {
    conditions_.terms.idle = 300ms;
    conditions_.terms.maxMessageBytes = 100000;
    conditions_.observer = &caller_;
  }

  End SearchAt(const CannedServer& server) {
    directory_.SetConditions(conditions_);
    End end;
    std::unique_ptr<DirectorySearch> search;
    end.result = directory_.OpenSearch(server.path() + u"DC=x", {}, kFastBind, search);
    const SearchPreference preferences[] = {{SearchPreferenceId::kPageSize, 2}};
    const std::u16string_view attributes[] = {u"cn"};
    if (Succeeded(end.result)) end.result = search->SetSearchPreference(preferences);
    if (Succeeded(end.result)) end.result = search->ExecuteSearch(u"(cn=*)", attributes);
    while (Succeeded(end.result) && (end.result = search->GetNextRow()) == kOk) ++end.rows;
    end.error = search != nullptr ? search->LastError() : directory_.LastError();
    return end;
  }

  Caller caller_;
  CallConditions conditions_;
  PosixDirectory directory_;
};

TEST_F(SearchLimits, SearchAtAServerThatNeverEndsFailsAndSaysWhy) {
  struct Case {
    const char* what;
    CannedServer::Answer answer;
    std::size_t rows;
    HResult result;
    const char* words;
  };
  const auto two = [](int id) { return Person(id, "a") + Person(id, "b"); };
  const Case cases[] = {
      {"a message byte after byte",
       [](int id, std::size_t) {
         return std::string("\x30\x84\x00\x01\x00\x00\x02\x01", 8) + static_cast<char>(id) +
                "\x64" + CannedServer::kSlowly;
       },
       0, kTimedOut, "no whole answer"},
      {"a flood of answers to another question",
       [](int id, std::size_t) { return Person(id + 1000, "a") + CannedServer::kForever; }, 0,
       kTimedOut, "no whole answer"},
      {"nothing but references",
       [](int id, std::size_t) { return CannedServer::Reference(id) + CannedServer::kForever; }, 0,
       kClientLoop, "without an entry"},
      {"empty pages, each with a cookie of its own",
       [](int id, std::size_t number) {
         return CannedServer::DonePage(id, std::to_string(number));
       },
       0, kClientLoop, "without an entry"},
      {"an empty page with the cookie of the one before",
       [&](int id, std::size_t number) {
         return (number == 1 ? two(id) : "") + CannedServer::DonePage(id, "same");
       },
       2, kClientLoop, "cookie stays the same"},
      {"the same page again and again",
       [&](int id, std::size_t) { return two(id) + CannedServer::DonePage(id, "same"); }, 4,
       kClientLoop, "cookie stays the same"},
      {"a paging control of garbage",
       [&](int id, std::size_t) { return two(id) + CannedServer::DoneWithControl(id, "garbage"); },
       2, kDecodingError, "cannot be decoded"},
      {"a next page without a paging control",
       [&](int id, std::size_t number) {
         return two(id) +
                (number == 1 ? CannedServer::DonePage(id, "more") : CannedServer::Done(id));
       },
       4, kControlNotFound, "whether it is the last"},
      {"a message of a gigabyte, as it says",
       [](int id, std::size_t) {
         return Person(id, "a") + std::string("\x30\x84\x40\x00\x00\x00\x02\x01\x02", 9);
       },
       1, kResultsTooLarge, "a message of 1073741824 bytes; the limit is 100000"},
  };
  for (const Case& test : cases) {
    const CannedServer server(test.answer);
    const Clock::time_point start = Clock::now();
    const End end = SearchAt(server);
    EXPECT_EQ(end.result, test.result) << test.what << ": " << std::hex << end.result;
    EXPECT_EQ(end.rows, test.rows) << test.what;
    EXPECT_NE(ToUtf8(end.error.text).find(test.words), std::string::npos)
        << test.what << ": " << ToUtf8(end.error.text);
    EXPECT_EQ(end.error.code, Bits(test.result) & 0xFFFFU) << test.what;
    EXPECT_LT(Clock::now() - start, 20s) << test.what;
  }
}

TEST_F(SearchLimits, OneCookieForAllPagesIsFineWhileTheyBringNewEntries) {
  CannedServer server([](int id, std::size_t number) {
    return Person(id, std::to_string(number)) +
           CannedServer::DonePage(id, number < 4 ? "same" : "");
  });
  const End end = SearchAt(server);
  EXPECT_EQ(end.result, kNoMoreRows);
  EXPECT_EQ(end.rows, 4U);
  // BOOLEAN TRUE behind the control's name
  const std::string critical = ber::Octets(LDAP_CONTROL_PAGEDRESULTS) + "\x01\x01\xFF";
  const std::vector<ReceivedSearch> requests = server.received();
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_EQ(requests[0].bytes.find(critical), std::string::npos);
  EXPECT_NE(requests[1].bytes.find(critical), std::string::npos);
}

TEST_F(SearchLimits, IdleLimitIsCountedFromTheLastWholeMessage) {
  conditions_.terms.idle = 1s;
  CannedServer server([](int id, std::size_t) {
    std::string people;
    for (int i = 0; i < 10; ++i) people += Person(id, std::to_string(i));
    return people + CannedServer::kSlowly;  // two seconds in all, and one for a message is plenty
  });
  EXPECT_EQ(SearchAt(server).rows, 10U);
}

TEST_F(SearchLimits, CallEndsWhenItsCallerWantsNoMoreAndTheConnectionStays) {
  conditions_.terms.idle = 1h;
  CannedServer server([this](int id, std::size_t number) {
    return number == 1 ? Person(id, "a") : CannedServer::Done(id);
  });
  caller_.enough = false;
  struct WantsNoMoreOnceAsked : Caller {
    bool IsCancelled() override { return ++questions > 3; }
  } leaving;
  conditions_.observer = &leaving;
  const End cancelled = SearchAt(server);
  EXPECT_EQ(cancelled.result, kCancelled);
  EXPECT_EQ(cancelled.error.code, 1223U);
  EXPECT_TRUE(server.AwaitAbandoned(1));
}

TEST_F(SearchLimits, CallEndsAtItsOwnLimit) {
  conditions_.terms.idle = 1h;
  conditions_.end = Clock::now() + 500ms;
  CannedServer silent([](int, std::size_t) { return ""; });
  End end = SearchAt(silent);
  EXPECT_EQ(end.result, kTimedOut);
  EXPECT_NE(ToUtf8(end.error.text).find("whole call"), std::string::npos);

  // Also where the server never makes anybody wait.
  conditions_.end = Clock::now() + 500ms;
  CannedServer endless([](int id, std::size_t number) {
    return Person(id, std::to_string(number)) + CannedServer::DonePage(id, std::to_string(number));
  });
  end = SearchAt(endless);
  EXPECT_EQ(end.result, kTimedOut);
  EXPECT_GT(end.rows, 0U);
}

TEST_F(SearchLimits, ConnectionThatCannotBeSentOnIsNotOfferedAgain) {
  CannedServer server([](int id, std::size_t number) {
    return CannedServer::DonePage(id, "") + (number == 1 ? CannedServer::kReset : "");
  });
  EXPECT_EQ(SearchAt(server).result, kNoMoreRows);
  ASSERT_TRUE(server.AwaitClosed(1));
  EXPECT_EQ(SearchAt(server).result, kServerDown);
  EXPECT_EQ(SearchAt(server).result, kNoMoreRows);
  EXPECT_TRUE(server.AwaitConnections(2));
}

// Servers drop the result of one paged search for another.
TEST_F(SearchLimits, SearchBetweenThePagesOfAnotherIsAskedForInOnePieceIfItIsOne) {
  constexpr char kPages[] = "1.2.840.113556.1.4.319";
  CannedServer server([](int id, std::size_t number) {
    switch (number) {
      case 1:  // the outer search, of two pages
        return Person(id, "outer1") + Person(id, "outer2") + CannedServer::DonePage(id, "more");
      case 2:
        return Person(id, "outer3") + CannedServer::DonePage(id, "");
      case 3:  // an inner one that is small
        return Person(id, "inner") + CannedServer::Done(id);
      case 4:  // and one that is not
        return Person(id, "a") + Person(id, "b") + CannedServer::Done(id, LDAP_SIZELIMIT_EXCEEDED);
      case 5:
        return Person(id, "a") + Person(id, "b") + CannedServer::DonePage(id, "more");
      default:
        return Person(id, "c") + CannedServer::DonePage(id, "");
    }
  });
  directory_.SetConditions(conditions_);
  std::unique_ptr<DirectorySearch> outer;
  ASSERT_EQ(directory_.OpenSearch(server.path() + u"DC=x", {}, kFastBind, outer), kOk);
  const SearchPreference preferences[] = {{SearchPreferenceId::kPageSize, 2}};
  const std::u16string_view attributes[] = {u"cn"};
  ASSERT_EQ(outer->SetSearchPreference(preferences), kOk);
  ASSERT_EQ(outer->ExecuteSearch(u"(cn=*)", attributes), kOk);
  ASSERT_EQ(outer->GetNextRow(), kOk);
  ASSERT_TRUE(server.AwaitSearches(2));

  EXPECT_EQ(SearchAt(server).rows, 1U);
  const End large = SearchAt(server);
  EXPECT_EQ(large.result, kNoMoreRows);
  EXPECT_EQ(large.rows, 3U);
  std::vector<bool> paged;
  for (const ReceivedSearch& search : server.received()) {
    paged.push_back(search.bytes.find(kPages) != std::string::npos);
  }
  EXPECT_EQ(paged, (std::vector<bool>{true, true, false, false, true, true}));
}

}  // namespace
}  // namespace zorvan::platform::posix
