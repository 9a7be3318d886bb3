#include "directory/handler_initialization.h"

#include <array>
#include <memory>

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

bool IsTrue(const std::optional<std::u16string>& text) {
  return text && platform::EqualsIgnoringCase(*text, u"true");
}

// Whether the distinguished name is a logon name: administrators enter one in that field, in either
// form.
bool IsLogonName(std::u16string_view distinguishedName) {
  return distinguishedName.find_first_of(u"\\@") != std::u16string_view::npos;
}

// Judges only the fields in use: the real distinguished name of an account may have any length.
bool CredentialsFit(NativeHandler& handler, const DomainProperties& properties) {
  if (!IsTrue(properties.isAuthenticationRequired)) return true;
  const auto& name = properties.userDistinguishedName;
  bool all = Fits(handler, {"USER_NAME", properties.userName, call::kNameCapacity});
  all = Fits(handler, {"PASSWORD", properties.password, call::kNameCapacity}) && all;
  if (name && IsLogonName(*name)) {
    all = Fits(handler, {"USER_DISTINGUISHED_NAME", name, call::kNameCapacity}) && all;
  }
  return all;
}

bool AllFit(NativeHandler& handler, const DomainProperties& properties) {
  const std::optional<std::u16string> firstCatalog =
      properties.globalCatalogs && !properties.globalCatalogs->empty()
          ? std::optional(properties.globalCatalogs->front())
          : std::nullopt;
  const std::array<Field, 9> fields{{
      {"DOMAIN_NAME", properties.domainName, call::kNameCapacity},
      {"USER_DOMAIN_NAME", properties.userDomainName, call::kNameCapacity},
      {"GC_LIST", firstCatalog, call::kNameCapacity},
      {"DEFAULT_NAMING_CONTEXT", properties.defaultNamingContext, call::kPathCapacity},
      {"ROOT_DOMAIN_NAMING_CONTEXT", properties.rootDomainNamingContext, call::kPathCapacity},
      {"SCHEMA_NAMING_CONTEXT", properties.schemaNamingContext, call::kPathCapacity},
      {"CONFIGURATION_NAMING_CONTEXT", properties.configurationNamingContext, call::kPathCapacity},
      {"DOMAIN_FUNCTIONAL_LEVEL", properties.domainFunctionalLevel, call::kNameCapacity},
      {"IS_AUTHENTICATION_REQUIRED", properties.isAuthenticationRequired, call::kNameCapacity},
  }};
  bool all = CredentialsFit(handler, properties);
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
// what is joined to the domain otherwise is the plain user name.
void BuildLogonName(NativeHandler& handler) {
  DomainSettings& settings = handler.settings;
  if (IsLogonName(*settings.userDistinguishedName)) {
    settings.logonName = *settings.userDistinguishedName;
    LogMessageW(handler, call::kDetail, "LogonName contains \\ or @ ->%ws", *settings.logonName);
  } else {
    settings.logonName = settings.userDomainName + u"\\" + *settings.userName;
    LogMessageW(handler, call::kDetail, "LogonName Not contains \\ or @ ->%ws",
                *settings.logonName);
  }
}

void CopyCredentials(NativeHandler& handler, DomainProperties& properties) {
  DomainSettings& settings = handler.settings;
  if (!IsTrue(properties.isAuthenticationRequired)) return;
  settings.password.emplace();
  if (properties.password) settings.password->swap(*properties.password);
  settings.userName = properties.userName.value_or(u"");
  settings.userDistinguishedName = properties.userDistinguishedName.value_or(u"");
  BuildLogonName(handler);
}

enum class Verdict { kAnswered, kTryNext, kStop };

Verdict JudgeProbe(NativeHandler& handler, HResult result, call::ErrorList& errors) {
  if (Succeeded(result)) return Verdict::kAnswered;
  if (call::EndedByCaller(handler, result)) return Verdict::kStop;
  if (result == platform::kServerDown) {
    LogMessage(handler, call::kMilestone, "DC Not Operatinol check for Next");
    return call::IsCancelled(handler) ? Verdict::kStop : Verdict::kTryNext;
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
// as one that does not answer. error is what was said of a failure.
HResult Probe(NativeHandler& handler, const std::u16string& controller,
              platform::ExtendedError& error) {
  error = {};
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
  const HResult result = BindObject(handler, path, search);
  if (platform::Failed(result)) error = OpenError(handler, path);
  return result;
}

// Reads the optional keys into the terms of the call. Read returns false, after a log line, for a
// value that it does not understand: a call must never run with weaker terms than its caller asked
// for.
class TermsReader {
 public:
  TermsReader(NativeHandler& handler, const DomainProperties& properties)
      : handler_(handler), properties_(properties) {}

  bool Read(platform::CallTerms& terms) {
    terms.domainName = properties_.domainName.value_or(u"");
    ReadSwitch("CONTROLLERS_FROM_DNS", properties_.controllersFromDns, terms.controllersFromDns);
    ReadSwitch("ALLOW_NTLM", properties_.allowNtlm, terms.allowNtlm);
    ReadSwitch("ALLOW_RC4", properties_.allowRc4, terms.allowRc4);
    ReadPath("TRUSTED_AUTHORITIES", properties_.trustedAuthorities, terms.trustedAuthorities);
    ReadLimit("CONNECT_TIME_LIMIT", properties_.connectTimeLimit, terms.connect);
    ReadLimit("IDLE_TIME_LIMIT", properties_.idleTimeLimit, terms.idle);
    // Zero means no limit.
    if (properties_.callTimeLimit != 0) {
      ReadLimit("CALL_TIME_LIMIT", properties_.callTimeLimit, terms.call);
    }
    ReadLimit("MAX_MESSAGE_BYTES", properties_.maxMessageBytes, terms.maxMessageBytes);
    return understood_ && properties_.termsOfWrongClass == 0;
  }

 private:
  void Refuse(std::string_view key, std::string_view expected) {
    LogMessage(handler_, call::kMilestone, "The domain setting %s is not %s", key, expected);
    understood_ = false;
  }

  void ReadSwitch(std::string_view key, const std::optional<std::u16string>& text, bool& term) {
    term = IsTrue(text);
    if (text && !term && !platform::EqualsIgnoringCase(*text, u"false")) {
      Refuse(key, "true or false");
    }
  }

  // Rejects an empty path, which an adapter would take for the system's authorities.
  void ReadPath(std::string_view key, const std::optional<std::u16string>& path,
                std::u16string& term) {
    if (!path) return;
    term = *path;
    if (path->empty() || path->find(u'\0') != std::u16string::npos) Refuse(key, "a path");
  }

  template <typename Term>
  void ReadLimit(std::string_view key, std::optional<std::int32_t> value, Term& term) {
    if (!value) return;
    if (*value > 0) {
      term = Term(*value);
    } else {
      Refuse(key, "above zero");
    }
  }

  NativeHandler& handler_;
  const DomainProperties& properties_;
  bool understood_ = true;
};

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
  std::u16string_view asked;
  HResult result = platform::kServerDown;
  platform::ExtendedError error;
  for (const std::u16string& controller : controllers) {
    asked = controller;
    result = Probe(handler, controller, error);
    verdict = JudgeProbe(handler, result, errors);
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
  // Controllers that were passed over before one answered explain nothing that comes.
  if (verdict != Verdict::kAnswered && !call::IsCancelled(handler)) {
    NotifyFailure(handler, platform::NoticeKind::kControllerFailed, asked, result, error);
  }
  LogMessage(handler, call::kDetail, "Checking for a ValidDC finished");
  return verdict == Verdict::kAnswered;
}

bool InitializeHandler(NativeHandler& handler, DomainProperties& properties,
                       call::ErrorList& errors) {
  DomainSettings& settings = handler.settings;
  const bool fit = AllFit(handler, properties);
  if (!TermsReader(handler, properties).Read(settings.terms) || !fit) {
    const std::u16string name = properties.domainName.value_or(u"");
    call::AddNativeError(errors, name, call::kSevere, Bits(platform::kInvalidArgument),
                         kSomeAuthenticationProblem);
    return false;
  }
  CopyTexts(settings, properties);
  CopyCredentials(handler, properties);
  if (properties.domainControllers)
    settings.terms.controllers = properties.domainControllers->size();
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
