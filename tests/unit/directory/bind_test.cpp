#include "directory/bind.h"

#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

class BindTest : public support::CallFixture {};

TEST_F(BindTest, EscapesTheSlashOfANameOnce) {
  const std::pair<std::u16string_view, std::u16string_view> cases[] = {
      {u"OU=R/D,OU=a", u"LDAP://dc1.example.com/OU=R\\/D,OU=a"},
      {u"OU=R\\/D", u"LDAP://dc1.example.com/OU=R\\/D"},
      // The backslash before this slash is itself escaped.
      {u"OU=a\\\\/b", u"LDAP://dc1.example.com/OU=a\\\\\\/b"},
  };
  for (const auto& [name, path] : cases) EXPECT_EQ(ObjectPath(handler.settings, name), path);
}

TEST_F(BindTest, OpensAsTheUserOfTheCallAndLogsPathAndUser) {
  script.Add(u"OU=a");
  std::unique_ptr<platform::DirectorySearch> search;
  std::unique_ptr<platform::DirectoryObject> object;
  std::unique_ptr<platform::PropertyObject> properties;
  const std::u16string path = ObjectPath(handler.settings, u"OU=a");
  EXPECT_EQ(BindObject(handler, path, search), platform::kOk);
  EXPECT_EQ(BindObject(handler, path, object), platform::kOk);
  EXPECT_EQ(BindObject(handler, path, properties, kDeletedObjectsFlags), platform::kOk);
  EXPECT_TRUE(search && object && properties);

  ASSERT_EQ(script.binds.size(), 3U);
  for (const support::RecordedBind& bind : script.binds) {
    EXPECT_EQ(bind.path, path);
    EXPECT_EQ(bind.userName, u"EXAMPLE\\admin");
    EXPECT_EQ(bind.password, u"secret");
  }
  EXPECT_EQ(script.binds[0].flags, 0x1U);
  EXPECT_EQ(script.binds[2].flags, 0x21U);
  const support::RecordedLine line = {
      call::LogChannel::kGeneral, 3,
      u"[ldapDCPath LDAP://dc1.example.com/OU=a\t networkUserName EXAMPLE\\admin\t]"};
  EXPECT_EQ(log.lines, std::vector<support::RecordedLine>(3, line));
}

TEST_F(BindTest, LogsWhatTheDirectorySaidAndRefusesAPathThatIsTooLongWithoutAsking) {
  script.extendedError = {0x208D, u"0000208D: NameErr"};
  std::unique_ptr<platform::DirectorySearch> search;
  const std::u16string fits(259 - support::kRootPath.size(), u'a');
  EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, fits), search),
            platform::kNoSuchObject);
  EXPECT_EQ(log.Count(u"0000208D: NameErr"), 1U);
  EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, fits + u"a"), search),
            platform::kBadPathname);
  EXPECT_EQ(search, nullptr);
  EXPECT_EQ(script.binds.size(), 1U);
}

}  // namespace
}  // namespace zorvan::directory
