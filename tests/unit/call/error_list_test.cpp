#include "call/error_list.h"

#include "support/call_fixture.h"

namespace zorvan::call {
namespace {

class ErrorListTest : public support::CallFixture {};

constexpr std::string_view kKey = "halden.reports.native.failure.authentication";

TEST_F(ErrorListTest, NativeErrorsCarryTheirCodeInHexadecimalAndNoText) {
  AddNativeError(errors, u"CN=Jürgen 😀", kSevere, 0x8007203AU, kKey);
  AddNativeError(errors, u"", kWarningSeverity, 0, kKey);
  AddNativeError(errors, u"example", kSevere, kNoCode, kKey);

  const std::vector<support::RecordedError> expected = {
      {u"CN=Jürgen 😀", "SEVERE", "8007203a", std::string(kKey)},
      {u"", "WARNING", "0", std::string(kKey)},
      {u"example", "SEVERE", "", std::string(kKey)},
  };
  EXPECT_EQ(errors.entries, expected);
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(ErrorListTest, SystemErrorsCarryTheSystemsWords) {
  script.messages[5] = u"Zugriff verweigert.";
  script.messages[0] = u"Der Vorgang wurde beendet.";
  AddSystemError(handler, errors, u"a", kSevere, 5);
  AddSystemError(handler, errors, u"b", kWarningSeverity, 0, kKey);

  const std::vector<support::RecordedError> expected = {
      {u"a", "SEVERE", "5", "", u"Zugriff verweigert."},
      {u"b", "WARNING", "0", std::string(kKey), u""},
  };
  EXPECT_EQ(errors.entries, expected);
}

TEST_F(ErrorListTest, SystemErrorsWithoutWordsSayUnknownErrorAndLogWhy) {
  script.lastError = 317;
  AddSystemError(handler, errors, u"a", kSevere, 0xC0FFEE, kKey);

  const std::vector<support::RecordedError> expected = {
      {u"a", "SEVERE", "c0ffee", std::string(kKey), u"Unknown Error"}};
  EXPECT_EQ(errors.entries, expected);
  const std::vector<support::RecordedLine> lines = {
      {LogChannel::kGeneral, 1,
       u"Error in Getting Error Messae for the Code : c0ffee and the Error Code is : 317 "}};
  EXPECT_EQ(log.lines, lines);
}

}  // namespace
}  // namespace zorvan::call
