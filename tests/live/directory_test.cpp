// The directory port against a real domain controller.

#include "platform/directory.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
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

  // How many objects the server's own database has for a filter.
  std::size_t CountInDatabase(const std::string& filter) const {
    const std::string command = "ldbsearch -H '" + domain_["samLdb"] + "' -b '" +
                                domain_["baseDn"] + "' '" + filter + "' dn | grep -c '^dn:'";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    char line[64] = {};
    EXPECT_TRUE(pipe && std::fgets(line, sizeof line, pipe.get()) != nullptr) << command;
    return std::strtoul(line, nullptr, 10);
  }

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
  EXPECT_EQ(whole.size(), CountInDatabase(ToUtf8(kUsers)));
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
    directory().ReadObjects(paths, administrator_.credentials(), kSecureAuthentication, names,
                            [&](std::size_t index, HResult result, AttributeSet&) {
                              EXPECT_EQ(Succeeded(result), index == 0);
                            });
  }
  EXPECT_EQ(ofFirst, expected);
  EXPECT_EQ(ofSecond, expected);
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

TEST_F(DirectoryTest, DeletedObjectsAreFoundUnderTheirContainerOnlyWhenAskedFor) {
  const std::u16string path =
      Path(u"<WKGUID=18e2ea80684f11d2b9aa00c04f79f805," + domain_.Wide("baseDn") + u">");
  const auto search = Open(path, kSecureAuthentication | kFastBind);
  const SearchPreference tombstone[] = {{SearchPreferenceId::kTombstone, 1}};
  ASSERT_EQ(search->SetSearchPreference(tombstone), kOk);
  Execute(*search, u"(&(isDeleted=TRUE)(objectClass=user))",
          {u"isDeleted", u"lastKnownParent", u"ADsPath", u"distinguishedName"});
  int rows = 0;
  for (; search->GetNextRow() == kOk; ++rows) {
    Column column;
    ASSERT_EQ(search->GetColumn(u"isDeleted", column), kOk);
    EXPECT_EQ(column.type, AdsType::kBoolean);
    EXPECT_EQ(column.values[0].number, 1);
    EXPECT_NE(TextOf(*search, u"distinguishedName").find(u"\\0ADEL:"), std::u16string::npos);
  }
  EXPECT_GT(rows, 0);
  EXPECT_EQ(Search(u"(isDeleted=TRUE)", u"distinguishedName").size(), 0U);
}

TEST_F(DirectoryTest, ObjectsAreFoundByGuidBySidAndByWellKnownGuid) {
  const auto search = Open(BasePath());
  Execute(*search, u"(sAMAccountName=Administrator)",
          {u"objectGUID", u"objectSid", u"distinguishedName"});
  ASSERT_EQ(search->GetNextRow(), kOk);
  const std::u16string name = TextOf(*search, u"distinguishedName");
  Column guid;
  Column sid;
  ASSERT_EQ(search->GetColumn(u"objectGUID", guid), kOk);
  ASSERT_EQ(search->GetColumn(u"objectSid", sid), kOk);
  const auto hexadecimal = [](std::span<const std::byte> octets) {
    constexpr std::u16string_view kDigits = u"0123456789abcdef";
    std::u16string text;
    for (std::byte octet : octets) {
      text += kDigits[std::to_integer<std::size_t>(octet >> 4)];
      text += kDigits[std::to_integer<std::size_t>(octet & std::byte{0xF})];
    }
    return text;
  };
  const auto nameAt = [&](const std::u16string& path) {
    std::unique_ptr<DirectoryObject> object;
    EXPECT_EQ(
        directory().OpenObject(path, administrator_.credentials(), kSecureAuthentication, object),
        kOk)
        << ToUtf8(path);
    AttributeSet set;
    const std::u16string_view names[] = {u"distinguishedName"};
    if (object == nullptr || Failed(object->GetObjectAttributes(names, set))) return u""s;
    const Column* column = set.Find(u"DistinguishedName");
    return column == nullptr ? u""s : std::u16string(column->values[0].text);
  };
  EXPECT_EQ(nameAt(Path(u"<GUID=" + hexadecimal(guid.values[0].octets) + u">")), name);
  EXPECT_EQ(nameAt(Path(u"<SID=" + hexadecimal(sid.values[0].octets) + u">")), name);
  EXPECT_EQ(
      nameAt(Path(u"<WKGUID=a9d1ca15768811d1aded00c04fd8d5cd," + domain_.Wide("baseDn") + u">")),
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
    const auto search = Open(BasePath());
    Execute(*search, u"(sAMAccountName=" + user + u")", {u"badPwdCount"});
    Column column;
    EXPECT_EQ(search->GetNextRow(), kOk);
    EXPECT_EQ(search->GetColumn(u"badPwdCount", column), kOk);
    return column.values[0].number;
  };
  const std::u16string name = domain_.Wide("netbiosDomain") + u"\\" + user;
  const auto openAs = [&](std::u16string_view password) {
    std::unique_ptr<DirectorySearch> search;
    return directory().OpenSearch(BasePath(), {name, password}, kSecureAuthentication, search);
  };
  const std::int64_t before = badPasswords();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(openAs(u"not the password"), kLogonFailure);
  EXPECT_EQ(badPasswords(), before + 1);
  EXPECT_EQ(openAs(domain_.Secret("readerPasswordFile")), kOk);
}

TEST_F(DirectoryTest, ReadsAThousandObjectsAndTellsTheMissingOnes) {
  const auto present = Search(kUsers, u"ADsPath");
  std::vector<std::u16string> paths;
  for (const std::u16string& path : present) {
    if (paths.size() == 1000) break;
    paths.push_back(path);
    if (paths.size() % 10 == 0) paths.back().insert(paths.back().find(u"CN=") + 3, u"absent ");
  }
  paths.emplace_back(u"LDAP:/no path");
  std::vector<int> visits(paths.size());
  const std::u16string_view names[] = {u"cn", u"objectGUID"};
  directory().ReadObjects(
      paths, administrator_.credentials(), kSecureAuthentication, names,
      [&](std::size_t index, HResult result, AttributeSet& set) {
        ++visits[index];
        const bool missing = (index + 1) % 10 == 0;
        if (index + 1 == paths.size()) {
          EXPECT_EQ(result, kBadPathname);
        } else {
          EXPECT_EQ(result, missing ? kNoSuchObject : kOk) << ToUtf8(paths[index]);
        }
        if (result != kOk) return;
        const Column* name = set.Find(u"CN");
        ASSERT_NE(name, nullptr);
        EXPECT_NE(set.Find(u"objectGUID"), nullptr);
        // The object that was read is the one that was asked for.
        const std::u16string_view first = name->values[0].text.substr(0, 1);
        EXPECT_EQ(paths[index].substr(paths[index].find(u"CN=") + 3).starts_with(first) ||
                      paths[index].find(u"CN=\\") != std::u16string::npos,
                  true);
      });
  EXPECT_EQ(visits, std::vector<int>(paths.size(), 1));
}

TEST_F(DirectoryTest, ColumnsAreThoseThatWereAskedForAndAreThere) {
  const auto search = Open(BasePath());
  Execute(*search, u"(sAMAccountName=Administrator)",
          {u"SAMACCOUNTNAME", u"noSuchAttribute", u"not an attribute", u"", u"ADsPath",
           u"whenCreated", u"memberOf"});
  Column column;
  EXPECT_EQ(search->GetColumn(u"sAMAccountName", column), kUnexpected) << "before the first row";
  ASSERT_EQ(search->GetNextRow(), kOk);
  EXPECT_EQ(TextOf(*search, u"sAMAccountName"), u"Administrator");
  EXPECT_TRUE(StartsWithIgnoringCase(TextOf(*search, u"adspath"), Path(u"CN=Adm")));
  for (std::u16string_view absent :
       {u"noSuchAttribute", u"not an attribute", u"", u"distinguishedName", u"cn"}) {
    EXPECT_EQ(search->GetColumn(absent, column), kColumnNotSet) << ToUtf8(absent);
  }
  ASSERT_EQ(search->GetColumn(u"whenCreated", column), kOk);
  EXPECT_EQ(column.type, AdsType::kUtcTime);
  EXPECT_GE(column.values[0].time.year, 2020);
  ASSERT_EQ(search->GetColumn(u"memberOf", column), kOk);
  EXPECT_GT(column.values.size(), 1U);
  EXPECT_EQ(search->GetNextRow(), kNoMoreRows);
  EXPECT_EQ(search->GetNextRow(), kNoMoreRows);

  Execute(*search, u"(sAMAccountName=Administrator)", {});
  EXPECT_EQ(search->GetNextRow(), kOk);
  EXPECT_EQ(search->GetColumn(u"cn", column), kColumnNotSet);
}

TEST_F(DirectoryTest, TextsOfRowsThatAreHeldCanBeSeenAhead) {
  std::multiset<std::u16string> expected;
  const auto all = Open(BasePath());
  Execute(*all, u"(&(manager=*)(sn=S*))", {u"manager"});
  expected = Rest(*all, u"manager");
  ASSERT_GT(expected.size(), 10U);

  const auto search = Open(BasePath());
  Execute(*search, u"(&(manager=*)(sn=S*))", {u"manager"}, 10);
  std::multiset<std::u16string> seen;
  for (int row = 0; search->GetNextRow() == kOk; ++row) {
    if (row % 10 != 0) continue;
    std::size_t inPage = 0;
    search->ForEachReceivedText(u"MANAGER", [&](std::u16string_view text) {
      seen.emplace(text);
      ++inPage;
    });
    EXPECT_LE(inPage, 10U) << "more than a page is held";
  }
  EXPECT_EQ(seen, expected);
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

TEST_F(DirectoryTest, TerminalServicesSettingsAreReadByLogonName) {
  const auto query = [&](std::u16string_view user, TerminalServicesClass setting,
                         TerminalServicesValue& value) {
    return platform_->accounts().QueryUserConfig(domain_.Wide("host"), domain_.Wide("baseDn"),
                                                 administrator_.credentials(), user, setting,
                                                 value);
  };
  TerminalServicesValue value;
  ASSERT_EQ(query(u"n.ts.full", TerminalServicesClass::kInitialProgram, value), 0U);
  EXPECT_EQ(value, TerminalServicesValue(u"C:\\Tools\\start.exe"s));
  ASSERT_EQ(query(u"N.TS.Full", TerminalServicesClass::kTimeoutConnections, value), 0U);
  EXPECT_EQ(value, TerminalServicesValue(1800000U));
  ASSERT_EQ(query(u"n.ts.barred", TerminalServicesClass::kAllowLogon, value), 0U);
  EXPECT_EQ(value, TerminalServicesValue(0U));
  ASSERT_EQ(query(u"n.ts.odd", TerminalServicesClass::kProfilePath, value), 0U);
  EXPECT_EQ(value, TerminalServicesValue(u"\\\\dc1\\B\u00FCro\\M\u00FCller"s));
  ASSERT_EQ(query(u"n.ts.dialin", TerminalServicesClass::kAllowLogon, value), 0U);
  EXPECT_EQ(value, TerminalServicesValue(1U));
  EXPECT_EQ(query(u"n.ts.cut", TerminalServicesClass::kAllowLogon, value), 13U);
  EXPECT_EQ(query(u"nobody*", TerminalServicesClass::kAllowLogon, value), 2221U);
}

TEST_F(DirectoryTest, TheSchemaOfTheServerAgreesWithTheBuiltInTable) {
  std::unique_ptr<posix::LdapConnection> connection;
  ExtendedError error;
  ASSERT_EQ(posix::LdapConnection::Open({domain_["host"], 389}, administrator_.credentials(),
                                        kSecureAuthentication, connection, error),
            kOk)
      << ToUtf8(error.text);
  posix::SchemaTypes types;
  ASSERT_EQ(posix::ReadSchema(*connection, types), kOk);
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

  EXPECT_EQ(posix::AttributeType(*connection, "msDS-hasDomainNCs"), AdsType::kDnString);
  EXPECT_EQ(posix::AttributeType(*connection, "MSFVE-KeyPackage"), AdsType::kOctetString);
  EXPECT_EQ(posix::AttributeType(*connection, "noSuchAttribute"), AdsType::kProviderSpecific);
}

}  // namespace
}  // namespace zorvan::platform
