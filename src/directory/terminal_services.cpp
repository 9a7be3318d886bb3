#include "directory/terminal_services.h"

#include <array>

#include "call/decimal_text.h"
#include "directory/bind.h"
#include "platform/text.h"

namespace zorvan::directory {
namespace {

using platform::TerminalServicesClass;

struct NamedSetting {
  std::u16string_view name;
  TerminalServicesClass setting;
};

// "tsIntialProgram" is spelled so on the Java side.
constexpr std::array kSettings{
    NamedSetting{u"tsIntialProgram", TerminalServicesClass::kInitialProgram},
    NamedSetting{u"tsWorkingDir", TerminalServicesClass::kWorkingDirectory},
    NamedSetting{u"tsProfilePath", TerminalServicesClass::kProfilePath},
    NamedSetting{u"tsHomeDir", TerminalServicesClass::kHomeDirectory},
    NamedSetting{u"tsHomeDirDrive", TerminalServicesClass::kHomeDirectoryDrive},
    NamedSetting{u"tsInheritInitialProgram", TerminalServicesClass::kInheritInitialProgram},
    NamedSetting{u"tsAllowLogon", TerminalServicesClass::kAllowLogon},
    NamedSetting{u"tsDeviceClientDrives", TerminalServicesClass::kDeviceClientDrives},
    NamedSetting{u"tsDeviceClientPrinters", TerminalServicesClass::kDeviceClientPrinters},
    NamedSetting{u"tsDeviceClientDefaultPrinter",
                 TerminalServicesClass::kDeviceClientDefaultPrinter},
    NamedSetting{u"tsBrokenTimeOutSettings", TerminalServicesClass::kBrokenTimeout},
    NamedSetting{u"tsReConnectSettings", TerminalServicesClass::kReconnect},
    NamedSetting{u"tsShadowSettings", TerminalServicesClass::kShadowing},
    NamedSetting{u"tsServerRemoteHomeDir", TerminalServicesClass::kRemoteHomeDirectory},
    NamedSetting{u"tsTimeOutSettingsConnections", TerminalServicesClass::kTimeoutConnections},
    NamedSetting{u"tsTimeOutSettingsDisConnections", TerminalServicesClass::kTimeoutDisconnections},
    NamedSetting{u"tsTimeOutSettingsIdle", TerminalServicesClass::kTimeoutIdle},
};

}  // namespace

std::optional<TerminalServicesClass> TerminalServicesClassOf(std::u16string_view attribute) {
  if (!platform::StartsWithIgnoringCase(attribute, u"ts")) return std::nullopt;
  for (const NamedSetting& setting : kSettings) {
    if (platform::EqualsIgnoringCase(setting.name, attribute)) return setting.setting;
  }
  return std::nullopt;
}

std::optional<std::u16string> FillTSString(call::NativeHandler& handler,
                                           std::u16string_view logonName,
                                           TerminalServicesClass setting) {
  const call::DomainSettings& settings = handler.settings;
  platform::TerminalServicesValue value;
  const platform::ExtendedError error = handler.platform.accounts().QueryUserConfig(
      settings.serverName, settings.defaultNamingContext, settings.credentials(), logonName,
      setting, value);
  if (error.code != 0) {
    call::LogMessageW(handler, call::kDetail,
                      "Error in getting the terminal-services setting %u of %ws, code %u",
                      static_cast<std::uint32_t>(setting), logonName, error.code);
    LogWhatWasSaid(handler, error);
    return std::nullopt;
  }
  if (const auto* number = std::get_if<std::uint32_t>(&value)) return call::DecimalText(*number);
  return std::get<std::u16string>(std::move(value));
}

}  // namespace zorvan::directory
