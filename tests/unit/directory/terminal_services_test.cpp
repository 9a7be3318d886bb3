#include "directory/terminal_services.h"

#include "support/call_fixture.h"

namespace zorvan::directory {
namespace {

using platform::TerminalServicesClass;

class TerminalServicesTest : public support::CallFixture {};

TEST(TerminalServicesNames, NameTheirConfigurationClasses) {
  // The numbers that the system gives its classes.
  const std::pair<std::u16string_view, std::uint32_t> names[] = {
      {u"tsIntialProgram", 0},
      {u"tsWorkingDir", 1},
      {u"tsInheritInitialProgram", 2},
      {u"tsAllowLogon", 3},
      {u"tsTimeOutSettingsConnections", 4},
      {u"tsTimeOutSettingsDisConnections", 5},
      {u"tsTimeOutSettingsIdle", 6},
      {u"tsDeviceClientDrives", 7},
      {u"tsDeviceClientPrinters", 8},
      {u"tsDeviceClientDefaultPrinter", 9},
      {u"tsBrokenTimeOutSettings", 10},
      {u"tsReConnectSettings", 11},
      {u"tsShadowSettings", 14},
      {u"tsProfilePath", 15},
      {u"tsHomeDir", 16},
      {u"tsHomeDirDrive", 17},
      {u"tsServerRemoteHomeDir", 18},
      {u"TSPROFILEPATH", 15},
  };
  for (const auto& [name, number] : names) {
    const auto setting = TerminalServicesClassOf(name);
    ASSERT_TRUE(setting) << testing::PrintToString(name);
    EXPECT_EQ(static_cast<std::uint32_t>(*setting), number) << testing::PrintToString(name);
  }
  for (const auto name : {u"ts", u"tsInitialProgram", u"telephoneNumber", u"", u"tsProfilePathX"}) {
    EXPECT_EQ(TerminalServicesClassOf(name), std::nullopt);
  }
}

TEST_F(TerminalServicesTest, GivesTextsAsTheyAreAndNumbersInDecimal) {
  script.SetUserConfig(u"ann", TerminalServicesClass::kProfilePath, u"\\\\srv\\Jürgen");
  script.SetUserConfig(u"ann", TerminalServicesClass::kHomeDirectory, u"");
  script.SetUserConfig(u"ann", TerminalServicesClass::kShadowing, 4294967295U);
  EXPECT_EQ(FillTSString(handler, u"ann", TerminalServicesClass::kProfilePath), u"\\\\srv\\Jürgen");
  EXPECT_EQ(FillTSString(handler, u"ann", TerminalServicesClass::kHomeDirectory), u"");
  EXPECT_EQ(FillTSString(handler, u"ann", TerminalServicesClass::kShadowing), u"4294967295");
  for (const support::RecordedUserQuery& query : script.userQueries) {
    EXPECT_EQ(query.serverName, u"dc1.example.com");
    EXPECT_EQ(query.namingContext, support::kNamingContext);
    EXPECT_EQ(query.asUser, u"EXAMPLE\\admin");
    EXPECT_EQ(query.password, u"secret");
    EXPECT_EQ(query.userName, u"ann");
  }
}

TEST_F(TerminalServicesTest, TellsWhoseSettingCannotBeRead) {
  EXPECT_EQ(FillTSString(handler, u"nobody", TerminalServicesClass::kAllowLogon), std::nullopt);
  EXPECT_EQ(log.CountContaining(u"nobody"), 1U);
  EXPECT_EQ(log.CountContaining(u"1317"), 1U);
}

}  // namespace
}  // namespace zorvan::directory
