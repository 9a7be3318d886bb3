#include "call/error_list.h"

#include "support/call_fixture.h"

namespace zorvan::call {
namespace {

class ErrorListTest : public support::CallFixture {};

using Entries = std::vector<std::u16string>;

TEST_F(ErrorListTest, NativeErrorsCarryTheirCodeInHexadecimalAndNoText) {
  AddNativeError(errors, u"CN=Jürgen 😀", kSevere, 0x8007203AU, "the.key");
  AddNativeError(errors, u"", kWarningSeverity, 0, "the.key");
  AddNativeError(errors, u"example", kSevere, kNoCode, "the.key");
  const Entries expected = {u"SEVERE 8007203a the.key on CN=Jürgen 😀", u"WARNING 0 the.key on ",
                            u"SEVERE  the.key on example"};
  EXPECT_EQ(errors.entries, expected);
  EXPECT_TRUE(log.lines.empty());
}

TEST_F(ErrorListTest, SystemErrorsCarryTheSystemsWordsOrSayUnknownErrorAndLogWhy) {
  script.messages = {{5, u"Zugriff verweigert."}, {0, u"Der Vorgang wurde beendet."}};
  script.noMessage = 1815;
  AddSystemError(handler, errors, u"a", kSevere, 5);
  AddSystemError(handler, errors, u"b", kWarningSeverity, 0, "the.key");
  AddSystemError(handler, errors, u"c", kSevere, 0xC0FFEE, "the.key");
  const Entries expected = {u"SEVERE 5  on a: Zugriff verweigert.", u"WARNING 0 the.key on b: ",
                            u"SEVERE c0ffee the.key on c: Unknown Error"};
  EXPECT_EQ(errors.entries, expected);
  const std::vector<support::RecordedLine> lines = {
      {LogChannel::kGeneral, 1,
       u"Error in Getting Error Messae for the Code : c0ffee and the Error Code is : 1815 "}};
  EXPECT_EQ(log.lines, lines);
}

}  // namespace
}  // namespace zorvan::call
