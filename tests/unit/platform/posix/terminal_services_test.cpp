#include "platform/posix/terminal_services.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace zorvan::platform::posix {
namespace {

using Class = TerminalServicesClass;

const std::u16string kSpaces(48, u' ');

// A property whose value's digits are given as the plain text that they are.
std::u16string Property(std::u16string_view name, std::string_view digits) {
  std::u16string text;
  text += static_cast<char16_t>(name.size() * 2);
  text += static_cast<char16_t>(digits.size());
  text += u'\x01';
  text += name;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
    text += static_cast<char16_t>(digits[at] | digits[at + 1] << 8);
  }
  return text;
}

std::u16string Attribute(const std::vector<std::u16string>& properties,
                         const std::u16string& reserved = kSpaces) {
  std::u16string text = reserved + u'P' + static_cast<char16_t>(properties.size());
  for (const std::u16string& property : properties) text += property;
  return text;
}

const std::u16string kPresent = Property(u"CtxCfgPresent", "551e0bb0");

TerminalServicesSettings Decoded(std::u16string_view text) {
  TerminalServicesSettings settings;
  EXPECT_TRUE(settings.Decode(text));
  return settings;
}

using Values = std::vector<std::pair<Class, TerminalServicesValue>>;

void ExpectValues(const TerminalServicesSettings& settings, const Values& expected) {
  for (const auto& [setting, value] : expected) {
    EXPECT_EQ(settings.Get(setting), value) << static_cast<int>(setting);
  }
}

const Values kDefaults = {
    {Class::kAllowLogon, 1U},          {Class::kInheritInitialProgram, 1U},
    {Class::kDeviceClientDrives, 1U},  {Class::kDeviceClientPrinters, 1U},
    {Class::kShadowing, 1U},           {Class::kDeviceClientDefaultPrinter, 1U},
    {Class::kBrokenTimeout, 0U},       {Class::kReconnect, 0U},
    {Class::kTimeoutConnections, 0U},  {Class::kTimeoutDisconnections, 0U},
    {Class::kTimeoutIdle, 0U},         {Class::kModemCallback, 0U},
    {Class::kRemoteHomeDirectory, 0U}, {Class::kProfilePath, u""}};

TEST(TerminalServices, AreTheDefaultsWhereNothingWasSet) {
  // Settings without the mark, or with a wrong one, do not count.
  const std::u16string flags = Property(u"CtxCfgFlags1", "00000100");
  for (const std::u16string& text :
       {std::u16string(), kSpaces, std::u16string(u"m:  d\x01"), Attribute({}), Attribute({flags}),
        Attribute({Property(u"CtxCfgPresent", "00000000"), flags})}) {
    ExpectValues(Decoded(text), kDefaults);
  }
}

TEST(TerminalServices, AreReadAsOtherSystemsWroteThem) {
  const TerminalServicesSettings settings = Decoded(Attribute(
      {kPresent,
       Property(u"CtxCfgFlags1", "00800700"),  // drives, no logon, reset broken, reconnect same
       Property(u"CtxShadow", "02000000"), Property(u"CtxMaxConnectionTime", "60ea0000"),
       Property(u"CtxMaxIdleTime", "40771B00"),  // upper-case digits
       Property(u"CtxCallback", "02000000"), Property(u"CtxCallbackNumber", "2b343900"),
       Property(u"CtxWFHomeDirDrive", "483a00"), Property(u"CtxWFProfilePath", "5c5c62fc00"),
       Property(u"CtxInitialProgram", "3f00"), Property(u"CtxInitialProgramW", "53050000")}));
  ExpectValues(settings, {{Class::kAllowLogon, 0U},
                          {Class::kDeviceClientDrives, 1U},
                          {Class::kDeviceClientPrinters, 0U},
                          {Class::kInheritInitialProgram, 0U},
                          {Class::kBrokenTimeout, 1U},
                          {Class::kReconnect, 1U},
                          {Class::kShadowing, 2U},
                          {Class::kTimeoutConnections, 60000U},
                          {Class::kTimeoutIdle, 1800000U},
                          {Class::kModemCallback, 2U},
                          {Class::kModemCallbackNumber, u"+49"},
                          {Class::kHomeDirectoryDrive, u"H:"},
                          {Class::kRemoteHomeDirectory, 1U},
                          {Class::kProfilePath, u"\\\\b\u00FC"},
                          {Class::kInitialProgram, u"\u0553"}});  // the wide form wins
}

TEST(TerminalServices, OfOthersAreKeptWhenOneIsChanged) {
  const std::u16string dialIn =
      u"m:" + std::u16string(20, u' ') + u"d\x01" + std::u16string(24, u' ');
  const std::u16string odd = Property(u"CtxUnheardOf", "00ff10");
  const std::u16string broken = Property(u"CtxShadow", "zz");
  const std::u16string text =
      Attribute({kPresent, odd, Property(u"CtxCfgFlags1", "00e00010"), broken}, dialIn) + u"tail";
  TerminalServicesSettings settings = Decoded(text);
  EXPECT_EQ(settings.Encode(), text);

  EXPECT_TRUE(settings.Set(Class::kAllowLogon, 0U));
  EXPECT_EQ(
      settings.Encode(),
      Attribute({kPresent, odd, Property(u"CtxCfgFlags1", "00e00110"), broken}, dialIn) + u"tail");
}

TEST(TerminalServices, SetComeBackAfterEncoding) {
  const Values changes = {{Class::kInitialProgram, u"C:\\Tools\\start.exe"},
                          {Class::kWorkingDirectory, u"C:\\\u0411\u044E\u0440\u043E"},
                          {Class::kProfilePath, u"\\\\dc1\\B\u00FCro\u20AC"},
                          {Class::kHomeDirectoryDrive, u"H:"},
                          {Class::kModemCallbackNumber, u"+49 30"},
                          {Class::kAllowLogon, 0U},
                          {Class::kTimeoutDisconnections, 4294967295U},
                          {Class::kDeviceClientDrives, 0U},
                          {Class::kBrokenTimeout, 1U},
                          {Class::kModemCallback, 1U},
                          {Class::kShadowing, 4U}};
  TerminalServicesSettings settings;
  for (const auto& [setting, value] : changes) EXPECT_TRUE(settings.Set(setting, value));
  ExpectValues(Decoded(settings.Encode()), changes);

  EXPECT_TRUE(settings.Set(Class::kWorkingDirectory, u""));
  ExpectValues(Decoded(settings.Encode()), {{Class::kWorkingDirectory, u""}});
  EXPECT_FALSE(settings.Set(Class::kAllowLogon, u"1"));
  EXPECT_FALSE(settings.Set(Class::kProfilePath, 1U));
  EXPECT_FALSE(settings.Set(Class::kProfilePath, std::u16string(20000, u'x')));
}

TEST(TerminalServices, ThatDidNotCountStayDeadWhenOneIsSet) {
  TerminalServicesSettings settings = Decoded(Attribute({Property(u"CtxShadow", "00000000")}));
  EXPECT_TRUE(settings.Set(Class::kReconnect, 1U));
  ExpectValues(settings, {{Class::kShadowing, 1U}});
}

TEST(TerminalServices, ThatAreDamagedAreRefusedWhereverTheyAreCut) {
  const std::u16string whole = Attribute({kPresent, Property(u"CtxWFHomeDir", "483a00")});
  TerminalServicesSettings settings;
  for (std::size_t length = kSpaces.size() + 1; length < whole.size(); ++length) {
    EXPECT_FALSE(settings.Decode(whole.substr(0, length))) << length;
    ExpectValues(settings, kDefaults);
  }
  EXPECT_FALSE(settings.Decode(kSpaces + u"Q\x01"));
  std::u16string odd = whole;
  odd[50] = 25;  // a name of twelve units and a half
  EXPECT_FALSE(settings.Decode(odd));
}

}  // namespace
}  // namespace zorvan::platform::posix
