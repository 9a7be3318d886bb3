#include "directory/bind.h"

#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

class BindTest : public support::CallFixture {};

TEST_F(BindTest, BuildsEveryFormOfPath) {
  const call::DomainSettings& settings = handler.settings;
  EXPECT_EQ(ObjectPath(settings, u"DC=example,DC=com"),
            u"LDAP://dc1.example.com/DC=example,DC=com");
  EXPECT_EQ(ObjectPath(settings, u"<GUID=0a1b>"), u"LDAP://dc1.example.com/<GUID=0a1b>");
  EXPECT_EQ(ControllerPath(u"dc2:3268", u"OU=a"), u"LDAP://dc2:3268/OU=a");
  EXPECT_EQ(DeletedObjectsPath(settings),
            u"LDAP://dc1.example.com/"
            u"<WKGUID=18e2ea80684f11d2b9aa00c04f79f805,DC=example,DC=com>");
}

TEST_F(BindTest, EscapesTheSlashOfANameOnce) {
  EXPECT_EQ(ObjectPath(handler.settings, u"OU=R/D,OU=a"), u"LDAP://dc1.example.com/OU=R\\/D,OU=a");
  EXPECT_EQ(ObjectPath(handler.settings, u"OU=R\\/D"), u"LDAP://dc1.example.com/OU=R\\/D");
  // The backslash before this slash is itself escaped.
  EXPECT_EQ(ObjectPath(handler.settings, u"OU=a\\\\/b"), u"LDAP://dc1.example.com/OU=a\\\\\\/b");
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
  EXPECT_EQ(log.CountContaining(u"secret"), 0U);
}

TEST_F(BindTest, PassesFailuresOnAndLogsWhatTheDirectorySaid) {
  script.extendedError = {0x208D, u"0000208D: NameErr"};
  std::unique_ptr<platform::DirectorySearch> search;
  EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, u"OU=b"), search),
            platform::kNoSuchObject);
  EXPECT_EQ(search, nullptr);
  EXPECT_EQ(log.CountContaining(u"0000208D: NameErr"), 1U);
}

TEST_F(BindTest, RefusesAPathThatIsTooLongWithoutAsking) {
  const std::u16string fits(259 - support::kRootPath.size(), u'a');
  script.Add(fits);
  std::unique_ptr<platform::DirectorySearch> search;
  EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, fits), search), platform::kOk);
  EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, fits + u"a"), search),
            platform::kBadPathname);
  EXPECT_EQ(script.binds.size(), 1U);
}

}  // namespace
}  // namespace zorvan::directory
