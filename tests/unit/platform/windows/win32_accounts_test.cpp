// Terminal-services settings over a call that follows a script.
#include "platform/windows/win32_accounts.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/windows/handles.h"

namespace {

struct WtsScript {
  BOOL succeeds = TRUE;
  DWORD error = ERROR_SUCCESS;
  std::vector<BYTE> answer;
  std::wstring server;
  std::wstring user;
  int buffersOut = 0;
};

WtsScript script;

}  // namespace

// In the place of the system's own, which asks a domain controller that no test has.
extern "C" BOOL WINAPI WTSQueryUserConfigW(LPWSTR server, LPWSTR user, WTS_CONFIG_CLASS,
                                           LPWSTR* buffer, DWORD* bytes) {
  script.server = server;
  script.user = user;
  SetLastError(script.error);
  if (!script.succeeds) return FALSE;
  auto* copy = static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, script.answer.size() + 1));
  if (!script.answer.empty()) std::memcpy(copy, script.answer.data(), script.answer.size());
  ++script.buffersOut;
  *buffer = reinterpret_cast<wchar_t*>(copy);
  *bytes = static_cast<DWORD>(script.answer.size());
  return TRUE;
}
extern "C" void WINAPI WTSFreeMemory(PVOID memory) {
  --script.buffersOut;
  LocalFree(memory);
}

namespace zorvan::platform::windows {
namespace {

class Win32AccountsTest : public testing::Test {
 protected:
  void SetUp() override { script = {}; }
  void TearDown() override { EXPECT_EQ(script.buffersOut, 0) << "the system's memory is kept"; }

  void Answer(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const BYTE*>(data);
    script.answer.assign(bytes, bytes + size);
  }

  Win32Code Query(TerminalServicesClass setting, std::u16string_view user = u"anna") {
    return Win32Accounts().QueryUserConfig(u"dc1", u"DC=x", {}, user, setting, value_).code;
  }

  TerminalServicesValue value_;
};

TEST_F(Win32AccountsTest, ReadsTextsAndNumbersByTheirClass) {
  Answer(L"\\\\srv\\profiles", sizeof(L"\\\\srv\\profiles"));
  ASSERT_EQ(Query(TerminalServicesClass::kProfilePath), 0U);
  EXPECT_EQ(std::get<std::u16string>(value_), u"\\\\srv\\profiles");
  EXPECT_EQ(script.server, L"dc1");
  EXPECT_EQ(script.user, L"anna");
  const DWORD minutes = 0xFFFFFFFF;
  Answer(&minutes, sizeof(minutes));
  ASSERT_EQ(Query(TerminalServicesClass::kTimeoutIdle), 0U);
  EXPECT_EQ(std::get<std::uint32_t>(value_), 0xFFFFFFFFU);
}

TEST_F(Win32AccountsTest, FailsAsTheCallFails) {
  script.succeeds = FALSE;
  script.error = ERROR_NO_SUCH_USER;
  EXPECT_EQ(Query(TerminalServicesClass::kProfilePath), DWORD{ERROR_NO_SUCH_USER});
  script.error = ERROR_SUCCESS;
  EXPECT_EQ(Query(TerminalServicesClass::kProfilePath), DWORD{ERROR_GEN_FAILURE})
      << "a failure without a code is a failure";
}

TEST_F(Win32AccountsTest, ReadsNoFurtherThanTheAnswer) {
  Answer(L"abcdef", 3 * sizeof(wchar_t));
  ASSERT_EQ(Query(TerminalServicesClass::kProfilePath), 0U);
  EXPECT_EQ(std::get<std::u16string>(value_), u"abc") << "an answer without a zero at its end";
  const BYTE half[] = {1, 2};
  Answer(half, sizeof(half));
  EXPECT_EQ(Query(TerminalServicesClass::kShadowing), DWORD{ERROR_INVALID_DATA});
}

TEST_F(Win32AccountsTest, DoesNotAskForANameWithAZeroInside) {
  EXPECT_EQ(Query(TerminalServicesClass::kShadowing, std::u16string_view(u"an\0na", 5)),
            DWORD{ERROR_INVALID_PARAMETER});
  EXPECT_TRUE(script.user.empty());
}

}  // namespace
}  // namespace zorvan::platform::windows
