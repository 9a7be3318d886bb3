#include "call/log.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "call/native_handler.h"
#include "platform/result.h"
#include "support/recording.h"
#include "support/scripted_platform.h"

namespace zorvan::call {
namespace {

template <typename... Arguments>
std::u16string Formatted(std::string_view format, const Arguments&... arguments) {
  const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
  std::u16string text;
  FormatLogText(text, format, {list.begin(), list.size()});
  return text;
}

TEST(LogFormat, PrintsTextsOfBothWidths) {
  const std::u16string wide = u"Jürgen 😀";
  EXPECT_EQ(Formatted("%ws", wide), wide);
  EXPECT_EQ(Formatted("%S", wide), wide);
  EXPECT_EQ(Formatted("[%s\t%d]", "plain", 1), u"[plain\t1]");
  EXPECT_EQ(Formatted("\xC2\xA7 %s", "a\xC3\xA4z"), u"?? a??z");
  EXPECT_EQ(Formatted("%wc%wc", u'ä', u'Z'), u"äZ");
}

TEST(LogFormat, PrintsNumbersAsTheConversionSays) {
  EXPECT_EQ(Formatted("%d %i %ld", -1, 2, -3L), u"-1 2 -3");
  EXPECT_EQ(Formatted("%d", 0xFFFFFFFFU), u"-1");  // a code kept as unsigned
  EXPECT_EQ(Formatted("%d", std::size_t{1000}), u"1000");
  EXPECT_EQ(Formatted("%u", -1), u"4294967295");
  EXPECT_EQ(Formatted("%x", platform::kServerDown), u"8007203a");
  EXPECT_EQ(Formatted("%0x", 0x5012), u"5012");
  EXPECT_EQ(Formatted("%08X", 0xBEEF), u"0000BEEF");
  EXPECT_EQ(Formatted("%3d|%03d", 7, 7), u"  7|007");
  EXPECT_EQ(Formatted("%I64i", INT64_MIN), u"-9223372036854775808");
  EXPECT_EQ(Formatted("%I64i", INT64_MAX), u"9223372036854775807");
}

TEST(LogFormat, SurvivesFormatsThatDoNotFitTheirArguments) {
  EXPECT_EQ(Formatted("100%% of %d"), u"100% of ");
  EXPECT_EQ(Formatted("%s and %ws", 12, "narrow"), u"12 and narrow");
  EXPECT_EQ(Formatted("%d", std::u16string_view(u"text")), u"text");
  EXPECT_EQ(Formatted("ends in %"), u"ends in ");
  EXPECT_EQ(Formatted("ends in %0", 1), u"ends in ");
  EXPECT_EQ(Formatted("none", 1, 2), u"none");
  // A directory value is an argument and never a format.
  EXPECT_EQ(Formatted("%ws", std::u16string_view(u"%d%s%n")), u"%d%s%n");
}

TEST(Log, HandsLinesOfAnyLengthToTheirChannelWithTheirLevel) {
  support::Script script;
  support::ScriptedPlatform platform(script);
  support::RecordingLog log;
  NativeHandler handler(platform, log);
  const std::u16string filter(20'000, u'§');

  LogMessage(handler, kMilestone, "Initialization Starts");
  LogMessageW(handler, kDetail, "Search String is : %ws", filter);
  MgmtLog(handler, kWarning, "%d", 2);
  DelegLog(handler, 7, "");

  const std::vector<support::RecordedLine> expected = {
      {LogChannel::kGeneral, 1, u"Initialization Starts"},
      {LogChannel::kGeneral, 3, u"Search String is : " + filter},
      {LogChannel::kManagement, 2, u"2"},
      {LogChannel::kDelegation, 7, u""},
  };
  EXPECT_EQ(log.lines, expected);
}

}  // namespace
}  // namespace zorvan::call
