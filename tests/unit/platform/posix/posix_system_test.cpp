#include "platform/posix/posix_system.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/posix/ldap_result.h"

namespace zorvan::platform::posix {
namespace {

TEST(MessageTexts, ExistForEveryResultThatADirectoryServerCanCause) {
  PosixSystem system;
  std::u16string text;
  for (int code = -20; code <= 130; ++code) {
    const HResult result = HResultFromLdap(code);
    if (!Failed(result)) continue;
    EXPECT_TRUE(system.FormatMessageText(Bits(result), text))
        << code << " became " << std::hex << Bits(result);
  }
}

TEST(MessageTexts, OfAResultAndOfItsWin32CodeAreTheSame) {
  PosixSystem system;
  std::u16string ofResult;
  std::u16string ofCode;
  ASSERT_TRUE(system.FormatMessageText(0x8007052E, ofResult));
  ASSERT_TRUE(system.FormatMessageText(1326, ofCode));
  EXPECT_EQ(ofResult, ofCode);
  EXPECT_FALSE(system.FormatMessageText(0x8007FFFF, ofResult));
  EXPECT_FALSE(system.FormatMessageText(0x80010001, ofResult));
}

}  // namespace
}  // namespace zorvan::platform::posix
