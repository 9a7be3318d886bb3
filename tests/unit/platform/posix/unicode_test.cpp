#include "platform/posix/unicode.h"

#include <gtest/gtest.h>

#include <string>

namespace zorvan::platform::posix {
namespace {

TEST(Unicode, WellFormedTextSurvivesTheRoundTripAtEveryOffset) {
  // The widths change at places that no block of the fast path ends at.
  const std::u16string text =
      u"plain ASCII that is longer than a block, Jürgen Müller, Ελλάδα, 日本語, \U0001F600 end";
  for (std::size_t start = 0; start < text.size(); ++start) {
    if (text[start] >= 0xDC00 && text[start] <= 0xDFFF) continue;
    const std::u16string part = text.substr(start);
    EXPECT_EQ(ToUtf16(ToUtf8(part)), part) << start;
  }
  EXPECT_EQ(ToUtf8(u"\u00A7\u20AC\U0001F600"), "\xC2\xA7\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(ToUtf16(""), u"");
  EXPECT_EQ(ToUtf8(std::u16string(u"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Unicode, EveryMalformedRunBecomesOneReplacementCharacter) {
  struct Case {
    const char* what;
    std::string utf8;
    std::u16string expected;
  };
  const Case cases[] = {
      {"a lone continuation byte", "a\x80z", u"a\uFFFDz"},
      {"a sequence cut short by ASCII", "a\xE2\x82z", u"a\uFFFDz"},
      {"a sequence cut short by the end", "a\xF0\x9F\x98", u"a\uFFFD"},
      {"a byte that begins nothing", "a\xFFz", u"a\uFFFDz"},
      {"an overlong slash", "a\xC0\xAFz", u"a\uFFFD\uFFFDz"},
      {"an encoded surrogate", "a\xED\xA0\x80z", u"a\uFFFD\uFFFD\uFFFDz"},
      {"a code point beyond the last", "a\xF4\x90\x80\x80z", u"a\uFFFD\uFFFD\uFFFD\uFFFDz"},
  };
  for (const Case& test : cases) EXPECT_EQ(ToUtf16(test.utf8), test.expected) << test.what;
  EXPECT_EQ(ToUtf8(std::u16string{u'a', char16_t{0xD83D}, u'z'}), "a\xEF\xBF\xBDz");
  EXPECT_EQ(ToUtf8(std::u16string{char16_t{0xDE00}}), "\xEF\xBF\xBD");
}

TEST(Unicode, AppendingKeepsWhatIsThere) {
  std::u16string text = u"before ";
  AppendUtf16(text, "caf\xC3\xA9");
  AppendUtf16(text, "");
  AppendUtf16(text, "\xC3");
  EXPECT_EQ(text, u"before café\uFFFD");
}

}  // namespace
}  // namespace zorvan::platform::posix
