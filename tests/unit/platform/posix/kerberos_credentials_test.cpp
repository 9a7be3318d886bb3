// What a key distribution centre can do to a log-on without knowing the password.
#include "platform/posix/kerberos_credentials.h"

#include <gtest/gtest.h>

#include "platform/posix/kdc_silence.h"
#include "platform/posix/kerberos_failure.h"
#include "platform/posix/kerberos_reply.h"
#include "unit/platform/posix/canned_kdc.h"

namespace zorvan::platform::posix {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Attempt {
  KerberosOutcome outcome = KerberosOutcome::kReady;
  HResult result = kOk;
  ExtendedError error;
  Clock::duration time{};
};

Attempt LogOnAt(CannedKdc& kdc, const std::string& user = "reader", bool allowRc4 = false) {
  const SecretText password(u"secret");
  const Clock::time_point start = Clock::now();
  Attempt attempt;
  KerberosCredentials tickets;
  attempt.outcome = tickets.Acquire({.name = LogonName::Parse(user),
                                     .password = password,
                                     .realm = "EXAMPLE.TEST",
                                     .services = {"ldap/dc1.example.test"},
                                     .kdc = kdc.address(),
                                     .patience = start + 300ms,
                                     .allowRc4 = allowRc4},
                                    attempt.result, attempt.error);
  attempt.time = Clock::now() - start;
  return attempt;
}

constexpr char kPreauthRequired = 25;

TEST(KerberosCredentials, FailuresHaveACodeAndWordsOfTheirOwn) {
  struct Case {
    const char* what;
    std::optional<std::string> answer;
    KerberosOutcome outcome;
    HResult result;
    const char* words;
  };
  const Case cases[] = {
      {"silence", std::nullopt, KerberosOutcome::kFailed, kServerDown, "no answer"},
      {"another protocol", "HTTP/1.1 400 Bad Request", KerberosOutcome::kFailed, kServerDown,
       "another protocol"},
      {"clocks", KdcError(37), KerberosOutcome::kFailed, kTimeSkew, "clocks"},
      {"no AES keys", KdcError(14), KerberosOutcome::kFailed, kAlgorithmMismatch, "RC4"},
      {"another realm", KdcError(68), KerberosOutcome::kFailed, kNoLogonServers, "another domain"},
      {"an error without a meaning here", KdcError(60), KerberosOutcome::kFailed, kServerDown,
       "no ticket"},
      {"the password", KdcError(24), KerberosOutcome::kRefused, kLogonFailure, "password"},
      {"a key that is cheap to guess", KdcError(kPreauthRequired, KeyInfo(1) + TimestampWanted()),
       KerberosOutcome::kFailed, kServerDown, "fewer"},
      {"endless questions", KdcError(kPreauthRequired, KeyInfo(4096) + TimestampWanted()),
       KerberosOutcome::kFailed, kServerDown, "no ticket"},
  };
  for (const Case& test : cases) {
    CannedKdc kdc(test.answer);
    const Attempt attempt = LogOnAt(kdc);
    EXPECT_EQ(attempt.outcome, test.outcome) << test.what;
    EXPECT_EQ(attempt.result, test.result) << test.what;
    EXPECT_EQ(attempt.error.code, test.result == kLogonFailure ? 1326U : CodeOf(test.result));
    EXPECT_NE(ToUtf8(attempt.error.text).find(test.words), std::string::npos)
        << test.what << ": " << ToUtf8(attempt.error.text);
    EXPECT_LT(attempt.time, 2s) << test.what;
  }
}

TEST(KerberosCredentials, UnknownNameOfAnotherDomainIsRefusedInBothSpellings) {
  constexpr char kUnknown = 6;
  for (const char* user : {"other.test\\reader", "reader@other.test"}) {
    CannedKdc kdc(KdcError(kUnknown));
    const Attempt attempt = LogOnAt(kdc, user);
    EXPECT_EQ(attempt.outcome, KerberosOutcome::kRefused) << user;
    EXPECT_EQ(attempt.error.code, 1326U) << user;
    EXPECT_NE(ToUtf8(attempt.error.text).find("other.test"), std::string::npos) << user;
  }
}

TEST(KerberosCredentials, PasswordIsNotPutThroughMoreIterationsThanAreSane) {
  for (const char firstField : {'\1', '\0'}) {
    for (const std::uint32_t iterations : {0xFFFFFFU, 0U, kMaxKeyIterations + 1}) {
      CannedKdc kdc(KdcError(kPreauthRequired,
                             KeyInfo(iterations, firstField) + TimestampWanted(firstField)));
      const Attempt attempt = LogOnAt(kdc);
      EXPECT_EQ(attempt.result, kServerDown) << iterations;
      EXPECT_NE(ToUtf8(attempt.error.text).find("iterations"), std::string::npos)
          << ToUtf8(attempt.error.text);
      EXPECT_EQ(kdc.requests().size(), 1U) << "no timestamp under such a key";
      EXPECT_LT(attempt.time, 1s) << iterations;
    }
  }
}

TEST(KerberosCredentials, Rc4IsOfferedByChoiceOnly) {
  const std::string rc4 = ber::Element('\x02', "\x17");
  const std::string aes = ber::Element('\x02', "\x12");
  for (const bool allowed : {false, true}) {
    CannedKdc kdc(KdcError(14));
    LogOnAt(kdc, "reader", allowed);
    ASSERT_EQ(kdc.requests().size(), 1U);
    const std::string request = kdc.requests().front();
    EXPECT_NE(request.find(aes), std::string::npos);
    EXPECT_EQ(request.find(rc4) != std::string::npos, allowed);
  }
}

TEST(KerberosCredentials, SilenceIsRememberedForAMinutePerAddress) {
  CannedKdc kdc(KdcError(37));
  CannedKdc other(KdcError(37));
  const Deadline now = Clock::now();
  RememberSilence(kdc.address(), now);
  EXPECT_EQ(LogOnAt(kdc).result, kServerDown);
  EXPECT_TRUE(kdc.requests().empty());
  EXPECT_EQ(LogOnAt(other).result, kTimeSkew);
  EXPECT_TRUE(WasSilent(kdc.address(), now + kSilenceRemembered - 1ms));
  EXPECT_FALSE(WasSilent(kdc.address(), now + kSilenceRemembered));
  // An answer is remembered too, and the latest counts.
  EXPECT_TRUE(HasAnswered(other.address(), Clock::now()));
  RememberAnswer(kdc.address(), now);
  EXPECT_FALSE(WasSilent(kdc.address(), now));
  EXPECT_EQ(LogOnAt(kdc).result, kTimeSkew);
}

TEST(KerberosReply, IterationsAreFoundOrTheReplyIsRefused) {
  const std::string plain = KdcError(kPreauthRequired, KeyInfo(32768) + TimestampWanted());
  EXPECT_EQ(KeyIterationsIn(plain), (KeyIterations{32768, 32768}));
  EXPECT_EQ(
      KeyIterationsIn(KdcError(kPreauthRequired, TimestampWanted() + KeyInfo(9) + KeyInfo(1))),
      (KeyIterations{1, 9}));
  EXPECT_EQ(KeyIterationsIn(KdcError(37)), KeyIterations());
  const std::string asReply = ber::Element(
      '\x6b', ber::Element('\x30', ber::Element('\xa2', ber::Element('\x30', KeyInfo(7)))));
  EXPECT_EQ(KeyIterationsIn(asReply), (KeyIterations{7, 7}));
  EXPECT_EQ(KeyIterationsIn(ber::Element('\x6d', "whatever")), KeyIterations())
      << "made without a password";
  // What libkrb5 reads too: an open length, and a tag in its long form.
  const std::string inside = plain.substr(4);
  EXPECT_EQ(KeyIterationsIn("\x7e\x80" + inside + std::string(2, '\0')), std::nullopt);
  EXPECT_EQ(KeyIterationsIn("\x7f\x1e" + plain.substr(1)), std::nullopt);
  for (std::size_t size = 0; size < plain.size(); ++size) {
    EXPECT_EQ(KeyIterationsIn(plain.substr(0, size)), std::nullopt) << size;
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
