#include "directory/row_builder.h"

#include "directory/bind.h"
#include "directory/paged_search.h"
#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using support::Call;
using support::DomainSid;
using support::Fields;
using support::List;
using support::RecordedRow;
using support::RecordedValue;
using support::Text;
using support::Texts;

constexpr std::u16string_view kFilter = u"(rows)";
constexpr std::u16string_view kDomainUsersMembers =
    u"(&(primaryGroupID=513)(!sAMAccountType=805306370))";
const support::Octets kGuid =
    support::OctetsOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
constexpr std::u16string_view kGuidText = u"{04030201-0605-0807-090A-0B0C0D0E0F10}";

std::u16string NameOf(std::u16string_view commonName) {
  return u"CN=" + std::u16string(commonName) + u",DC=example,DC=com";
}

RecordedValue Linked(std::u16string_view distinguishedName, std::u16string_view commonName) {
  return Fields({{u"distinguishedName", Text(distinguishedName)}, {u"cn", Text(commonName)}});
}

RecordedValue LinkedWithGuid(std::u16string_view commonName) {
  RecordedValue value = Linked(NameOf(commonName), commonName);
  value.row[u"objectGUID"] = Text(kGuidText);
  return value;
}

class RowBuilderTest : public support::CallFixture {
 protected:
  RowBuilderTest() {
    for (const auto name : {u"Staff", u"Sales"}) {
      script.Add(NameOf(name)).Texts(u"cn", {name}).Binary(u"objectGUID", kGuid);
    }
    script.Add(NameOf(u"Domain Users"))
        .Texts(u"cn", {u"Domain Users"})
        .Binary(u"objectGUID", kGuid)
        .Binary(u"objectSid", DomainSid(513));
    script.Answer(kDomainUsersMembers, {});
  }

  support::ScriptedObject& AddRow(std::u16string_view commonName) {
    rows_.push_back(NameOf(commonName));
    return script.Add(rows_.back());
  }

  const std::vector<RecordedRow>& Read(const std::vector<std::u16string>& attributes) {
    script.Answer(kFilter, rows_);
    std::unique_ptr<platform::DirectorySearch> search;
    EXPECT_EQ(BindObject(handler, ObjectPath(handler.settings, support::kNamingContext), search),
              platform::kOk);
    listener.rows.clear();
    StreamRows(handler, *search, {kFilter, attributes}, FirstAnswer::kHonoured, listener);
    EXPECT_EQ(listener.rows.size(), rows_.size());
    listener.rows.resize(rows_.size());
    return listener.rows;
  }

 private:
  std::vector<std::u16string> rows_;
};

TEST_F(RowBuilderTest, LinkedAttributesGiveRowsOrNames) {
  auto& user = AddRow(u"ann");
  const std::vector<std::u16string> rowForms = {u"managedBy", u"authOrig", u"unauthOrig",
                                                u"MEMBEROF"};
  const std::vector<std::u16string> nameForms = {u"manager", u"publicDelegates", u"altRecipient"};
  std::vector<std::u16string> all = rowForms;
  all.insert(all.end(), nameForms.begin(), nameForms.end());
  for (const auto& name : all) user.Names(name, {NameOf(u"Staff"), NameOf(u"Sales")});

  const RecordedRow row = Read(all).at(0);
  EXPECT_EQ(row.size(), all.size());
  for (const auto& name : rowForms) {
    EXPECT_EQ(row.at(name), List({LinkedWithGuid(u"Staff"), LinkedWithGuid(u"Sales")}));
  }
  for (const auto& name : nameForms) EXPECT_EQ(row.at(name), Texts({u"Staff", u"Sales"}));
}

TEST_F(RowBuilderTest, LinksThatCannotBeReadGiveTheirName) {
  const std::u16string gone = NameOf(u"gone");
  const std::u16string elsewhere = u"CN=x,DC=other,DC=org";
  script.Fail(Call::kReadObject, platform::kAccessDenied,
              ObjectPath(handler.settings, NameOf(u"Sales")));
  AddRow(u"ann")
      .Names(u"managedBy", {gone, elsewhere, NameOf(u"Sales")})
      .Names(u"manager", {gone, elsewhere, NameOf(u"Sales")});
  const RecordedRow expected = {
      {u"managedBy", List({Linked(gone, gone), Linked(elsewhere, elsewhere),
                           Linked(NameOf(u"Sales"), NameOf(u"Sales"))})},
      {u"manager", Texts({gone, elsewhere, NameOf(u"Sales")})}};
  EXPECT_EQ(Read({u"managedBy", u"manager"}).at(0), expected);
  for (const std::u16string column : {u"managedBy", u"manager"}) {
    const std::u16string line = u"Object Bind Failed GetCommanName error:";
    EXPECT_EQ(log.Count(line + u"80072030 columnName:" + column + u" columnValue:" + gone), 1U);
    EXPECT_EQ(
        log.Count(line + u"80070005 columnName:" + column + u" columnValue:" + NameOf(u"Sales")),
        1U);
    EXPECT_EQ(log.CountContaining(u"columnName:" + column + u" columnValue:" + elsewhere), 1U);
  }
}

TEST_F(RowBuilderTest, ALinkedObjectWithoutCommonNameHasNoneInItsRow) {
  script.Add(u"OU=Sales,DC=example,DC=com");
  AddRow(u"ann").Names(u"managedBy", {u"OU=Sales,DC=example,DC=com"});
  const RecordedRow expected = {
      {u"managedBy",
       List({Fields({{u"distinguishedName", Text(u"OU=Sales,DC=example,DC=com")}})})}};
  EXPECT_EQ(Read({u"managedBy"}).at(0), expected);
}

TEST_F(RowBuilderTest, SenderListsTakeInThoseOfDistributionLists) {
  AddRow(u"both")
      .Names(u"authOrig", {NameOf(u"Staff")})
      .Names(u"dLMemSubmitPerms", {NameOf(u"Sales")})
      .Names(u"dLMemRejectPerms", {NameOf(u"Staff")});
  AddRow(u"neither");
  const auto& rows = Read({u"authOrig", u"unauthOrig"});
  const RecordedRow expected = {
      {u"authOrig", List({LinkedWithGuid(u"Staff"), LinkedWithGuid(u"Sales")})},
      {u"unauthOrig", List({LinkedWithGuid(u"Staff")})}};
  EXPECT_EQ(rows[0], expected);
  EXPECT_TRUE(rows[1].empty());
}

TEST_F(RowBuilderTest, MemberOfEndsWithThePrimaryGroup) {
  AddRow(u"in two")
      .Names(u"memberOf", {NameOf(u"Staff")})
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", DomainSid(1105));
  AddRow(u"in one").Number(u"primaryGroupID", 513).Binary(u"objectSid", DomainSid(1106));
  AddRow(u"a group").Names(u"memberOf", {NameOf(u"Sales")});
  AddRow(u"nothing");
  const auto& rows = Read({u"memberOf"});
  EXPECT_EQ(rows[0].at(u"memberOf"),
            List({LinkedWithGuid(u"Staff"), LinkedWithGuid(u"Domain Users")}));
  EXPECT_EQ(rows[1].at(u"memberOf"), List({LinkedWithGuid(u"Domain Users")}));
  EXPECT_EQ(rows[2].at(u"memberOf"), List({LinkedWithGuid(u"Sales")}));
  EXPECT_TRUE(rows[3].empty());
}

TEST_F(RowBuilderTest, AMissingPrimaryGroupIsToldToTheLog) {
  AddRow(u"ann")
      .Names(u"memberOf", {NameOf(u"Staff")})
      .Number(u"primaryGroupID", 1999)
      .Binary(u"objectSid", DomainSid(1105));
  const RecordedRow expected = {{u"memberOf", List({LinkedWithGuid(u"Staff")})}};
  EXPECT_EQ(Read({u"memberOf", u"primaryGroupID"}).at(0), expected);
  EXPECT_GE(log.CountContaining(u"Object Bind Failed.error code 80072030,path "
                                u"LDAP://dc1.example.com/<SID="),
            1U);
}

TEST_F(RowBuilderTest, ThePrimaryGroupSurvivesEveryFailureToReadItsColumns) {
  AddRow(u"ann")
      .Names(u"memberOf", {NameOf(u"Staff")})
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", DomainSid(1105));
  for (const std::u16string_view column : {u"primaryGroupID", u"objectSid"}) {
    for (std::size_t nth = 1; nth <= 2; ++nth) {
      script.Fail(Call::kGetColumn, platform::kFailure, column, nth);
      const RecordedValue memberOf = Read({u"memberOf"}).at(0).at(u"memberOf");
      const bool whole =
          memberOf == List({LinkedWithGuid(u"Staff"), LinkedWithGuid(u"Domain Users")});
      EXPECT_TRUE(whole || memberOf == List({LinkedWithGuid(u"Staff")}));
    }
  }
}

TEST_F(RowBuilderTest, PrimaryGroupIdGivesTheNameOfTheGroup) {
  AddRow(u"ann").Number(u"primaryGroupID", 513).Binary(u"objectSid", DomainSid(1105));
  AddRow(u"no account").Number(u"primaryGroupID", 513);
  AddRow(u"built in")
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", support::NtSid({32, 544}));
  const auto& rows = Read({u"primaryGroupID"});
  const RecordedRow expected = {{u"primaryGroupID", Texts({u"Domain Users"})}};
  EXPECT_EQ(rows[0], expected);
  EXPECT_TRUE(rows[1].empty());
  EXPECT_TRUE(rows[2].empty());
}

TEST_F(RowBuilderTest, MemberTakesInTheUsersOfThePrimaryGroup) {
  AddRow(u"All").Names(u"member", {NameOf(u"Staff")}).Binary(u"objectSid", DomainSid(513));
  AddRow(u"Empty").Binary(u"objectSid", DomainSid(600));
  AddRow(u"Built in").Binary(u"objectSid", support::NtSid({32, 513}));
  script.Add(NameOf(u"ann")).Texts(u"cn", {u"ann"}).Binary(u"objectGUID", kGuid);
  script.Answer(kDomainUsersMembers, {NameOf(u"ann")});
  script.Answer(u"(&(primaryGroupID=600)(!sAMAccountType=805306370))", {});
  const auto& rows = Read({u"member"});
  EXPECT_EQ(rows[0].at(u"member"), List({LinkedWithGuid(u"Staff"), LinkedWithGuid(u"ann")}));
  EXPECT_TRUE(rows[1].empty());
  EXPECT_TRUE(rows[2].empty());
  EXPECT_EQ(log.Count(u"Filling Primary Group Users."), 3U);
  EXPECT_EQ(log.Count(u"Returned from filling Primary Group Users."), 3U);
  ASSERT_EQ(script.searches.size(), 3U);
  EXPECT_EQ(script.searches[1].path, u"LDAP://dc1.example.com/DC=example,DC=com");
  EXPECT_EQ(script.openInterfaces, 0U);
}

TEST_F(RowBuilderTest, MembersThatComeInRangesAreAskedForAgain) {
  AddRow(u"old server").Names(u"member;range=0-999", {NameOf(u"Staff")});
  AddRow(u"new server").Names(u"member;range=0-1499", {NameOf(u"Sales")});
  const auto& rows = Read({u"member"});
  EXPECT_EQ(rows[0].at(u"member"), List({LinkedWithGuid(u"Staff")}));
  EXPECT_EQ(rows[1].at(u"member"), List({LinkedWithGuid(u"Sales")}));
  EXPECT_EQ(log.Count(u"This is group with more members"), 2U);
}

TEST_F(RowBuilderTest, LinksOfAPageAreReadWithOneBatch) {
  for (const auto name : {u"a", u"b", u"c"}) {
    AddRow(name)
        .Names(u"memberOf", {NameOf(u"Staff"), NameOf(u"Sales")})
        .Names(u"manager", {NameOf(u"a")});
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
  std::vector<RecordedValue> expected;
  for (const std::u16string& name : names) expected.push_back(Linked(name, name));
  AddRow(u"Big")
      .Names(u"memberOf", names)
      .Number(u"primaryGroupID", 513)
      .Binary(u"objectSid", DomainSid(1105));
  expected.push_back(LinkedWithGuid(u"Domain Users"));
  EXPECT_TRUE(Read({u"memberOf"}).at(0).at(u"memberOf") == List(expected));
  EXPECT_LE(script.batches.size(), 15U);
}

TEST_F(RowBuilderTest, ARowThatOverflowsWhatIsRememberedIsStillReadInOneBatch) {
  const std::vector<std::u16string> names = NamesOfMany(LinkedLookup::kMostRemembered);
  std::vector<std::u16string> knownAndNew(names.end() - 500, names.end());
  knownAndNew.push_back(NameOf(u"Staff"));
  AddRow(u"first").Names(u"memberOf", names);
  AddRow(u"second").Names(u"memberOf", knownAndNew);
  Read({u"memberOf"});
  EXPECT_LE(script.batches.size(), 15U);
}

TEST_F(RowBuilderTest, TerminalServicesSettingsFollowTheLogonName) {
  AddRow(u"ann").Texts(u"sAMAccountName", {u"ann"});
  AddRow(u"bob").Texts(u"sAMAccountName", {u"bob"});
  AddRow(u"nameless");
  script.SetUserConfig(u"ann", platform::TerminalServicesClass::kProfilePath, u"\\\\srv\\p");
  script.SetUserConfig(u"ann", platform::TerminalServicesClass::kAllowLogon, 1U);
  const auto rows = Read({u"tsAllowLogon", u"sAMAccountName", u"tsprofilepath", u"tsallowlogon"});
  const RecordedRow expected = {{u"sAMAccountName", Texts({u"ann"})},
                                {u"tsprofilepath", Texts({u"\\\\srv\\p"})},
                                {u"tsallowlogon", Texts({u"1"})}};
  EXPECT_EQ(rows[0], expected) << "before the logon name there is nobody to ask about";
  const RecordedRow unset = {{u"sAMAccountName", Texts({u"bob"})}};
  EXPECT_EQ(rows[1], unset);
  EXPECT_TRUE(rows[2].empty());
  std::vector<std::u16string> asked;
  for (const auto& query : script.userQueries) asked.push_back(query.userName);
  EXPECT_EQ(asked, (std::vector<std::u16string>{u"ann", u"ann", u"bob", u"bob"}));
}

TEST_F(RowBuilderTest, AsksForWhatTheDerivedValuesAreMadeFrom) {
  AddRow(u"ann");
  Read({u"objectSID", u"memberOf", u"authOrig", u"tsProfilePath"});
  const auto& asked = script.searches.at(0).attributes;
  const std::vector<std::u16string> given = {u"objectSID", u"memberOf", u"authOrig",
                                             u"tsProfilePath"};
  ASSERT_GE(asked.size(), given.size());
  EXPECT_TRUE(std::equal(given.begin(), given.end(), asked.begin())) << "in Java's order";
  const auto times = [&](std::u16string_view name) {
    return std::count_if(asked.begin(), asked.end(), [&](const auto& each) {
      return platform::EqualsIgnoringCase(each, name);
    });
  };
  for (const auto name : {u"objectSid", u"primaryGroupID", u"dLMemSubmitPerms"}) {
    EXPECT_EQ(times(name), 1) << testing::PrintToString(name);
  }
}

}  // namespace
}  // namespace zorvan::directory
