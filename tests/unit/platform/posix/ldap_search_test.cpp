// Searches against a server that answers what the test wants, also what no real one would.

#include "platform/posix/ldap_search.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/posix/posix_directory.h"
#include "platform/posix/unicode.h"
#include "unit/platform/posix/ber.h"
#include "unit/platform/posix/canned_server.h"

namespace zorvan::platform::posix {
namespace {

std::string Person(int id, const std::string& name) {
  return CannedServer::Entry(id, "CN=" + name + ",DC=x", ber::Attribute("cn", {name}));
}

std::string People(int id, const std::string& prefix, int count) {
  std::string answer;
  for (int i = 0; i < count; ++i) answer += Person(id, prefix + std::to_string(i));
  return answer;
}

class LdapSearchTest : public testing::Test {
 protected:
  std::unique_ptr<DirectorySearch> Search(const CannedServer& server, std::uint32_t pageSize) {
    std::unique_ptr<DirectorySearch> search;
    EXPECT_EQ(directory_.OpenSearch(server.path() + u"DC=x", {}, kFastBind, search), kOk);
    const SearchPreference preferences[] = {{SearchPreferenceId::kPageSize, pageSize}};
    EXPECT_EQ(search->SetSearchPreference(preferences), kOk);
    const std::u16string_view attributes[] = {u"cn"};
    EXPECT_EQ(search->ExecuteSearch(u"(cn=*)", attributes), kOk);
    return search;
  }

  static std::vector<std::string> Names(DirectorySearch& search, HResult end = kNoMoreRows) {
    std::vector<std::string> names;
    HResult result = kOk;
    while ((result = search.GetNextRow()) == kOk) {
      Column column;
      EXPECT_EQ(search.GetColumn(u"cn", column), kOk);
      names.push_back(ToUtf8(column.values[0].text));
    }
    EXPECT_EQ(result, end) << std::hex << result;
    EXPECT_EQ(search.GetNextRow(), end) << "asked again";
    return names;
  }

  PosixDirectory directory_;
};

TEST_F(LdapSearchTest, AsksForTheNextPageBeforeItHandsOverTheFirstRowOfThisOne) {
  CannedServer server([](int id, std::size_t number) {
    return number == 1 ? People(id, "a", 3) + CannedServer::DonePage(id, "more")
                       : People(id, "b", 1) + CannedServer::DonePage(id, "");
  });
  const auto search = Search(server, 3);
  ASSERT_EQ(search->GetNextRow(), kOk);
  EXPECT_TRUE(server.AwaitSearches(2));
  std::size_t held = 0;
  search->ForEachReceivedText(u"cn", [&](std::u16string_view) { ++held; });
  EXPECT_EQ(held, 3U);
  EXPECT_EQ(Names(*search), (std::vector<std::string>{"a1", "a2", "b0"}));
}

TEST_F(LdapSearchTest, SendsTheCookieBackAndGoesOnAfterAnEmptyPage) {
  CannedServer server([](int id, std::size_t number) {
    if (number == 1) return CannedServer::DonePage(id, "one");
    if (number == 2) return CannedServer::DonePage(id, std::string("t\0o", 3));
    return Person(id, "last") + CannedServer::DonePage(id, "");
  });
  EXPECT_EQ(Names(*Search(server, 10)), std::vector<std::string>{"last"});
  const auto requests = server.received();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_NE(requests[0].bytes.find(LDAP_CONTROL_PAGEDRESULTS), std::string::npos);
  EXPECT_TRUE(requests[1].bytes.ends_with(ber::Octets("one")));
  EXPECT_TRUE(requests[2].bytes.ends_with(ber::Octets(std::string("t\0o", 3))));
}

TEST_F(LdapSearchTest, HoldsAPageAtMostOfAServerThatDoesNotKnowPages) {
  CannedServer server(
      [](int id, std::size_t) { return People(id, "p", 5000) + CannedServer::Done(id); });
  const auto search = Search(server, 100);
  ASSERT_EQ(search->GetNextRow(), kOk);
  std::size_t held = 0;
  search->ForEachReceivedText(u"cn", [&](std::u16string_view) { ++held; });
  EXPECT_LE(held, 101U);
  EXPECT_EQ(Names(*search).size(), 4999U);
}

TEST_F(LdapSearchTest, HandsOverTheRowsThatCameBeforeAFailure) {
  const std::pair<int, HResult> failures[] = {{3, HResultFromWin32(8226)}, {50, kAccessDenied}};
  for (const auto& [code, result] : failures) {
    CannedServer server(
        [&](int id, std::size_t) { return People(id, "a", 2) + CannedServer::Done(id, code); });
    EXPECT_EQ(Names(*Search(server, 10), result).size(), 2U);
  }
}

TEST_F(LdapSearchTest, EndsWhenTheServerGoesAwayInMidPageAndConnectsAnewForTheNextOne) {
  CannedServer server([](int id, std::size_t number) {
    if (number == 1) return People(id, "a", 2) + CannedServer::kClose;
    return Person(id, "b") + CannedServer::Done(id);
  });
  EXPECT_EQ(Names(*Search(server, 10), kServerDown).size(), 2U);
  EXPECT_EQ(Names(*Search(server, 10)), std::vector<std::string>{"b"});
  EXPECT_TRUE(server.AwaitConnections(2));
}

TEST_F(LdapSearchTest, SkipsReferencesToOtherServers) {
  CannedServer server([](int id, std::size_t) {
    return CannedServer::Reference(id) + Person(id, "a") + CannedServer::Reference(id) +
           CannedServer::Done(id);
  });
  EXPECT_EQ(Names(*Search(server, 10)), std::vector<std::string>{"a"});
}

TEST_F(LdapSearchTest, ReportsADamagedEntry) {
  CannedServer server([](int id, std::size_t) {
    return CannedServer::Entry(id, "CN=a,DC=x",
                               "\x30\x05\x04\x02"
                               "cn\x31") +
           CannedServer::Done(id);
  });
  const auto search = Search(server, 10);
  EXPECT_TRUE(Failed(search->GetNextRow()));
  Column column;
  EXPECT_EQ(search->GetColumn(u"cn", column), kUnexpected);
  EXPECT_EQ(search->GetNextRow(), kNoMoreRows);
}

TEST_F(LdapSearchTest, FindsAPieceOfAListByThePlainName) {
  CannedServer server([](int id, std::size_t number) {
    const char* range = number == 1 ? "cn;range=0-1" : "cn;range=0-*";
    return CannedServer::Entry(id, "CN=a,DC=x",
                               ber::Attribute("cn", {}) + ber::Attribute(range, {"a", "b"})) +
           CannedServer::Done(id);
  });
  for (const bool cut : {true, false}) {
    const auto search = Search(server, 10);
    ASSERT_EQ(search->GetNextRow(), kOk);
    Column column;
    ASSERT_EQ(search->GetColumn(u"cn", column), kOk);
    EXPECT_EQ(column.values.size(), 2U);
    EXPECT_TRUE(column.ranged);
    EXPECT_EQ(column.cut, cut);
    EXPECT_EQ(search->GetColumn(u"sn", column), kColumnNotSet);
  }
  const std::u16string paths[] = {server.path() + u"CN=a,DC=x"};
  const std::u16string_view names[] = {u"cn"};
  directory_.ReadObjects(paths, {}, 0, names,
                         [](std::size_t, HResult, AttributeSet& set, const ExtendedError&) {
                           const Column* column = set.Find(u"cn");
                           ASSERT_NE(column, nullptr);
                           EXPECT_TRUE(column->ranged);
                         });
}

TEST_F(LdapSearchTest, SaysWhatTheServerSaidOfItsOwnFailureOnly) {
  CannedServer server([](int id, std::size_t number) {
    return CannedServer::Done(id, number == 1 ? 80 : number == 2 ? 99 : 0);
  });
  const auto failed = Search(server, 10);
  EXPECT_EQ(failed->GetNextRow(), HResultFromWin32(31));
  const auto strange = Search(server, 10);
  EXPECT_EQ(strange->GetNextRow(), HResultFromWin32(31));
  const auto good = Search(server, 10);
  EXPECT_EQ(good->GetNextRow(), kNoMoreRows);
  EXPECT_EQ(failed->LastError().text, u"The server failed for a reason that it does not name.");
  EXPECT_NE(strange->LastError().text.find(u"result code 99"), std::u16string::npos);
  EXPECT_TRUE(good->LastError().text.empty());
}

TEST_F(LdapSearchTest, TellsTheServerWhenNoMoreIsWanted) {
  CannedServer server([](int id, std::size_t number) {
    if (number == 1) return People(id, "a", 3) + CannedServer::DonePage(id, "more");
    return People(id, "b", 3);  // and the end never comes
  });
  auto search = Search(server, 3);
  ASSERT_EQ(search->GetNextRow(), kOk);
  ASSERT_TRUE(server.AwaitSearches(2));
  search.reset();
  EXPECT_TRUE(server.AwaitAbandoned(1));
}

TEST_F(LdapSearchTest, ReadsOfObjectsAreAllSentBeforeTheFirstAnswer) {
  constexpr std::size_t kObjects = 200;
  CannedServer server([&server](int, std::size_t number) {
    std::string answer;
    if (number < kObjects) return answer;
    for (const ReceivedSearch& search : server.received()) {
      // The last component of "CN=17,DC=x" is its number; every fifth object is missing, or there
      // but not for us.
      const int object = std::stoi(search.base.substr(3));
      const std::string person = Person(search.id, std::to_string(object));
      // The one asked for last is answered first.
      answer.insert(0, object % 5 != 0 ? person + CannedServer::Done(search.id)
                                       : CannedServer::Done(search.id, object % 2 == 0 ? 32 : 0));
    }
    return answer;
  });
  std::vector<std::u16string> paths;
  for (std::size_t i = 0; i < kObjects; ++i) {
    paths.push_back(server.path() + ToUtf16("CN=" + std::to_string(i) + ",DC=x"));
  }
  paths.emplace_back(u"LDAP:/no path");
  std::set<std::size_t> read;
  const std::u16string_view names[] = {u"cn"};
  directory_.ReadObjects(
      paths, {}, 0, names,
      [&](std::size_t index, HResult result, AttributeSet& set, const ExtendedError&) {
        const HResult missing = index == kObjects ? kBadPathname : kNoSuchObject;
        EXPECT_EQ(result, index % 5 != 0 ? kOk : missing);
        const Column* name = set.Find(u"cn");
        EXPECT_EQ(name == nullptr ? "" : ToUtf8(name->values[0].text),
                  index % 5 != 0 ? std::to_string(index) : "");
        EXPECT_TRUE(read.insert(index).second) << index << " came twice";
      });
  EXPECT_EQ(read.size(), paths.size());
}

TEST_F(LdapSearchTest, ReadsOfObjectsAllFailWhenTheServerGoesAway) {
  CannedServer server([](int id, std::size_t number) {
    return number < 10 ? CannedServer::Done(id) : CannedServer::kClose;
  });
  std::vector<std::u16string> paths(300, server.path() + u"CN=a,DC=x");
  std::size_t missing = 0;
  std::size_t down = 0;
  directory_.ReadObjects(paths, {}, 0, {},
                         [&](std::size_t, HResult result, AttributeSet&, const ExtendedError&) {
                           missing += result == kNoSuchObject ? 1 : 0;
                           down += result == kServerDown ? 1 : 0;
                         });
  EXPECT_EQ(missing + down, 300U);
  EXPECT_GE(down, 1U);
}

}  // namespace
}  // namespace zorvan::platform::posix
