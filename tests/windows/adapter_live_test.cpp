// The adapter against a real controller, through the system's own ADsOpenObject. Every test ends
// with the provider having got everything back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "platform/windows/windows_headers.h"

namespace zorvan::platform {
namespace {

constexpr std::u16string_view kDeletedObjects = u"18e2ea80684f11d2b9aa00c04f79f805";

std::u16string Widen(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

std::map<std::string, std::string> ReadDomain() {
  std::map<std::string, std::string> properties;
  const char* file = std::getenv("ZORVAN_TEST_DOMAIN");
  std::ifstream stream(file == nullptr ? "" : file);
  for (std::string line; std::getline(stream, line);) {
    const std::size_t sign = line.find('=');
    if (sign != line.npos) properties[line.substr(0, sign)] = line.substr(sign + 1);
  }
  return properties;
}

bool IsTestProvider() {
  const char* provider = std::getenv("ZORVAN_TEST_PROVIDER");
  return provider == nullptr || std::string_view(provider) != "wine";
}

// How much the test provider has lent out; it must be the one that answered.
long LiveCount() {
  const HMODULE provider = GetModuleHandleW(L"ZorvanTestProvider.dll");
  EXPECT_EQ(provider != nullptr, IsTestProvider()) << "answered by another provider";
  if (provider == nullptr) return 0;
  return reinterpret_cast<long(WINAPI*)()>(
      reinterpret_cast<void (*)()>(GetProcAddress(provider, "LiveCount")))();
}

class AdapterLiveTest : public testing::Test {
 protected:
  void SetUp() override {
    auto properties = ReadDomain();
    ASSERT_FALSE(properties.empty()) << "run inside the test domain";
    std::ifstream file(properties["passwordFile"]);
    std::string password;
    std::getline(file, password);
    host_ = Widen(properties["host"]);
    base_ = Widen(properties["baseDn"]);
    user_ = Widen(properties["userName"] + "@" + properties["dnsDomain"]);
    password_ = Widen(password);
    // Keeps the provider loaded until it has been asked.
    ASSERT_EQ(CoInitialize(nullptr), S_OK);
    ASSERT_EQ(platform_->InitializeApartment(Apartment::kSingleThreaded), S_FALSE);
  }

  void TearDown() override {
    platform_->UninitializeApartment();
    EXPECT_EQ(LiveCount(), 0) << "objects, searches or columns that were not given back";
    CoUninitialize();
  }

  Directory& directory() { return platform_->directory(); }
  Credentials administrator() const { return {user_, password_}; }
  std::u16string Path(std::u16string_view name) const {
    return std::u16string(u"LDAP://").append(host_).append(u"/").append(name);
  }
  std::u16string Administrator() const { return u"CN=Administrator,CN=Users," + base_; }

  HResult OpenSearch(const std::u16string& path, const Credentials& credentials,
                     std::uint32_t flags = kSecureAuthentication) {
    search_.reset();
    return directory().OpenSearch(path, credentials, flags, search_);
  }

  // Opens for reading and reads one attribute.
  HResult ReadOne(const std::u16string& path, std::u16string_view name, AttributeSet& set) {
    std::unique_ptr<DirectoryObject> object;
    const HResult result =
        directory().OpenObject(path, administrator(), kSecureAuthentication, object);
    return Failed(result) ? result : object->GetObjectAttributes({&name, 1}, set);
  }

  // The sub tree's rows of a filter, each with its values of cn; stops at a failure.
  HResult Rows(DirectorySearch& search, std::u16string_view filter,
               std::vector<std::u16string>& names, std::uint32_t pageSize = 1000,
               bool tombstones = false) {
    const SearchPreference preferences[] = {{SearchPreferenceId::kSearchScope, 2},
                                            {SearchPreferenceId::kPageSize, pageSize},
                                            {SearchPreferenceId::kTombstone, 1}};
    search.SetSearchPreference(
        std::span<const SearchPreference>(preferences).first(tombstones ? 3 : 2));
    constexpr std::u16string_view kNames[] = {u"cn", u"objectSid"};
    HResult result = search.ExecuteSearch(filter, kNames);
    if (Failed(result)) return result;
    while ((result = search.GetNextRow()) == kOk) {
      Column column;
      names.emplace_back(search.GetColumn(u"cn", column) == kOk ? column.values[0].text : u"");
    }
    return result;
  }

  std::u16string host_;
  std::u16string base_;
  std::u16string user_;
  std::u16string password_;
  std::unique_ptr<Platform> platform_ = CreatePlatform();
  std::unique_ptr<DirectorySearch> search_;
};

TEST_F(AdapterLiveTest, StreamsThousandsOfRowsOverPages) {
  ASSERT_EQ(OpenSearch(Path(base_), administrator()), kOk);
  std::vector<std::u16string> whole;
  ASSERT_EQ(Rows(*search_, u"(&(objectCategory=person)(objectClass=user))", whole), kNoMoreRows);
  EXPECT_GE(whole.size(), 2000U);
  std::vector<std::u16string> small;
  ASSERT_EQ(Rows(*search_, u"(&(objectCategory=person)(objectClass=user))", small, 170),
            kNoMoreRows);
  std::sort(whole.begin(), whole.end());
  std::sort(small.begin(), small.end());
  EXPECT_EQ(whole, small) << "the size of a page changes no row";
  search_.reset();
}

TEST_F(AdapterLiveTest, GivesEveryTypeItsMember) {
  ASSERT_EQ(OpenSearch(Path(base_), administrator()), kOk);
  constexpr std::u16string_view kNames[] = {
      u"distinguishedName",    u"sAMAccountName", u"userAccountControl",     u"whenCreated",
      u"pwdLastSet",           u"objectSid",      u"isCriticalSystemObject", u"memberOf",
      u"nTSecurityDescriptor", u"ADsPath"};
  ASSERT_EQ(search_->ExecuteSearch(u"(sAMAccountName=Administrator)", kNames), kOk);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  std::map<std::u16string_view, Column> row;
  for (std::u16string_view name : kNames) ASSERT_EQ(search_->GetColumn(name, row[name]), kOk);
  EXPECT_EQ(row[u"distinguishedName"].type, AdsType::kDnString);
  EXPECT_EQ(row[u"distinguishedName"].values[0].text, Administrator());
  EXPECT_EQ(row[u"sAMAccountName"].values[0].text, u"Administrator");
  EXPECT_EQ(row[u"userAccountControl"].type, AdsType::kInteger);
  EXPECT_EQ(row[u"userAccountControl"].values[0].number & 512, 512);
  EXPECT_EQ(row[u"whenCreated"].type, AdsType::kUtcTime);
  EXPECT_GE(row[u"whenCreated"].values[0].time.year, 2020);
  EXPECT_EQ(row[u"pwdLastSet"].type, AdsType::kLargeInteger);
  EXPECT_GT(row[u"pwdLastSet"].values[0].number, 130'000'000'000'000'000);
  EXPECT_EQ(row[u"objectSid"].type, AdsType::kOctetString);
  EXPECT_EQ(row[u"objectSid"].values[0].octets.size(), 28U);
  EXPECT_EQ(row[u"isCriticalSystemObject"].type, AdsType::kBoolean);
  EXPECT_EQ(row[u"isCriticalSystemObject"].values[0].number, 1);
  EXPECT_GE(row[u"memberOf"].values.size(), 4U);
  EXPECT_EQ(row[u"nTSecurityDescriptor"].type, AdsType::kNtSecurityDescriptor);
  EXPECT_GT(row[u"nTSecurityDescriptor"].values[0].octets.size(), 100U);
  EXPECT_EQ(row[u"ADsPath"].values[0].text, Path(Administrator()));
  Column column;
  EXPECT_EQ(search_->GetColumn(u"noSuchAttribute", column), kColumnNotSet);
  search_.reset();
}

TEST_F(AdapterLiveTest, FindsDeletedObjectsBehindTheirWellKnownName) {
  std::u16string path = Path(u"<WKGUID=");
  path.append(kDeletedObjects).append(u",").append(base_).append(u">");
  ASSERT_EQ(OpenSearch(path, administrator(), kSecureAuthentication | kFastBind), kOk);
  std::vector<std::u16string> names;
  ASSERT_EQ(Rows(*search_, u"(&(isDeleted=TRUE)(cn=*))", names, 1000, true), kNoMoreRows);
  EXPECT_GE(names.size(), 2U);
  EXPECT_TRUE(std::any_of(names.begin(), names.end(),
                          [](const auto& name) { return name.find(u"\nDEL:") != name.npos; }));
  search_.reset();
}

TEST_F(AdapterLiveTest, ReadsOneObjectByEveryFormOfName) {
  AttributeSet set;
  ASSERT_EQ(ReadOne(Path(Administrator()), u"objectSid", set), kOk);
  const auto octets = [](const AttributeSet& from, std::u16string_view name) {
    std::u16string hex;
    for (std::byte octet : from.Find(name)->values[0].octets) {
      hex.push_back(u"0123456789abcdef"[std::to_integer<unsigned>(octet) >> 4]);
      hex.push_back(u"0123456789abcdef"[std::to_integer<unsigned>(octet) & 0xF]);
    }
    return hex;
  };
  const std::u16string sid = octets(set, u"objectSid");
  ASSERT_EQ(ReadOne(Path(Administrator()), u"objectGUID", set), kOk);
  const std::u16string guid = octets(set, u"objectGUID");
  for (const std::u16string& name : {u"<SID=" + sid + u">", u"<GUID=" + guid + u">"}) {
    ASSERT_EQ(ReadOne(Path(name), u"distinguishedName", set), kOk);
    EXPECT_EQ(set.Find(u"distinguishedName")->type, AdsType::kDnString);
    EXPECT_EQ(set.Find(u"distinguishedName")->values[0].text, Administrator());
  }
  EXPECT_EQ(ReadOne(Path(Administrator()), u"telexNumber", set), kOk);
  EXPECT_EQ(set.Find(u"telexNumber"), nullptr) << "what the object lacks is no failure";
}

TEST_F(AdapterLiveTest, ReadsManyObjectsAndTellsWhichAreNotThere) {
  const std::u16string paths[] = {Path(Administrator()), Path(u"CN=Nobody," + base_),
                                  Path(u"CN=Guest,CN=Users," + base_)};
  constexpr std::u16string_view kNames[] = {u"cn", u"objectGUID"};
  std::map<std::size_t, std::pair<HResult, std::u16string>> visited;
  directory().ReadObjects(
      paths, administrator(), kSecureAuthentication, kNames,
      [&](std::size_t index, HResult result, AttributeSet& set, const ExtendedError&) {
        const Column* name = set.Find(u"cn");
        visited[index] = {
            result, name == nullptr ? std::u16string() : std::u16string(name->values[0].text)};
      });
  ASSERT_EQ(visited.size(), 3U);
  EXPECT_EQ(visited[0], std::pair(kOk, std::u16string(u"Administrator")));
  EXPECT_EQ(visited[1].first, kNoSuchObject);
  EXPECT_EQ(visited[2], std::pair(kOk, std::u16string(u"Guest")));
}

TEST_F(AdapterLiveTest, ReadsThroughThePropertyCacheAndSearchesTheSameObject) {
  std::unique_ptr<PropertyObject> object;
  ASSERT_EQ(directory().OpenPropertyObject(Path(Administrator()), administrator(),
                                           kSecureAuthentication, object),
            kOk);
  const std::pair<std::u16string_view, AdsType> kinds[] = {
      {u"cn", AdsType::kCaseIgnoreString},           {u"memberOf", AdsType::kCaseIgnoreString},
      {u"userAccountControl", AdsType::kInteger},    {u"whenCreated", AdsType::kUtcTime},
      {u"pwdLastSet", AdsType::kLargeInteger},       {u"objectSid", AdsType::kOctetString},
      {u"isCriticalSystemObject", AdsType::kBoolean}};
  AttributeSet set;
  for (const auto& [name, type] : kinds) {
    ASSERT_EQ(object->Get(name, set), kOk);
    EXPECT_EQ(set.Find(name)->type, type) << "attribute of type " << static_cast<int>(type);
    EXPECT_FALSE(set.Find(name)->values.empty());
  }
  EXPECT_GT(set.Find(u"isCriticalSystemObject")->values[0].number, 0);
  EXPECT_EQ(object->Get(u"telexNumber", set), kPropertyNotFound);
  EXPECT_EQ(object->Get(std::u16string_view(u"c\0n", 3), set), kPropertyNotFound);
  std::unique_ptr<DirectorySearch> search;
  ASSERT_EQ(object->QueryDirectorySearch(search), kOk);
  object.reset();
  std::vector<std::u16string> names;
  EXPECT_EQ(Rows(*search, u"(objectClass=*)", names), kNoMoreRows) << "outlives the object";
  EXPECT_EQ(names, std::vector<std::u16string>{u"Administrator"});
}

TEST_F(AdapterLiveTest, SearchesTheGlobalCatalog) {
  ASSERT_EQ(OpenSearch(u"GC://" + host_ + u"/" + base_, administrator()), kOk);
  std::vector<std::u16string> names;
  EXPECT_EQ(Rows(*search_, u"(sAMAccountName=Administrator)", names), kNoMoreRows);
  EXPECT_EQ(names.size(), 1U);
  search_.reset();
}

TEST_F(AdapterLiveTest, AWrongPasswordOrNameGivesNoRows) {
  // Wine's provider has a code of its own for this answer of the server.
  EXPECT_EQ(OpenSearch(Path(base_), {user_, u"not the password"}),
            IsTestProvider() ? kLogonFailure : HResultFromWin32(0x20A2));
  std::vector<std::u16string> names;
  HResult result = OpenSearch(Path(u"OU=Nowhere," + base_), administrator());
  // Wine's provider notices only when it searches.
  if (Succeeded(result)) result = Rows(*search_, u"(cn=*)", names);
  EXPECT_EQ(result, kNoSuchObject);
  EXPECT_TRUE(names.empty());
  search_.reset();
}

TEST_F(AdapterLiveTest, TellsFailuresApart) {
  const Credentials wrong{user_, u"not the password"};
  EXPECT_EQ(OpenSearch(Path(base_), wrong), kLogonFailure);
  EXPECT_EQ(OpenSearch(Path(u"OU=Nowhere," + base_), administrator()), kNoSuchObject);
  EXPECT_EQ(OpenSearch(u"LDAP://127.0.0.21/" + base_, administrator()), kServerDown);
  EXPECT_EQ(OpenSearch(Path(u"no name at all"), administrator()), kBadPathname);
  AttributeSet set;
  EXPECT_EQ(ReadOne(Path(u"CN=Nobody," + base_), u"cn", set), kNoSuchObject);
  std::unique_ptr<PropertyObject> object;
  EXPECT_EQ(directory().OpenPropertyObject(Path(base_), wrong, kSecureAuthentication, object),
            kLogonFailure);
  ASSERT_EQ(OpenSearch(Path(base_), administrator()), kOk);
  std::vector<std::u16string> names;
  EXPECT_EQ(Rows(*search_, u"(cn=", names), kInvalidFilter);
  EXPECT_EQ(search_->GetNextRow(), kUnexpected);
  // A search that failed does not spoil the next.
  EXPECT_EQ(Rows(*search_, u"(!cn=*)", names), kNoMoreRows);
  search_.reset();
}

}  // namespace
}  // namespace zorvan::platform
