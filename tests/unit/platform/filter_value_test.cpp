#include "platform/filter_value.h"

#include <gtest/gtest.h>

namespace zorvan::platform {
namespace {

TEST(FilterValue, EscapesWhatMeansSomethingInAFilter) {
  EXPECT_EQ(EscapeFilterValue(u"a\\b*c(d)e"), u"a\\5cb\\2ac\\28d\\29e");
  EXPECT_EQ(EscapeFilterValue(std::u16string_view(u"a\0b", 3)), u"a\\00b");
  EXPECT_EQ(EscapeFilterValue(u"\\2a"), u"\\5c2a");
  EXPECT_EQ(EscapeFilterValue(u"Jürgen §😀,=/%s"), u"Jürgen §😀,=/%s");
  EXPECT_EQ(EscapeFilterValue(u""), u"");
}

}  // namespace
}  // namespace zorvan::platform
