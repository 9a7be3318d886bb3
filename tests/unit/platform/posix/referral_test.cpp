// Referrals, from servers that send them and to servers that others name.
#include "platform/posix/referral.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/ldap_result.h"
#include "platform/posix/posix_directory.h"
#include "platform/posix/unicode.h"
#include "support/recording.h"
#include "unit/platform/posix/ber.h"
#include "unit/platform/posix/canned_server.h"

namespace zorvan::platform::posix {
namespace {

using support::RecordedNotice;

TEST(Referral, NamesAHostOfTheForestOrIsNone) {
  ServerNames names;
  names.rootDomainNamingContext = "DC=example,DC=com";
  const std::u16string urls[] = {u"http://a.example.com/", u"ldap:///DC=example,DC=com",
                                 u"ldap://example.com.evil.test/", u"ldap://notexample.com/",
                                 u"ldap://child.EXAMPLE.com/DC=child,DC=example,DC=com"};
  const auto referral = ReferralInForest(urls, names);
  ASSERT_TRUE(referral);
  EXPECT_EQ(referral->host, "child.EXAMPLE.com");
  EXPECT_EQ(referral->dn, "DC=child,DC=example,DC=com");
  EXPECT_FALSE(ReferralInForest(std::span(urls).first(4), names));
  EXPECT_FALSE(ReferralInForest(urls, ServerNames{})) << "a forest without a name has no hosts";
  EXPECT_TRUE(ParseReferral(u"ldaps://a/")->tls);
}

class ReferralTest : public testing::Test {
 protected:
  ReferralTest() {
    directory_.SetConditions({CallTerms{}, &observer_});
    here_.TellOfItself(ber::Attribute("rootDomainNamingContext", {"DC=localhost"}));
    there_.TellOfItself(ber::Attribute("rootDomainNamingContext", {"DC=localhost"}));
  }

  static std::string Url(std::uint16_t port) {
    return "ldap://localhost:" + std::to_string(port) + "/DC=child";
  }

  // The result of the search's first row, with its name.
  HResult Search(std::u16string& name, ExtendedError& error) {
    std::unique_ptr<DirectorySearch> search;
    EXPECT_EQ(directory_.OpenSearch(here_.path() + u"DC=x", {}, kFastBind, search), kOk);
    const std::u16string_view attributes[] = {u"cn"};
    EXPECT_EQ(search->ExecuteSearch(u"(cn=*)", attributes), kOk);
    const HResult result = search->GetNextRow();
    error = search->LastError();
    Column column;
    if (result == kOk && search->GetColumn(u"cn", column) == kOk) name = column.values[0].text;
    EXPECT_EQ(search->GetNextRow(), Failed(result) ? result : kNoMoreRows);
    return result;
  }

  void ExpectRefused(std::u16string_view host) {
    std::u16string name;
    ExtendedError error;
    EXPECT_EQ(Search(name, error), kReferral);
    EXPECT_NE(error.text.find(host), error.text.npos) << ToUtf8(error.text);
    EXPECT_TRUE(observer_.notices.empty());
    const HResult opened = directory_.OpenSearch(here_.path() + u"DC=x", {}, 0, opened_);
    EXPECT_EQ(opened, kReferral);
    EXPECT_NE(directory_.LastError().text.find(host), std::u16string::npos);
  }

  support::RecordingObserver observer_;
  std::vector<std::string> urls_;
  CannedServer there_{[](int id, std::size_t) {
    return CannedServer::Entry(id, "CN=ann,DC=child", ber::Attribute("cn", {"ann"})) +
           CannedServer::Done(id);
  }};
  CannedServer here_{[this](int id, std::size_t) { return CannedServer::Referral(id, urls_); }};
  PosixDirectory directory_;
  std::unique_ptr<DirectorySearch> opened_;
};

TEST_F(ReferralTest, OfASearchIsFollowedOnceToAHostOfTheForest) {
  urls_ = {"ldap://elsewhere.test/DC=child", Url(there_.port())};
  std::u16string name;
  ExtendedError error;
  EXPECT_EQ(Search(name, error), kOk) << ToUtf8(error.text);
  EXPECT_EQ(name, u"ann");
  EXPECT_EQ(there_.received().at(0).base, "DC=child");
  const std::vector<RecordedNotice> notices = {
      {NoticeKind::kReferralFollowed, u"DC=x", u"localhost", 0}};
  EXPECT_EQ(observer_.notices, notices);
}

TEST_F(ReferralTest, OfAReadIsFollowedToo) {
  urls_ = {Url(there_.port())};
  const std::u16string paths[] = {here_.path() + u"CN=ann,DC=x"};
  const std::u16string_view names[] = {u"cn"};
  std::size_t read = 0;
  directory_.ReadObjects(paths, {}, 0, names,
                         [&](std::size_t, HResult result, AttributeSet& set, const ExtendedError&) {
                           EXPECT_EQ(result, kOk);
                           read += set.Find(u"cn") == nullptr ? 0 : 1;
                         });
  EXPECT_EQ(read, 1U);
  std::unique_ptr<DirectoryObject> object;
  ASSERT_EQ(directory_.OpenObject(here_.path() + u"CN=ann,DC=x", {}, 0, object), kOk);
  AttributeSet set;
  EXPECT_EQ(object->GetObjectAttributes(names, set), kOk);
  EXPECT_NE(set.Find(u"cn"), nullptr);
  EXPECT_EQ(here_.received().size(), 2U) << "what was opened there is read there";
}

TEST_F(ReferralTest, OutOfTheForestIsNotFollowed) {
  urls_ = {Url(there_.port())};
  here_.TellOfItself(ber::Attribute("rootDomainNamingContext", {"DC=example,DC=test"}));
  ExpectRefused(u"localhost");
  EXPECT_TRUE(there_.received().empty());
}

TEST_F(ReferralTest, ToAHostThatCannotBeAskedFailsWithItsName) {
  urls_ = {Url(1)};
  ExpectRefused(u"localhost");
}

TEST_F(ReferralTest, LeadsNoFurtherThanOneServer) {
  CannedServer second([this](int id, std::size_t) { return CannedServer::Referral(id, urls_); });
  second.TellOfItself(ber::Attribute("rootDomainNamingContext", {"DC=localhost"}));
  urls_ = {Url(second.port())};
  std::u16string name;
  ExtendedError error;
  EXPECT_EQ(Search(name, error), kReferral);
  EXPECT_NE(error.text.find(u"localhost, but one referral"), error.text.npos) << ToUtf8(error.text);
  EXPECT_EQ(second.received().size(), 1U);
}

}  // namespace
}  // namespace zorvan::platform::posix
