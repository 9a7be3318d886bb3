#include "directory/row_builder.h"

#include "directory/bind.h"
#include "directory/paged_search.h"
#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using support::Call;
using support::DomainSid;
using Rows = std::vector<std::u16string>;

std::u16string NameOf(std::u16string_view commonName) {
  return u"CN=" + std::u16string(commonName) + u",DC=example,DC=com";
}

std::u16string Linked(std::u16string_view distinguishedName, std::u16string_view commonName) {
  return u"{distinguishedName=" + std::u16string(distinguishedName) + u", cn=" +
         std::u16string(commonName) + u"}";
}

class RowBuilderTest : public support::CallFixture {
 protected:
  RowBuilderTest() {
    for (const auto name : {u"Staff", u"Sales"}) script.Add(NameOf(name)).Texts(u"cn", {name});
    script.Add(NameOf(u"Domain Users"))
        .Texts(u"cn", {u"Domain Users"})
        .Binary(u"objectSid", DomainSid(513));
    script.answers[u"(rows)"];
  }

  support::ScriptedObject& AddRow(std::u16string_view commonName) {
    script.answers[u"(rows)"].push_back(NameOf(commonName));
    return script.Add(NameOf(commonName));
  }

  const Rows& Read(const std::vector<std::u16string>& attributes) {
    std::unique_ptr<platform::DirectorySearch> search;
    EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, support::kNamingContext), search),
              platform::kOk);
    listener.rows.clear();
    StreamRows(handler, *search, {u"(rows)", attributes}, FirstAnswer::kHonoured, listener);
    return listener.rows;
  }

  support::RecordingObserver observer;
  const std::u16string staff = Linked(NameOf(u"Staff"), u"Staff");
  const std::u16string sales = Linked(NameOf(u"Sales"), u"Sales");
};

TEST_F(RowBuilderTest, LinksThatCannotBeReadGiveTheirName) {
  const std::u16string gone = NameOf(u"gone");
  const std::u16string barred = NameOf(u"Sales");
  const std::u16string elsewhere = u"CN=x,DC=child,DC=example,DC=com";
  const std::u16string nameless = u"OU=Unit,DC=example,DC=com";
  script.Add(nameless);
  script.Fail(Call::kRead, platform::kAccessDenied, ObjectPath(handler.settings, barred));
  AddRow(u"ann")
      .Texts(u"managedBy", {gone, elsewhere, barred, nameless})
      .Texts(u"manager", {gone, elsewhere, barred, nameless});
  const Rows expected = {u"managedBy=[" + Linked(gone, gone) + u", " +
                         Linked(elsewhere, elsewhere) + u", " + Linked(barred, barred) +
                         u", {distinguishedName=" + nameless + u"}], manager=[" + gone + u", " +
                         elsewhere + u", " + barred + u", " + nameless + u"]"};
  script.extendedError = {32, u"no such object here"};
  script.Add(elsewhere);
  EXPECT_EQ(Read({u"managedBy", u"manager"}), expected);
  for (const auto& bind : script.binds) EXPECT_EQ(bind.path.find(elsewhere), bind.path.npos);
  EXPECT_EQ(log.Count(u"The directory said: no such object here (20)"), 4U);
  for (const std::u16string column : {u"managedBy", u"manager"}) {
    const std::u16string line = u"Object Bind Failed GetCommanName error:";
    const std::u16string of = u" columnName:" + column + u" columnValue:";
    EXPECT_EQ(log.Count(line + u"80072030" + of + gone), 1U);
    EXPECT_EQ(log.Count(line + u"80070005" + of + barred), 1U);
    EXPECT_EQ(log.Count(of + elsewhere), 1U);
  }
}

TEST_F(RowBuilderTest, SenderListsTakeInThoseOfDistributionLists) {
  AddRow(u"both")
      .Texts(u"authOrig", {NameOf(u"Staff")})
      .Texts(u"dLMemSubmitPerms", {NameOf(u"Sales")})
      .Texts(u"dLMemRejectPerms", {NameOf(u"Staff")});
  AddRow(u"neither");
  const Rows expected = {u"authOrig=[" + staff + u", " + sales + u"], unauthOrig=[" + staff + u"]",
                         u""};
  EXPECT_EQ(Read({u"authOrig", u"unauthOrig"}), expected);
}

TEST_F(RowBuilderTest, OnlyAccountsOfADomainHaveAPrimaryGroup) {
  AddRow(u"missing")
      .Texts(u"memberOf", {NameOf(u"Staff")})
      .Number(u"primaryGroupID", 1999)
      .Binary(u"objectSid", DomainSid(1105));
  AddRow(u"no account").Number(u"primaryGroupID", 513);
  AddRow(u"built in")
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", support::NtSid({32, 513}));
  const Rows expected = {u"memberOf=[" + staff + u"]", u"", u""};
  EXPECT_EQ(Read({u"memberOf", u"primaryGroupID", u"member"}), expected);
  EXPECT_GE(log.Count(u"Object Bind Failed.error code 80072030,path "
                      u"LDAP://dc1.example.com/<SID="),
            1U);
}

TEST_F(RowBuilderTest, OnlyGroupsOfADomainHaveMembersByPrimaryGroup) {
  AddRow(u"user").Texts(u"objectClass", {u"top", u"user"}).Binary(u"objectSid", DomainSid(1105));
  AddRow(u"group").Texts(u"objectClass", {u"top", u"Group"}).Binary(u"objectSid", DomainSid(1200));
  AddRow(u"built in")
      .Texts(u"objectClass", {u"group"})
      .Binary(u"objectSid", support::NtSid({32, 544}));
  AddRow(u"unknown").Binary(u"objectSid", DomainSid(1300));
  script.answers[u"(&(primaryGroupID=1200)(!sAMAccountType=805306370))"] = {NameOf(u"Staff")};
  const Rows expected = {u"", u"member=[" + staff + u"]", u"", u""};
  EXPECT_EQ(Read({u"member"}), expected);
  EXPECT_EQ(script.searches.size(), 2U);
  EXPECT_EQ(log.Count(u"The classes of " + NameOf(u"unknown") + u" cannot be read"), 1U);
}

TEST_F(RowBuilderTest, WhateverPieceOfAListComesIsShownAndACutListIsTold) {
  handler.observer = &observer;
  AddRow(u"a").Texts(u"member;range=0-0", {NameOf(u"Staff")});
  AddRow(u"b").Texts(u"member", {}).Texts(u"member;range=0-*", {NameOf(u"Sales")});
  AddRow(u"c")
      .Texts(u"MemberOf;range=0-1", {NameOf(u"Staff"), NameOf(u"Sales")})
      .Texts(u"description;lang-x;range=0-0", {u"one"})
      .Texts(u"dLMemSubmitPerms;range=0-0", {NameOf(u"Staff")});
  const Rows expected = {
      u"member=[" + staff + u"]", u"member=[" + sales + u"]",
      u"memberOf=[" + staff + u", " + sales + u"], description=[one], authOrig=[" + staff + u"]"};
  EXPECT_EQ(Read({u"member", u"memberOf", u"description", u"authOrig"}), expected);
  EXPECT_EQ(log.Count(u"This is group with more members"), 2U);
  using platform::NoticeKind;
  const std::vector<support::RecordedNotice> notices = {
      {NoticeKind::kListCut, NameOf(u"a"), u"member", 1},
      {NoticeKind::kListCut, NameOf(u"c"), u"memberOf", 2},
      {NoticeKind::kListCut, NameOf(u"c"), u"description", 1},
      {NoticeKind::kListCut, NameOf(u"c"), u"dLMemSubmitPerms", 1}};
  EXPECT_EQ(observer.notices, notices);

  handler.observer = nullptr;
  Read({u"member"});
  EXPECT_EQ(log.Count(u"The list of " + NameOf(u"a") + u" is not whole"), 1U)
      << "without an observer it is still a line";
}

TEST_F(RowBuilderTest, FailuresOfSearchesBesidesTheRowsSayWhatTheDirectorySaid) {
  handler.observer = &observer;
  script.extendedError = {8246, u"busy beyond words"};
  script.Fail(Call::kExecute, platform::kFailure,
              u"(&(primaryGroupID=1200)(!sAMAccountType=805306370))");
  script.Fail(Call::kConfig, platform::HResultFromWin32(8206), u"Staff");
  AddRow(u"group")
      .Texts(u"sAMAccountName", {u"Staff"})
      .Texts(u"objectClass", {u"group"})
      .Texts(u"member", {NameOf(u"Sales")})
      .Number(u"primaryGroupID", 1999)
      .Binary(u"objectSid", DomainSid(1200));
  Read({u"member"});
  EXPECT_EQ(log.Count(u"The directory said: busy beyond words (2036)"), 1U);
  const std::vector<support::RecordedNotice> notices = {
      {platform::NoticeKind::kListCut, NameOf(u"group"), u"member", 1}};
  EXPECT_EQ(observer.notices, notices) << "members may be missing from the row";
  Read({u"primaryGroupID"});
  EXPECT_EQ(log.Count(u"The directory said: busy beyond words (2036)"), 2U);
  Read({u"sAMAccountName", u"tsProfilePath"});
  EXPECT_EQ(log.Count(u"The directory said: busy beyond words (200e)"), 1U);
}

TEST_F(RowBuilderTest, LinksOfAPageAreReadWithOneBatch) {
  for (const auto name : {u"a", u"b", u"c"}) {
    AddRow(name)
        .Texts(u"memberOf", {NameOf(u"Staff"), NameOf(u"Sales")})
        .Texts(u"manager", {NameOf(u"a")});
  }
  Read({u"memberOf", u"manager"});
  ASSERT_EQ(script.batches.size(), 1U);
  EXPECT_EQ(script.batches[0].size(), 3U);
  // A platform that holds no rows ahead costs a batch per row at most, and nothing is asked twice.
  script.rowsReceivedAhead = 0;
  script.batches.clear();
  Read({u"memberOf", u"manager"});
  std::size_t asked = 0;
  for (const auto& batch : script.batches) asked += batch.size();
  EXPECT_EQ(asked, 3U);
}

std::vector<std::u16string> NamesOfMany(std::size_t count) {
  std::vector<std::u16string> names;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    names.push_back(NameOf(u"m" + std::u16string(number.begin(), number.end())));
  }
  return names;
}

TEST_F(RowBuilderTest, AGroupOfAnySizeIsReadInFewBatches) {
  const std::vector<std::u16string> names = NamesOfMany(12'000);  // more than are remembered
  std::u16string expected = u"memberOf=[";
  for (const std::u16string& name : names) expected += Linked(name, name) + u", ";
  expected += Linked(NameOf(u"Domain Users"), u"Domain Users") + u"]";
  AddRow(u"Big")
      .Texts(u"memberOf", names)
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", DomainSid(1105));
  EXPECT_TRUE(Read({u"memberOf"}).at(0) == expected);
  EXPECT_LE(script.batches.size(), 15U);
}

TEST_F(RowBuilderTest, ARowThatOverflowsWhatIsRememberedIsStillReadInOneBatch) {
  const std::vector<std::u16string> names = NamesOfMany(LinkedLookup::kMaxRemembered);
  std::vector<std::u16string> knownAndNew(names.end() - 500, names.end());
  knownAndNew.push_back(NameOf(u"Staff"));
  AddRow(u"first").Texts(u"memberOf", names);
  AddRow(u"second").Texts(u"memberOf", knownAndNew);
  Read({u"memberOf"});
  EXPECT_LE(script.batches.size(), 15U);
}

TEST_F(RowBuilderTest, TerminalServicesSettingsFollowTheLogonNameAndTellWhoseCannotBeRead) {
  script.userConfig[u"ann"] = 4294967295U;
  AddRow(u"ann").Texts(u"sAMAccountName", {u"ann"});
  AddRow(u"bob").Texts(u"sAMAccountName", {u"bob"});
  const Rows expected = {u"sAMAccountName=[ann], tsallowlogon=[4294967295]",
                         u"sAMAccountName=[bob]"};
  // The last is the name of no setting, for all its look.
  EXPECT_EQ(Read({u"tsAllowLogon", u"sAMAccountName", u"tsallowlogon", u"tsInitialProgram"}),
            expected)
      << "before the logon name there is nobody to ask about";
  EXPECT_EQ(log.Count(u"setting 3 of bob, code 1317"), 1U);
}

}  // namespace
}  // namespace zorvan::directory
