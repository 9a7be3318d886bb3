#include "platform/posix/schema.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/posix_directory.h"
#include "platform/posix/search_request.h"
#include "support/recording.h"
#include "unit/platform/posix/ber.h"
#include "unit/platform/posix/canned_server.h"

namespace zorvan::platform::posix {
namespace {

TEST(Schema, KnowsNoAttributesBesidesThoseOfTheTable) {
  EXPECT_EQ(BuiltInType("wWWHomePage"), AdsType::kCaseIgnoreString);  // the last one
  for (std::string_view unknown : {"", "a", "pwdLastSe", "pwdLastSet2", "zz", "pwdLastSet;x"}) {
    EXPECT_FALSE(BuiltInType(unknown).has_value()) << unknown;
  }
}

TEST(Schema, TellsNamesFromNamesWithSomethingAttached) {
  const std::string orName = "\x56\x06\x01\x02\x05\x0B\x1D";
  EXPECT_EQ(TypeOfSyntax("2.5.5.7", {}), AdsType::kDnWithBinary);
  EXPECT_EQ(TypeOfSyntax("2.5.5.7", std::as_bytes(std::span(orName))), AdsType::kDnString);
  EXPECT_EQ(TypeOfSyntax("2.5.5.14", {}), AdsType::kDnWithString);
  EXPECT_EQ(TypeOfSyntax("2.5.5.99", {}), AdsType::kProviderSpecific);
}

// The schema of a forest, read by a reader that does what the test wants.
class ForestSchemaTest : public testing::Test {
 protected:
  ForestSchema::View Find(const std::string& needed, const std::string& server,
                          const ForestSchema::Reader& reader) {
    return forest_.Find(needed, server, reader, Deadline::max());
  }
  ForestSchema::Reader Gives(std::vector<std::string> names, HResult result = kOk) {
    return [this, names, result](SchemaTypes& types) {
      ++reads_;
      for (const std::string& name : names) types[name] = AdsType::kInteger;
      return result;
    };
  }

  ForestSchema forest_;
  int reads_ = 0;
};

TEST_F(ForestSchemaTest, APoorerViewNeverReplacesAFullerOne) {
  EXPECT_FALSE(Find("a", "empty", Gives({})).whole);
  EXPECT_FALSE(Find("a", "cut", Gives({"a", "b", "c"}, kTimedOut)).whole);
  EXPECT_EQ(Find("a", "cut", Gives({"a", "b"})).types, nullptr) << "asked again at once";
  EXPECT_TRUE(Find("a", "good", Gives({"a", "b"})).whole);
  EXPECT_TRUE(Find("z", "poor", Gives({"z"})).whole) << "a young schema is not read again";
  EXPECT_EQ(reads_, 3);
  EXPECT_TRUE(Find("b", "poor", Gives({"z"})).types->contains("b"));
}

TEST_F(ForestSchemaTest, ACallThatIsOverSaysNothingOfItsServer) {
  EXPECT_FALSE(Find("a", "dc1", Gives({}, kCancelled)).whole);
  EXPECT_TRUE(Find("a", "dc1", Gives({"a"})).whole);
  EXPECT_EQ(reads_, 2);
}

TEST_F(ForestSchemaTest, ASlowServerKeepsNobodyElseFromReading) {
  std::promise<void> begun;
  std::promise<void> released;
  std::thread slow([&] {
    Find("a", "slow", [&](SchemaTypes&) {
      begun.set_value();
      released.get_future().wait();
      return kTimedOut;
    });
  });
  begun.get_future().wait();
  EXPECT_TRUE(Find("a", "good", Gives({"a"})).types->contains("a"));
  EXPECT_TRUE(Find("a", "slow", Gives({})).types->contains("a")) << "known, so nothing to wait for";
  released.set_value();
  slow.join();
  EXPECT_EQ(reads_, 1);
  EXPECT_TRUE(Find("a", "good", Gives({})).types->contains("a"));
}

class CallSchemasTest : public testing::Test {
 protected:
  static std::string Definition(int id, const std::string& name, const std::string& syntax) {
    return CannedServer::Entry(
        id, "CN=" + name + ",CN=Schema",
        ber::Attribute("lDAPDisplayName", {name}) + ber::Attribute("attributeSyntax", {syntax}));
  }
  static std::string Rows(int id) {
    std::string rows;
    for (const char* name : {"CN=a,DC=x", "CN=b,DC=x"}) {
      rows += CannedServer::Entry(id, name, ber::Attribute("oddAttribute", {"7"}));
    }
    return rows + CannedServer::Done(id);
  }

  // The types that the odd attribute has in the rows of a server.
  static std::vector<AdsType> Types(PosixDirectory& directory, CannedServer& server) {
    server.TellOfItself(ber::Attribute("schemaNamingContext", {"CN=Schema"}) +
                        ber::Attribute("dnsHostName", {"dc1.example.test"}));
    std::unique_ptr<DirectorySearch> search;
    EXPECT_EQ(directory.OpenSearch(server.path() + u"DC=x", {}, kFastBind, search), kOk);
    const std::u16string_view attributes[] = {u"oddAttribute"};
    EXPECT_EQ(search->ExecuteSearch(u"(cn=*)", attributes), kOk);
    std::vector<AdsType> types;
    while (search->GetNextRow() == kOk) {
      Column column;
      EXPECT_EQ(search->GetColumn(attributes[0], column), kOk);
      types.push_back(column.type);
    }
    return types;
  }

  // Answers searches for rows, and those of the schema with what the test says.
  static CannedServer::Answer Server(CannedServer*& server,
                                     std::function<std::string(int)> schema) {
    return [&server, schema](int id, std::size_t) {
      return server->received().back().base == "CN=Schema" ? schema(id) : Rows(id);
    };
  }
};

TEST_F(CallSchemasTest, TypesThatCannotBeReadAreToldOnceForEachAttribute) {
  CannedServer* self = nullptr;
  CannedServer server(Server(self, [](int id) {
    return Definition(id, "oddAttribute", "2.5.5.9") + CannedServer::Done(id, 51);
  }));
  self = &server;
  support::RecordingObserver observer;
  PosixDirectory directory;
  directory.SetConditions({CallTerms{}, &observer});
  const std::vector<AdsType> unknown(2, AdsType::kProviderSpecific);
  EXPECT_EQ(Types(directory, server), unknown);
  EXPECT_EQ(Types(directory, server), unknown);
  ASSERT_FALSE(observer.notices.empty());
  EXPECT_EQ(observer.notices.front().kind, NoticeKind::kSchemaNotRead);
  EXPECT_FALSE(observer.notices.front().detail.empty());
  observer.notices.erase(observer.notices.begin());
  const std::vector<support::RecordedNotice> notices = {
      {NoticeKind::kTypesUnknown, u"dc1.example.test", u"oddAttribute", 0}};
  EXPECT_EQ(observer.notices, notices);
  EXPECT_EQ(server.received().size(), 3U) << "the schema is not asked for again at once";
}

TEST_F(CallSchemasTest, OfServersThatNobodyVouchedForAreKeptApart) {
  for (const auto& [syntax, type] :
       {std::pair{"2.5.5.9", AdsType::kInteger}, std::pair{"2.5.5.12", AdsType::kCaseIgnoreString},
        std::pair{"2.5.5.9", AdsType::kInteger}}) {
    CannedServer* self = nullptr;
    CannedServer server(Server(self, [syntax](int id) {
      return Definition(id, "oddAttribute", syntax) + CannedServer::DonePage(id, "");
    }));
    self = &server;
    PosixDirectory directory;
    EXPECT_EQ(Types(directory, server), std::vector<AdsType>(2, type));
  }
}

TEST_F(CallSchemasTest, AServerThatNeverEndsItsSchemaCostsThatRequestOnly) {
  enum Fault { kSilent, kLoops };
  for (const Fault fault : {kSilent, kLoops}) {
    CannedServer* self = nullptr;
    int page = 0;
    CannedServer server(Server(self, [&page, fault](int id) {
      const std::string number = std::to_string(++page);
      return fault == kSilent
                 ? std::string()
                 : Definition(id, "a" + number, "2.5.5.9") + CannedServer::DonePage(id, number);
    }));
    self = &server;
    server.TellOfItself(ber::Attribute("schemaNamingContext", {"CN=Schema"}));
    std::unique_ptr<LdapConnection> connection;
    ExtendedError error;
    ASSERT_EQ(LdapConnection::Open({"127.0.0.1", server.port()}, {}, 0, connection, error), kOk);
    SchemaTypes types;
    const auto soon = ForestSchema::Clock::now() + std::chrono::milliseconds(100);
    EXPECT_EQ(ReadSchema(*connection, soon, types, error), kTimedOut);
    EXPECT_FALSE(connection->broken());
    SearchRequest request;
    request.base = "CN=a,DC=x";
    Message chain;
    LDAPMessage* entry = nullptr;
    EXPECT_EQ(ReadEntry(*connection, request, chain, entry, error), kOk);
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
