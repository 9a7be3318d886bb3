// A report that uses everything a row can hold, run again and again with each of its calls to the
// platform failing in turn.
#include <gtest/gtest.h>

#include "directory/handler_initialization.h"
#include "reports/report_engine.h"
#include "support/recording.h"
#include "support/scripted_platform.h"

namespace zorvan::reports {
namespace {

using support::DomainSid;

// The whole of one call: connecting, the report, what came of it.
struct Outcome {
  bool connected = false;
  std::size_t calls = 0;
  std::size_t openInterfaces = 0;
  std::vector<std::u16string> rows;
  support::RecordingErrors errors;
  support::RecordingLog log;
};

void FillDirectory(support::Script& script) {
  const std::u16string group = u"CN=Staff,DC=example,DC=com";
  const std::u16string user = u"CN=ann,DC=example,DC=com";
  script.Add(u"CN=Domain Users,DC=example,DC=com")
      .Texts(u"cn", {u"Domain Users"})
      .Texts(u"objectClass", {u"top", u"group"})
      .Binary(u"objectSid", DomainSid(513))
      .Number(u"userAccountControl", 2);
  script.Add(group)
      .Texts(u"cn", {u"Staff"})
      .Texts(u"objectClass", {u"top", u"group"})
      .Texts(u"member;range=0-1499", {user})
      .Texts(u"managedBy", {user})
      .Binary(u"objectSid", DomainSid(1200))
      .Number(u"userAccountControl", 2);
  script.Add(user)
      .Texts(u"cn", {u"ann"})
      .Texts(u"objectClass", {u"top", u"user"})
      .Texts(u"sAMAccountName", {u"ann"})
      .Texts(u"memberOf", {group})
      .Texts(u"manager", {user})
      .Texts(u"authOrig", {group})
      .Texts(u"dLMemSubmitPerms", {group})
      .Number(u"primaryGroupID", 513)
      .Number(u"userAccountControl", 0x202)
      .Binary(u"objectSid", DomainSid(1105))
      .Binary(u"objectGUID", support::Octets(16));
  script.answers[u"(&(primaryGroupID=513)(!sAMAccountType=805306370))"] = {user};
  script.answers[u"(&(primaryGroupID=1200)(!sAMAccountType=805306370))"];
  script.userConfig[u"ann"] = u"\\\\srv\\ann";
}

// Fails the nth of the platform's calls, or none for 0.
Outcome RunWithFailure(std::size_t nth, platform::HResult code) {
  Outcome outcome;
  support::Script script;
  FillDirectory(script);
  if (nth > 0) script.Fail(support::Call::kAny, code, {}, nth);
  {
    support::ScriptedPlatform platform(script);
    call::NativeHandler handler(platform, outcome.log);
    support::RecordingListener listener(handler.keys);
    directory::DomainProperties properties;
    properties.domainName = u"example.com";
    properties.domainControllers = {u"dc1", u"dc2"};
    properties.defaultNamingContext = u"DC=example,DC=com";
    outcome.connected = directory::InitializeHandler(handler, properties, outcome.errors);
    if (outcome.connected) {
      const std::vector<std::u16string> attributes = {
          u"cn",       u"sAMAccountName", u"memberOf",   u"member",    u"managedBy",    u"manager",
          u"authOrig", u"primaryGroupID", u"objectGUID", u"objectSid", u"tsProfilePath"};
      RunReport(handler, *FindReport("GetDisabledAccounts"), {u"DC=example,DC=com", attributes, {}},
                listener, outcome.errors);
    }
    outcome.rows = listener.rows;
  }
  outcome.calls = script.fallibleCalls;
  outcome.openInterfaces = script.openInterfaces;
  return outcome;
}

std::u16string Formatted(std::string_view format, std::uint32_t number) {
  const call::LogArgument argument(number);
  std::u16string text;
  call::FormatLogText(text, format, {&argument, 1});
  return text;
}

class ReportFailures : public testing::TestWithParam<platform::HResult> {};

TEST_P(ReportFailures, NoFailingCallLosesAnythingSilently) {
  const Outcome whole = RunWithFailure(0, GetParam());
  ASSERT_EQ(whole.rows.size(), 3U);
  ASSERT_TRUE(whole.errors.entries.empty());
  ASSERT_GT(whole.calls, 50U) << "the report is meant to use everything";

  // Terminal-services settings fail with Win32 codes.
  const std::u16string hexadecimal = Formatted("%x", platform::Bits(GetParam()));
  const std::u16string win32 = Formatted("code %u", platform::Bits(GetParam()) & 0xFFFF);

  for (std::size_t nth = 1; nth <= whole.calls; ++nth) {
    SCOPED_TRACE(nth);
    const Outcome outcome = RunWithFailure(nth, GetParam());
    EXPECT_EQ(outcome.openInterfaces, 0U);
    const bool failed = !outcome.errors.entries.empty();
    const bool told = failed || outcome.log.Count(hexadecimal) > 0 || outcome.log.Count(win32) > 0;
    EXPECT_TRUE(outcome.rows == whole.rows || told) << "something is missing and nobody says so";
    // A row less is an error, or an account whose flags could not be read.
    const bool rowTold = failed || outcome.log.Count(u"Error in getting the User Attributes") > 0;
    EXPECT_TRUE(outcome.rows.size() == whole.rows.size() || rowTold);
    EXPECT_TRUE(outcome.connected || outcome.rows.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(Codes, ReportFailures,
                         testing::Values(platform::kServerDown, platform::kNoReadPermission,
                                         platform::kAccessDenied, platform::kUnexpected,
                                         platform::kCancelled));

}  // namespace
}  // namespace zorvan::reports
