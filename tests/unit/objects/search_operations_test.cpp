#include "objects/search_operations.h"

#include "support/call_fixture.h"

namespace zorvan::objects {
namespace {

using support::Call;

class SearchOperationsTest : public support::CallFixture {};

TEST_F(SearchOperationsTest, FailuresAreNoticesAndLinesOfTheLog) {
  support::RecordingObserver observer;
  handler.observer = &observer;
  script.extendedError = {0x208D, u"not here"};
  const std::vector<std::u16string> attributes = {u"cn"};
  const auto search = [&](const char16_t* container) {
    GetObjects(handler, container, u"(cn=*)", attributes, listener);
    EXPECT_EQ(script.openInterfaces, 0U);
  };
  search(u"OU=gone,DC=example,DC=com");
  EXPECT_EQ(log.Count(u"Error Occured while Binding to the LDAP Object "
                      u"LDAP://dc1.example.com/OU=gone,DC=example,DC=com and the error code is : "
                      u"80072030"),
            1U);
  script.Fail(Call::kQuerySearch, platform::kNoInterface, {}, 1);
  search(u"");
  EXPECT_EQ(log.Count(u"80004002"), 1U);
  script.Fail(Call::kExecute, platform::kInvalidFilter, {}, 1);
  search(u"");
  EXPECT_EQ(log.Count(u"80005014"), 1U);
  search(std::u16string(300, u'a').c_str());
  EXPECT_TRUE(listener.rows.empty());
  using platform::NoticeKind;
  const std::u16string root = u"LDAP://dc1.example.com/";
  const std::vector<support::RecordedNotice> notices = {
      {NoticeKind::kOpenFailed, root + u"OU=gone,DC=example,DC=com", u"not here (208d)",
       0x80072030},
      {NoticeKind::kOpenFailed, root, u"not here (208d)", 0x80004002},
      {NoticeKind::kSearchFailed, u"(cn=*)", u"not here (208d)", 0x80005014},
      {NoticeKind::kOpenFailed, root + std::u16string(300, u'a'), u"", 0x80005000}};
  EXPECT_EQ(observer.notices, notices);
}

}  // namespace
}  // namespace zorvan::objects
