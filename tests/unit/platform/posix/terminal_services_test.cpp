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

std::uint32_t Number(const TerminalServicesSettings& settings, Class setting) {
  return std::get<std::uint32_t>(settings.Get(setting));
}

std::u16string Text(const TerminalServicesSettings& settings, Class setting) {
  return std::get<std::u16string>(settings.Get(setting));
}

void ExpectDefaults(const TerminalServicesSettings& settings) {
  for (Class one :
       {Class::kAllowLogon, Class::kInheritInitialProgram, Class::kDeviceClientDrives,
        Class::kDeviceClientPrinters, Class::kDeviceClientDefaultPrinter, Class::kShadowing}) {
    EXPECT_EQ(Number(settings, one), 1U) << static_cast<int>(one);
  }
  for (Class zero : {Class::kBrokenTimeout, Class::kReconnect, Class::kTimeoutConnections,
                     Class::kTimeoutDisconnections, Class::kTimeoutIdle, Class::kModemCallback,
                     Class::kRemoteHomeDirectory}) {
    EXPECT_EQ(Number(settings, zero), 0U) << static_cast<int>(zero);
  }
  EXPECT_EQ(Text(settings, Class::kProfilePath), u"");
}

TEST(TerminalServices, AreTheDefaultsWhereNothingWasSet) {
  ExpectDefaults(Decoded(u""));
  ExpectDefaults(Decoded(kSpaces));
  ExpectDefaults(Decoded(u"m:  d\x01"));
  ExpectDefaults(Decoded(Attribute({})));
  // Settings without the mark, or with a wrong one, do not count.
  const std::u16string flags = Property(u"CtxCfgFlags1", "00000100");
  ExpectDefaults(Decoded(Attribute({flags})));
  ExpectDefaults(Decoded(Attribute({Property(u"CtxCfgPresent", "00000000"), flags})));
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
  EXPECT_EQ(Number(settings, Class::kAllowLogon), 0U);
  EXPECT_EQ(Number(settings, Class::kDeviceClientDrives), 1U);
  EXPECT_EQ(Number(settings, Class::kDeviceClientPrinters), 0U);
  EXPECT_EQ(Number(settings, Class::kInheritInitialProgram), 0U);
  EXPECT_EQ(Number(settings, Class::kBrokenTimeout), 1U);
  EXPECT_EQ(Number(settings, Class::kReconnect), 1U);
  EXPECT_EQ(Number(settings, Class::kShadowing), 2U);
  EXPECT_EQ(Number(settings, Class::kTimeoutConnections), 60000U);
  EXPECT_EQ(Number(settings, Class::kTimeoutIdle), 1800000U);
  EXPECT_EQ(Number(settings, Class::kModemCallback), 2U);
  EXPECT_EQ(Text(settings, Class::kModemCallbackNumber), u"+49");
  EXPECT_EQ(Text(settings, Class::kHomeDirectoryDrive), u"H:");
  EXPECT_EQ(Number(settings, Class::kRemoteHomeDirectory), 1U);
  EXPECT_EQ(Text(settings, Class::kProfilePath), u"\\\\b\u00FC");
  EXPECT_EQ(Text(settings, Class::kInitialProgram), u"\u0553");  // the wide form wins
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
  const std::vector<std::pair<Class, TerminalServicesValue>> changes = {
      {Class::kInitialProgram, u"C:\\Tools\\start.exe"},
      {Class::kWorkingDirectory, u"C:\\\u0411\u044E\u0440\u043E"},
      {Class::kProfilePath, u"\\\\dc1\\B\u00FCro\u20AC"},
      {Class::kHomeDirectory, u"\\\\dc1\\home"},
      {Class::kHomeDirectoryDrive, u"H:"},
      {Class::kModemCallbackNumber, u"+49 30"},
      {Class::kInheritInitialProgram, 0U},
      {Class::kAllowLogon, 0U},
      {Class::kTimeoutConnections, 60000U},
      {Class::kTimeoutDisconnections, 4294967295U},
      {Class::kTimeoutIdle, 1U},
      {Class::kDeviceClientDrives, 0U},
      {Class::kDeviceClientPrinters, 0U},
      {Class::kDeviceClientDefaultPrinter, 0U},
      {Class::kBrokenTimeout, 1U},
      {Class::kReconnect, 1U},
      {Class::kModemCallback, 1U},
      {Class::kShadowing, 4U}};
  TerminalServicesSettings settings;
  for (const auto& [setting, value] : changes) EXPECT_TRUE(settings.Set(setting, value));
  const TerminalServicesSettings again = Decoded(settings.Encode());
  for (const auto& [setting, value] : changes) {
    EXPECT_EQ(again.Get(setting), value) << static_cast<int>(setting);
  }
  EXPECT_EQ(Number(again, Class::kRemoteHomeDirectory), 1U);

  EXPECT_TRUE(settings.Set(Class::kWorkingDirectory, u""));
  EXPECT_EQ(Text(Decoded(settings.Encode()), Class::kWorkingDirectory), u"");
  EXPECT_FALSE(settings.Set(Class::kAllowLogon, u"1"));
  EXPECT_FALSE(settings.Set(Class::kProfilePath, 1U));
  EXPECT_FALSE(settings.Set(Class::kProfilePath, std::u16string(20000, u'x')));
}

TEST(TerminalServices, ThatDidNotCountStayDeadWhenOneIsSet) {
  TerminalServicesSettings settings = Decoded(Attribute({Property(u"CtxShadow", "00000000")}));
  EXPECT_TRUE(settings.Set(Class::kReconnect, 1U));
  EXPECT_EQ(Number(settings, Class::kShadowing), 1U);
}

TEST(TerminalServices, ThatAreDamagedAreRefusedWhereverTheyAreCut) {
  const std::u16string whole = Attribute({kPresent, Property(u"CtxWFHomeDir", "483a00")});
  TerminalServicesSettings settings;
  for (std::size_t length = kSpaces.size() + 1; length < whole.size(); ++length) {
    EXPECT_FALSE(settings.Decode(whole.substr(0, length))) << length;
    ExpectDefaults(settings);
  }
  EXPECT_FALSE(settings.Decode(kSpaces + u"Q\x01"));
  std::u16string odd = whole;
  odd[50] = 25;  // a name of twelve units and a half
  EXPECT_FALSE(settings.Decode(odd));
}

}  // namespace
}  // namespace zorvan::platform::posix
