#include "directory/handler_initialization.h"

#include <array>
#include <memory>
#include <type_traits>

#include "directory/bind.h"
#include "platform/text.h"

namespace zorvan::directory {
namespace {

using call::DomainSettings;
using call::LogMessage;
using call::LogMessageW;
using call::NativeHandler;
using platform::Bits;
using platform::HResult;
using platform::Succeeded;

constexpr std::string_view kWrongPassword =
    "halden.common_authentication.native.failure.username/password.wrong";
constexpr std::string_view kUserHasNoReadPermission =
    "halden.common_authentication.native.failure.user_no_read_permission";
constexpr std::string_view kServersNotOperational =
    "halden.common_authentication.native.failure.given_servers_not_opertional";

// A settings key with its value and the number of characters that its field holds, a terminator
// included.
struct Field {
  std::string_view key;
  const std::optional<std::u16string>& value;
  std::size_t capacity;
};

bool Fits(NativeHandler& handler, const Field& field) {
  if (!field.value || field.value->size() < field.capacity) return true;
  LogMessage(handler, call::kMilestone,
             "The domain setting %s has %u characters, its field holds %u with the terminator",
             field.key, field.value->size(), field.capacity);
  return false;
}

bool AllFit(NativeHandler& handler, const DomainProperties& properties) {
  const std::optional<std::u16string> firstCatalog =
      properties.globalCatalogs && !properties.globalCatalogs->empty()
          ? std::optional(properties.globalCatalogs->front())
          : std::nullopt;
  const std::array<Field, 12> fields{{
      {"DOMAIN_NAME", properties.domainName, call::kNameCapacity},
      {"USER_DOMAIN_NAME", properties.userDomainName, call::kNameCapacity},
      {"GC_LIST", firstCatalog, call::kNameCapacity},
      {"USER_NAME", properties.userName, call::kNameCapacity},
      {"USER_DISTINGUISHED_NAME", properties.userDistinguishedName, call::kNameCapacity},
      {"PASSWORD", properties.password, call::kNameCapacity},
      {"DEFAULT_NAMING_CONTEXT", properties.defaultNamingContext, call::kPathCapacity},
      {"ROOT_DOMAIN_NAMING_CONTEXT", properties.rootDomainNamingContext, call::kPathCapacity},
      {"SCHEMA_NAMING_CONTEXT", properties.schemaNamingContext, call::kPathCapacity},
      {"CONFIGURATION_NAMING_CONTEXT", properties.configurationNamingContext, call::kPathCapacity},
      {"DOMAIN_FUNCTIONAL_LEVEL", properties.domainFunctionalLevel, call::kNameCapacity},
      {"IS_AUTHENTICATION_REQUIRED", properties.isAuthenticationRequired, call::kNameCapacity},
  }};
  bool all = true;
  for (const Field& field : fields) all = Fits(handler, field) && all;
  return all;
}

void CopyTexts(DomainSettings& settings, const DomainProperties& properties) {
  settings.domainName = properties.domainName.value_or(u"");
  settings.userDomainName = properties.userDomainName.value_or(u"");
  settings.defaultNamingContext = properties.defaultNamingContext.value_or(u"");
  settings.rootDomainNamingContext = properties.rootDomainNamingContext.value_or(u"");
  settings.schemaNamingContext = properties.schemaNamingContext.value_or(u"");
  settings.configurationNamingContext = properties.configurationNamingContext.value_or(u"");
  settings.domainFunctionalLevel = properties.domainFunctionalLevel.value_or(u"");
  settings.isAuthenticationRequired = properties.isAuthenticationRequired.value_or(u"");
  settings.accountLookupStatus = properties.accountLookupStatus.value_or(call::kLookupOnServer);
}

// The name every bind is made under. What is looked at for a "\" or "@" is the distinguished name,
// what is joined to the domain otherwise is the plain user name: administrators enter a logon name
// in either form in that one field.
void BuildLogonName(NativeHandler& handler) {
  DomainSettings& settings = handler.settings;
  const std::u16string& entered = *settings.userDistinguishedName;
  const bool isLogonName = entered.find_first_of(u"\\@") != std::u16string::npos;
  if (isLogonName) {
    settings.logonName = entered;
    LogMessageW(handler, call::kDetail, "LogonName contains \\ or @ ->%ws", *settings.logonName);
  } else {
    settings.logonName = settings.userDomainName + u"\\" + *settings.userName;
    LogMessageW(handler, call::kDetail, "LogonName Not contains \\ or @ ->%ws",
                *settings.logonName);
  }
}

void CopyCredentials(NativeHandler& handler, DomainProperties& properties) {
  DomainSettings& settings = handler.settings;
  const auto& required = properties.isAuthenticationRequired;
  if (!required || !platform::EqualsIgnoringCase(*required, u"true")) return;
  settings.password.emplace();
  if (properties.password) settings.password->swap(*properties.password);
  settings.userName = properties.userName.value_or(u"");
  settings.userDistinguishedName = properties.userDistinguishedName.value_or(u"");
  BuildLogonName(handler);
}

enum class Verdict { kAnswered, kTryNext, kStop };

Verdict JudgeProbe(NativeHandler& handler, HResult result, call::ErrorList& errors) {
  if (Succeeded(result)) return Verdict::kAnswered;
  if (result == platform::kServerDown) {
    LogMessage(handler, call::kMilestone, "DC Not Operatinol check for Next");
    return Verdict::kTryNext;
  }
  std::string_view key = kSomeAuthenticationProblem;
  if (result == platform::kLogonFailure) {
    LogMessage(handler, call::kMilestone, "UserName/PassWord is Wrong,breaks");
    key = kWrongPassword;
  } else if (result == platform::kNoReadPermission) {
    LogMessage(handler, call::kMilestone, "User has No Read Permission,breaks");
    key = kUserHasNoReadPermission;
  } else {
    LogMessage(handler, call::kMilestone, "Some Authentication Problem,breaks");
  }
  call::AddNativeError(errors, handler.settings.domainName, call::kSevere, Bits(result), key);
  return Verdict::kStop;
}

// Binds to the domain on one controller. A name that no field can hold is no server, so it counts
// as one that does not answer.
HResult Probe(NativeHandler& handler, const std::u16string& controller) {
  if (controller.size() >= call::kControllerCapacity) {
    LogMessage(handler, call::kMilestone,
               "A name in DOMAIN_CONTROLLER_LIST has %u characters, more than the %u allowed",
               controller.size(), call::kControllerCapacity - 1);
    return platform::kServerDown;
  }
  const DomainSettings& settings = handler.settings;
  const std::u16string path = ControllerPath(controller, settings.defaultNamingContext);
  LogMessageW(handler, call::kDetail, "ldapDCPath for Checking valid DC %ws\t", path);
  LogMessageW(handler, call::kDetail, "networkUserName %ws\t", NetworkUserName(settings));
  std::unique_ptr<platform::DirectorySearch> search;
  return BindObject(handler, path, search);
}

bool IsTrue(const std::optional<std::u16string>& text) {
  return text && platform::EqualsIgnoringCase(*text, u"true");
}

// A number below one makes no limit that a call could keep, so the default stays.
platform::CallTerms TermsOf(const DomainProperties& properties) {
  platform::CallTerms terms;
  terms.domainName = properties.domainName.value_or(u"");
  terms.allowNtlm = IsTrue(properties.allowNtlm);
  terms.allowRc4 = IsTrue(properties.allowRc4);
  terms.trustedAuthorities = properties.trustedAuthorities.value_or(u"");
  const auto set = [](std::optional<std::int32_t> value, auto& term) {
    using Term = std::remove_reference_t<decltype(term)>;
    if (value && *value > 0) term = Term(*value);
  };
  set(properties.connectTimeLimit, terms.connect);
  set(properties.idleTimeLimit, terms.idle);
  set(properties.callTimeLimit, terms.call);
  set(properties.maxMessageBytes, terms.maxMessageBytes);
  return terms;
}

void LogGlobalCatalogs(NativeHandler& handler, const DomainProperties& properties) {
  const auto& catalogs = properties.globalCatalogs;
  const std::size_t count = catalogs ? catalogs->size() : 0;
  LogMessage(handler, call::kDetail, "No. of GCs in list -- %d ", count);
  if (count > 0) handler.settings.gcName = catalogs->front();
}

}  // namespace

DomainProperties::~DomainProperties() {
  if (password) call::Wipe(*password);
}

bool FindValidDc(NativeHandler& handler, const std::vector<std::u16string>& controllers,
                 call::ErrorList& errors) {
  LogMessage(handler, call::kDetail, "Checking for a ValidDC Starts");
  LogMessage(handler, call::kDetail, "Checking for a ValidDC from List of %d DC's",
             controllers.size());
  handler.validDcCount = 0;
  Verdict verdict = Verdict::kTryNext;  // an empty list is a list of which none answers
  for (const std::u16string& controller : controllers) {
    verdict = JudgeProbe(handler, Probe(handler, controller), errors);
    if (verdict == Verdict::kTryNext) continue;
    if (verdict == Verdict::kAnswered) {
      handler.validDcCount = 1;
      handler.settings.serverName = controller;
      LogMessageW(handler, call::kMilestone, "ValidDC %d.%ws", handler.validDcCount, controller);
    }
    break;
  }
  if (verdict == Verdict::kTryNext) {
    LogMessage(handler, call::kMilestone, "The Given Servers are Not operational");
    call::AddNativeError(errors, handler.settings.domainName, call::kSevere,
                         Bits(platform::kServerDown), kServersNotOperational);
  }
  LogMessage(handler, call::kDetail, "Checking for a ValidDC finished");
  return verdict == Verdict::kAnswered;
}

bool InitializeHandler(NativeHandler& handler, DomainProperties& properties,
                       call::ErrorList& errors) {
  DomainSettings& settings = handler.settings;
  if (!AllFit(handler, properties)) {
    const std::u16string name = properties.domainName.value_or(u"");
    call::AddNativeError(errors, name, call::kSevere, Bits(platform::kInvalidArgument),
                         kSomeAuthenticationProblem);
    return false;
  }
  CopyTexts(settings, properties);
  CopyCredentials(handler, properties);
  settings.terms = TermsOf(properties);
  if (handler.observer != nullptr) handler.platform.BeginCall(settings.terms, *handler.observer);

  static const std::vector<std::u16string> kNoControllers;
  bool ready = FindValidDc(
      handler, properties.domainControllers ? *properties.domainControllers : kNoControllers,
      errors);
  if (ready && !Fits(handler, {"DOMAIN_CONTROLLER_LIST", std::optional(settings.serverName),
                               call::kNameCapacity})) {
    call::AddNativeError(errors, settings.domainName, call::kSevere,
                         Bits(platform::kInvalidArgument), kSomeAuthenticationProblem);
    ready = false;
  }
  if (ready) settings.ldapRootPath = ControllerPath(settings.serverName, u"");
  LogGlobalCatalogs(handler, properties);
  LogMessage(handler, call::kMilestone, "Initialization Finished");
  return ready;
}

}  // namespace zorvan::directory
