#include "platform/posix/ads_path.h"

#include <gtest/gtest.h>

namespace zorvan::platform::posix {
namespace {

struct Accepted {
  std::u16string_view text;
  std::string_view host;
  std::uint16_t port;  // as connected without encryption
  std::string_view dn;
  std::u16string_view prefix;
};

TEST(AdsPath, TellsServerPortAndNameApart) {
  const Accepted cases[] = {
      {u"LDAP://dc1.example.test/DC=example,DC=test", "dc1.example.test", 389, "DC=example,DC=test",
       u"LDAP://dc1.example.test/"},
      {u"LDAP://dc1:636/CN=a,DC=b", "dc1", 636, "CN=a,DC=b", u"LDAP://dc1:636/"},
      {u"LDAP://dc1", "dc1", 389, "", u"LDAP://dc1/"},
      {u"GC://dc1/DC=b", "dc1", 3268, "DC=b", u"GC://dc1/"},
      {u"GC://dc1:3269", "dc1", 3269, "", u"GC://dc1:3269/"},
      {u"LDAP://[2001:db8::1]/DC=b", "2001:db8::1", 389, "DC=b", u"LDAP://[2001:db8::1]/"},
      {u"LDAP://[fe80::1%eth0]:3389/DC=b", "fe80::1%eth0", 3389, "DC=b",
       u"LDAP://[fe80::1%eth0]:3389/"},
      {u"LDAP://192.0.2.7:1389/DC=b", "192.0.2.7", 1389, "DC=b", u"LDAP://192.0.2.7:1389/"},
      // Without a server the first part is the name, whatever follows a slash in it.
      {u"LDAP://CN=a\\/b,DC=c", "", 389, "CN=a/b,DC=c", u"LDAP://"},
      {u"LDAP://<GUID=00112233445566778899aabbccddeeff>", "", 389,
       "<GUID=00112233445566778899aabbccddeeff>", u"LDAP://"},
      {u"LDAP://dc1/<GUID={00112233-4455-6677-8899-AABBCCDDEEFF}>", "dc1", 389,
       "<GUID={00112233-4455-6677-8899-AABBCCDDEEFF}>", u"LDAP://dc1/"},
      {u"LDAP://dc1/<SID=S-1-5-21-1-2-3-500>", "dc1", 389, "<SID=S-1-5-21-1-2-3-500>",
       u"LDAP://dc1/"},
      {u"LDAP://dc1/<WKGUID=18e2ea80684f11d2b9aa00c04f79f805,DC=b>", "dc1", 389,
       "<WKGUID=18e2ea80684f11d2b9aa00c04f79f805,DC=b>", u"LDAP://dc1/"},
      // Only the slash loses its backslash; escapes of the name itself stay.
      {u"LDAP://dc1/CN=a\\/b\\, c\\\\/d\\2F,DC=e", "dc1", 389, "CN=a/b\\, c\\\\/d\\2F,DC=e",
       u"LDAP://dc1/"},
      {u"LDAP://dc1/CN=Zo\u00EB \U0001F600,DC=b", "dc1", 389, "CN=Zo\xC3\xAB \xF0\x9F\x98\x80,DC=b",
       u"LDAP://dc1/"},
  };
  for (const Accepted& expected : cases) {
    AdsPath path;
    SCOPED_TRACE(testing::PrintToString(expected.text));
    ASSERT_EQ(ParseAdsPath(expected.text, path), kOk);
    EXPECT_EQ(path.host, expected.host);
    EXPECT_EQ(path.PortFor(false), expected.port);
    EXPECT_EQ(path.dn, expected.dn);
    EXPECT_EQ(path.prefix, expected.prefix);
    EXPECT_FALSE(path.rootDse);
  }
}

TEST(AdsPath, KnowsTheRootOfTheServiceInAnyCase) {
  for (std::u16string_view text : {u"LDAP://RootDSE", u"LDAP://rootdse", u"LDAP://dc1/ROOTDSE"}) {
    AdsPath path;
    ASSERT_EQ(ParseAdsPath(text, path), kOk);
    EXPECT_TRUE(path.rootDse);
    EXPECT_EQ(path.dn, "");
  }
}

TEST(AdsPath, TakesThePortOfTheProviderWhenEncrypted) {
  AdsPath path;
  ASSERT_EQ(ParseAdsPath(u"LDAP://dc1/DC=b", path), kOk);
  EXPECT_EQ(path.PortFor(true), 636);
  ASSERT_EQ(ParseAdsPath(u"GC://dc1/DC=b", path), kOk);
  EXPECT_EQ(path.PortFor(true), 3269);
  ASSERT_EQ(ParseAdsPath(u"LDAP://dc1:389/DC=b", path), kOk);
  EXPECT_EQ(path.PortFor(true), 389);
}

template <typename... Texts>
void ExpectRefused(const Texts&... texts) {
  for (std::u16string_view text : {std::u16string_view(texts)...}) {
    AdsPath path;
    EXPECT_EQ(ParseAdsPath(text, path), kBadPathname) << testing::PrintToString(text);
  }
}

TEST(AdsPath, RefusesWhatIsNoPath) {
  using namespace std::string_view_literals;
  ExpectRefused(
      u"", u"LDAP:", u"LDAP://", u"ldap://dc1/DC=b", u"WinNT://dc1/user,user", u"dc1/DC=b",
      u"LDAP:///DC=b", u"LDAP://dc1/", u"LDAP://dc1/no name", u"LDAP://dc 1/DC=b",
      u"LDAP://dc1:/DC=b", u"LDAP://dc1:0/DC=b", u"LDAP://dc1:65536/DC=b", u"LDAP://dc1:389x/DC=b",
      u"LDAP://dc1:389:1/DC=b", u"LDAP://2001:db8::1/DC=b", u"LDAP://[2001:db8::1/DC=b",
      u"LDAP://[]/DC=b", u"LDAP://[::1]389/DC=b", u"LDAP://dc1/<GUID=>", u"LDAP://dc1/<GUID=xyz>",
      u"LDAP://dc1/<GUID=00", u"LDAP://dc1/<SID=>", u"LDAP://dc1/<>", u"LDAP://dc1/<",
      u"LDAP://dc1/<WKGUID=18e2ea80684f11d2b9aa00c04f79f805>", u"LDAP://dc1/<WKGUID=,DC=b>",
      u"LDAP://dc1/CN=a\0b,DC=c"sv, u"LDAP://dc1/CN=a\nb,DC=c", u"LDAP://dc1\0/DC=b"sv);
}

TEST(AdsPath, OfARowLeadsBackToItsObject) {
  for (std::u16string_view dn : {u"CN=a/b,DC=c", u"CN=a\\\\/b,DC=c", u"CN=a\\,b,DC=c"}) {
    std::u16string text;
    AppendAdsPath(text, u"LDAP://dc1:1389/", dn);
    AdsPath path;
    ASSERT_EQ(ParseAdsPath(text, path), kOk);
    EXPECT_EQ(std::u16string(path.dn.begin(), path.dn.end()), dn);
    EXPECT_EQ(path.port, 1389);
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
