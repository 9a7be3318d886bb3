// The directory port against a real domain controller.

#include "platform/directory.h"

#include <gtest/gtest.h>

#include <cctype>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/schema.h"
#include "platform/posix/unicode.h"
#include "platform/text.h"
#include "test_domain.h"

namespace zorvan::platform {
namespace {

using live::TestDomain;
using posix::ToUtf16;
using posix::ToUtf8;
using namespace std::string_literals;

constexpr std::u16string_view kUsers = u"(&(objectCategory=person)(objectClass=user))";
// Enough for several pages, few enough to be asked for often.
constexpr std::u16string_view kSomeUsers = u"(&(objectCategory=person)(objectClass=user)(sn=S*))";
constexpr HResult kInvalidName = MakeHResult(0x80072032);  // ERROR_DS_INVALID_DN_SYNTAX

class DirectoryTest : public testing::Test {
 protected:
  // "LDAP://host/" and the like, followed by a name.
  std::u16string Path(std::u16string_view name, std::u16string_view provider = u"LDAP://") const {
    return std::u16string(provider) + domain_.Wide("host") + u"/" + std::u16string(name);
  }
  std::u16string BasePath() const { return Path(domain_.Wide("baseDn")); }

  std::unique_ptr<DirectorySearch> Open(const std::u16string& path,
                                        std::uint32_t flags = kSecureAuthentication) {
    std::unique_ptr<DirectorySearch> search;
    const HResult result =
        directory().OpenSearch(path, administrator_.credentials(), flags, search);
    EXPECT_EQ(result, kOk) << std::hex << result << " " << ToUtf8(path) << ": "
                           << ToUtf8(directory().LastError().text);
    return search;
  }

  static void Execute(DirectorySearch& search, std::u16string_view filter,
                      std::vector<std::u16string_view> attributes, std::uint32_t pageSize = 1000,
                      SearchScope scope = SearchScope::kSubtree) {
    const SearchPreference preferences[] = {
        {SearchPreferenceId::kSearchScope, static_cast<std::uint32_t>(scope)},
        {SearchPreferenceId::kPageSize, pageSize}};
    ASSERT_EQ(search.SetSearchPreference(preferences), kOk);
    ASSERT_EQ(search.ExecuteSearch(filter, attributes), kOk);
  }

  static std::u16string TextOf(DirectorySearch& search, std::u16string_view attribute) {
    Column column;
    if (search.GetColumn(attribute, column) != kOk || column.values.empty()) return {};
    return std::u16string(column.values.front().text);
  }

  // The values of one attribute in all rows that are left.
  static std::multiset<std::u16string> Rest(DirectorySearch& search,
                                            std::u16string_view attribute) {
    std::multiset<std::u16string> values;
    HResult result = kOk;
    while ((result = search.GetNextRow()) == kOk) values.insert(TextOf(search, attribute));
    EXPECT_EQ(result, kNoMoreRows);
    return values;
  }

  std::multiset<std::u16string> Search(std::u16string_view filter, std::u16string_view attribute,
                                       std::uint32_t pageSize = 1000) {
    const auto search = Open(BasePath());
    Execute(*search, filter, {attribute}, pageSize);
    return Rest(*search, attribute);
  }

  HResult TryToOpen(const std::u16string& path, std::uint32_t flags = kSecureAuthentication) {
    std::unique_ptr<DirectoryObject> object;
    return directory().OpenObject(path, administrator_.credentials(), flags, object);
  }

  Directory& directory() { return platform_->directory(); }

  const TestDomain& domain_ = TestDomain::Get();
  const live::Identity administrator_{domain_.Wide("userName"), domain_.Secret("passwordFile")};
  std::unique_ptr<Platform> platform_ = CreatePlatform();
};

TEST_F(DirectoryTest, PagesHoldTheSameRowsWhateverTheirSize) {
  const auto whole = Search(kUsers, u"distinguishedName", 0);
  EXPECT_EQ(whole.size(), domain_.Stored(ToUtf8(kUsers), "dn").size());
  EXPECT_GE(whole.size(), 2000U);
  EXPECT_EQ(std::set(whole.begin(), whole.end()).size(), whole.size()) << "a row came twice";
  for (std::uint32_t pageSize : {1000U, 97U, 5000U, static_cast<std::uint32_t>(whole.size())}) {
    EXPECT_EQ(Search(kUsers, u"distinguishedName", pageSize), whole) << pageSize;
  }
  EXPECT_EQ(Search(u"(cn=nobody has this name)", u"cn").size(), 0U);
}

TEST_F(DirectoryTest, SearchesOnOneConnectionDoNotDisturbEachOther) {
  const auto expected = Search(kUsers, u"sAMAccountName");
  const auto first = Open(BasePath());
  const auto second = Open(BasePath());
  Execute(*first, kUsers, {u"sAMAccountName"}, 50);
  Execute(*second, kUsers, {u"sAMAccountName"}, 33);
  std::multiset<std::u16string> ofFirst;
  std::multiset<std::u16string> ofSecond;
  const std::vector<std::u16string> paths = {BasePath(), Path(u"CN=absent,DC=x")};
  for (bool more = true; more;) {
    more = first->GetNextRow() == kOk;
    if (more) ofFirst.insert(TextOf(*first, u"sAMAccountName"));
    if (second->GetNextRow() == kOk) ofSecond.insert(TextOf(*second, u"sAMAccountName"));
    if (ofFirst.size() % 100 != 0) continue;
    const std::u16string_view names[] = {u"dc"};
    directory().ReadObjects(
        paths, administrator_.credentials(), kSecureAuthentication, names,
        [&](std::size_t index, HResult result, AttributeSet&, const ExtendedError&) {
          EXPECT_EQ(Succeeded(result), index == 0);
        });
  }
  EXPECT_EQ(ofFirst, expected);
  EXPECT_EQ(ofSecond, expected);
}

TEST_F(DirectoryTest, APieceOfAListIsFoundByEitherName) {
  const auto search = Open(BasePath());
  Execute(*search, u"(sAMAccountName=biggroup)", {u"member;range=0-9"});
  ASSERT_EQ(search->GetNextRow(), kOk);
  for (std::u16string_view name : {u"member", u"member;range=0-9"}) {
    Column column;
    ASSERT_EQ(search->GetColumn(name, column), kOk);
    EXPECT_EQ(column.values.size(), 10U);
    EXPECT_TRUE(column.cut);
  }
  Execute(*search, u"(sAMAccountName=biggroup)", {u"member;range=2490-*"});
  ASSERT_EQ(search->GetNextRow(), kOk);
  Column rest;
  ASSERT_EQ(search->GetColumn(u"member", rest), kOk);
  EXPECT_TRUE(rest.ranged && !rest.cut);
}

TEST_F(DirectoryTest, ASearchGivenUpInMidPageLeavesTheConnectionUsable) {
  const auto expected = Search(kSomeUsers, u"sAMAccountName");
  for (int rows : {0, 1, 99, 100, 101}) {
    auto search = Open(BasePath());
    Execute(*search, kUsers, {u"sAMAccountName"}, 100);
    for (int row = 0; row < rows; ++row) ASSERT_EQ(search->GetNextRow(), kOk);
    search.reset();
    EXPECT_EQ(Search(kSomeUsers, u"sAMAccountName"), expected);
  }
  // The same object can also start over.
  const auto search = Open(BasePath());
  Execute(*search, kSomeUsers, {u"sAMAccountName"}, 100);
  ASSERT_EQ(search->GetNextRow(), kOk);
  Execute(*search, kSomeUsers, {u"sAMAccountName"}, 100);
  EXPECT_EQ(Rest(*search, u"sAMAccountName"), expected);
}

TEST_F(DirectoryTest, ObjectsAreFoundByGuidBySidAndByWellKnownGuid) {
  const auto stored = [&](const std::string& attribute) {
    return ToUtf16(domain_.Stored("(sAMAccountName=Administrator)", attribute).at(0));
  };
  const auto nameAt = [&](const std::u16string& reference) {
    std::unique_ptr<DirectoryObject> object;
    EXPECT_EQ(directory().OpenObject(Path(reference), administrator_.credentials(),
                                     kSecureAuthentication, object),
              kOk)
        << ToUtf8(reference);
    AttributeSet set;
    const std::u16string_view names[] = {u"distinguishedName"};
    if (object == nullptr || Failed(object->GetObjectAttributes(names, set))) return u""s;
    const Column* column = set.Find(u"DistinguishedName");
    return column == nullptr ? u""s : std::u16string(column->values[0].text);
  };
  EXPECT_EQ(nameAt(u"<GUID=" + stored("objectGUID") + u">"), stored("distinguishedName"));
  EXPECT_EQ(nameAt(u"<SID=" + stored("objectSid") + u">"), stored("distinguishedName"));
  EXPECT_EQ(nameAt(u"<WKGUID=a9d1ca15768811d1aded00c04fd8d5cd," + domain_.Wide("baseDn") + u">"),
            u"CN=Users," + domain_.Wide("baseDn"));
}

TEST_F(DirectoryTest, TheGlobalCatalogAnswersOnItsOwnPort) {
  const auto search = Open(Path(domain_.Wide("baseDn"), u"GC://"));
  Execute(*search, u"(sAMAccountName=Administrator)", {u"ADsPath", u"sAMAccountName"});
  ASSERT_EQ(search->GetNextRow(), kOk);
  EXPECT_EQ(TextOf(*search, u"sAMAccountName"), u"Administrator");
  EXPECT_TRUE(StartsWithIgnoringCase(TextOf(*search, u"ADsPath"), Path(u"CN=", u"GC://")));
}

TEST_F(DirectoryTest, WhatCannotBeOpenedSaysWhy) {
  const std::u16string base = domain_.Wide("baseDn");
  EXPECT_EQ(TryToOpen(Path(u"CN=absent," + base)), kNoSuchObject);
  EXPECT_EQ(TryToOpen(Path(u"CN=absent," + base), kSecureAuthentication | kFastBind), kOk);
  EXPECT_EQ(TryToOpen(Path(u"<GUID=00000000000000000000000000000001>")), kNoSuchObject);
  EXPECT_EQ(TryToOpen(Path(u"not a name=x=,,,")), kInvalidName);
  EXPECT_EQ(TryToOpen(Path(u"no name")), kBadPathname);
  EXPECT_EQ(TryToOpen(u"LDAP://"), kBadPathname);
  EXPECT_EQ(TryToOpen(u"LDAP://127.0.0.22/" + base), kServerDown);

  // With fast bind the search is what fails.
  const auto search = Open(Path(u"CN=absent," + base), kSecureAuthentication | kFastBind);
  Execute(*search, kUsers, {u"cn"});
  EXPECT_EQ(search->GetNextRow(), kNoSuchObject);
  EXPECT_EQ(search->GetNextRow(), kNoSuchObject);
}

TEST_F(DirectoryTest, AFilterIsRefusedBeforeItIsSentAndAnUnknownAttributeIsNot) {
  const auto search = Open(BasePath());
  EXPECT_EQ(search->ExecuteSearch(u"(&(cn=x)", {}), kInvalidFilter);
  EXPECT_EQ(search->GetNextRow(), kUnexpected);
  EXPECT_EQ(Search(u"(noSuchAttribute=x)", u"cn").size(), 0U);
  EXPECT_EQ(Search(u"(&(sAMAccountName=Administrator)(!noSuchAttribute=*))", u"cn").size(), 1U);
}

TEST_F(DirectoryTest, APasswordIsRefusedOnceForAllOpens) {
  const std::u16string user = domain_.Wide("readerUserName");
  const auto badPasswords = [&] {
    return std::stoi(domain_.Stored("(sAMAccountName=" + ToUtf8(user) + ")", "badPwdCount").at(0));
  };
  const std::u16string name = domain_.Wide("netbiosDomain") + u"\\" + user;
  const auto openAs = [&](std::u16string_view password) {
    std::unique_ptr<DirectorySearch> search;
    return directory().OpenSearch(BasePath(), {name, password}, kSecureAuthentication, search);
  };
  const int before = badPasswords();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(openAs(u"not the password"), kLogonFailure);
  EXPECT_EQ(directory().LastError().code, 1326U);
  EXPECT_EQ(badPasswords(), before + 1);
  EXPECT_EQ(openAs(domain_.Secret("readerPasswordFile")), kOk);
}

TEST_F(DirectoryTest, ColumnsAreThoseThatWereAskedForAndAreThere) {
  const auto search = Open(BasePath());
  Execute(*search, u"(sAMAccountName=Administrator)",
          {u"SAMACCOUNTNAME", u"noSuchAttribute", u"not an attribute", u"", u"ADsPath"});
  Column column;
  EXPECT_EQ(search->GetColumn(u"sAMAccountName", column), kUnexpected) << "before the first row";
  ASSERT_EQ(search->GetNextRow(), kOk);
  EXPECT_EQ(TextOf(*search, u"sAMAccountName"), u"Administrator");
  EXPECT_TRUE(StartsWithIgnoringCase(TextOf(*search, u"adspath"), Path(u"CN=Adm")));
  for (std::u16string_view absent :
       {u"noSuchAttribute", u"not an attribute", u"", u"distinguishedName", u"cn"}) {
    EXPECT_EQ(search->GetColumn(absent, column), kColumnNotSet) << ToUtf8(absent);
  }
  Execute(*search, u"(sAMAccountName=Administrator)", {});
  EXPECT_EQ(search->GetNextRow(), kOk);
  EXPECT_EQ(search->GetColumn(u"cn", column), kColumnNotSet);
}

TEST_F(DirectoryTest, TheRootOfTheServiceAndPropertiesAreReadThroughTheCache) {
  std::unique_ptr<PropertyObject> root;
  ASSERT_EQ(directory().OpenPropertyObject(Path(u"RootDSE"), administrator_.credentials(),
                                           kSecureAuthentication, root),
            kOk);
  AttributeSet set;
  ASSERT_EQ(root->Get(u"defaultNamingContext", set), kOk);
  EXPECT_EQ(set.Find(u"defaultNamingContext")->values[0].text, domain_.Wide("baseDn"));
  ASSERT_EQ(root->Get(u"dnsHostName", set), kOk);
  EXPECT_EQ(set.Find(u"dnsHostName")->values[0].text, domain_.Wide("host"));
  EXPECT_EQ(set.Find(u"defaultNamingContext"), nullptr);
  EXPECT_EQ(root->Get(u"noSuchAttribute", set), kPropertyNotFound);

  // Without a server, the one that is known already.
  std::unique_ptr<PropertyObject> any;
  EXPECT_EQ(directory().OpenPropertyObject(u"LDAP://rootDSE", administrator_.credentials(),
                                           kSecureAuthentication, any),
            kOk);
  EXPECT_EQ(CreatePlatform()->directory().OpenPropertyObject(
                u"LDAP://rootDSE", administrator_.credentials(), kSecureAuthentication, any),
            kServerDown);

  std::unique_ptr<PropertyObject> domain;
  ASSERT_EQ(directory().OpenPropertyObject(BasePath(), administrator_.credentials(),
                                           kSecureAuthentication, domain),
            kOk);
  ASSERT_EQ(domain->Get(u"maxPwdAge", set), kOk);
  EXPECT_EQ(set.Find(u"maxPwdAge")->type, AdsType::kLargeInteger);
  EXPECT_EQ(domain->Get(u"manager", set), kPropertyNotFound);
  std::unique_ptr<DirectorySearch> search;
  ASSERT_EQ(domain->QueryDirectorySearch(search), kOk);
  Execute(*search, u"(objectClass=*)", {u"ADsPath"}, 1000, SearchScope::kBase);
  EXPECT_EQ(Rest(*search, u"ADsPath"), std::multiset<std::u16string>{BasePath()});
}

TEST_F(DirectoryTest, TerminalServicesSettingsThatCannotBeReadSayWhy) {
  const auto query = [&](std::u16string_view user) {
    TerminalServicesValue value;
    return platform_->accounts()
        .QueryUserConfig(domain_.Wide("host"), domain_.Wide("baseDn"), administrator_.credentials(),
                         user, TerminalServicesClass::kAllowLogon, value)
        .code;
  };
  EXPECT_EQ(query(u"N.TS.Full"), 0U);
  EXPECT_EQ(query(u"n.ts.cut"), 13U);
  EXPECT_EQ(query(u"nobody*"), 2221U);
}

TEST_F(DirectoryTest, TheSchemaOfTheServerAgreesWithTheBuiltInTable) {
  std::unique_ptr<posix::LdapConnection> connection;
  ExtendedError error;
  ASSERT_EQ(posix::LdapConnection::Open({domain_["host"], 389}, administrator_.credentials(),
                                        kSecureAuthentication, connection, error),
            kOk)
      << ToUtf8(error.text);
  posix::SchemaTypes types;
  ASSERT_EQ(posix::ReadSchema(*connection, posix::Deadline::max(), types, error), kOk)
      << ToUtf8(error.text);
  EXPECT_GT(types.size(), 1000U);
  std::size_t compared = 0;
  for (const posix::BuiltInAttribute& attribute : posix::BuiltInAttributes()) {
    std::string name(attribute.name);
    for (char& c : name) c = static_cast<char>(std::tolower(c));
    const auto found = types.find(name);
    if (found == types.end()) continue;  // of the mail system, or of the root of the service only
    ++compared;
    EXPECT_EQ(found->second, attribute.type) << attribute.name;
  }
  EXPECT_GT(compared, 280U);

  const posix::CallConditions conditions;
  posix::CallSchemas schemas(conditions);
  EXPECT_EQ(schemas.TypeOf(*connection, "msDS-hasDomainNCs").type, AdsType::kDnString);
  EXPECT_EQ(schemas.TypeOf(*connection, "MSFVE-KeyPackage;x").type, AdsType::kOctetString);
  const auto none = schemas.TypeOf(*connection, "noSuchAttribute");
  EXPECT_EQ(none.type, AdsType::kProviderSpecific);
  EXPECT_TRUE(none.settled);
}

}  // namespace
}  // namespace zorvan::platform
