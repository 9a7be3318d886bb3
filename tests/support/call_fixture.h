// Everything that one native call carries, over the scripted platform: connected to the controller
// dc1.example.com of the domain EXAMPLE as EXAMPLE\admin.
#pragma once

#include <gtest/gtest.h>

#include "call/native_handler.h"
#include "support/recording.h"
#include "support/scripted_platform.h"

namespace zorvan::support {

inline constexpr std::u16string_view kNamingContext = u"DC=example,DC=com";
inline constexpr std::u16string_view kRootPath = u"LDAP://dc1.example.com/";

class CallFixture : public testing::Test {
 protected:
  CallFixture() {
    call::DomainSettings& settings = handler.settings;
    settings.domainName = u"example.com";
    settings.userDomainName = u"EXAMPLE";
    settings.serverName = u"dc1.example.com";
    settings.logonName = u"EXAMPLE\\admin";
    settings.password = u"secret";
    settings.defaultNamingContext = kNamingContext;
    settings.ldapRootPath = kRootPath;
  }

  Script script;
  ScriptedPlatform platform{script};
  RecordingLog log;
  call::NativeHandler handler{platform, log};
  RecordingErrors errors;
  RecordingListener listener{handler.keys};
};

}  // namespace zorvan::support
