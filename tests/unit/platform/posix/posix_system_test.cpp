#include "platform/posix/posix_system.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/posix/kerberos_failure.h"
#include "platform/posix/ldap_result.h"

namespace zorvan::platform::posix {
namespace {

TEST(MessageTexts, ExistForEveryResultThatADirectoryServerCanCause) {
  PosixSystem system;
  std::u16string text;
  for (int code = -20; code <= 130; ++code) {
    const HResult result = HResultFromLdap(code);
    if (!Failed(result)) continue;
    EXPECT_EQ(system.FormatMessageText(Bits(result), text), 0U)
        << code << " became " << std::hex << Bits(result);
  }
}

TEST(MessageTexts, ExistForEveryFailureOfALogOn) {
  PosixSystem system;
  std::u16string text;
  for (const HResult result :
       {kTimeSkew, kNoLogonServers, kBadConfiguration, kTargetUnknown, kLogonDenied, kTicketExpired,
        kAlgorithmMismatch, kNoLogonSession, kLogonFailure, kCancelled, kTimedOut}) {
    EXPECT_EQ(system.FormatMessageText(Bits(result), text), 0U) << std::hex << Bits(result);
  }
}

TEST(MessageTexts, OfAResultAndOfItsWin32CodeAreTheSame) {
  PosixSystem system;
  std::u16string ofResult;
  std::u16string ofCode;
  ASSERT_EQ(system.FormatMessageText(0x8007052E, ofResult), 0U);
  ASSERT_EQ(system.FormatMessageText(1326, ofCode), 0U);
  EXPECT_EQ(ofResult, ofCode);
  EXPECT_NE(system.FormatMessageText(0x8007FFFF, ofResult), 0U);
  EXPECT_NE(system.FormatMessageText(0x80010001, ofResult), 0U);
}

}  // namespace
}  // namespace zorvan::platform::posix
