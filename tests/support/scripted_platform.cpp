#include "support/scripted_platform.h"

#include <algorithm>

#include "platform/text.h"

namespace zorvan::support {
namespace {

using platform::AdsType;
using platform::AttributeSet;
using platform::Column;
using platform::Credentials;
using platform::EqualsIgnoringCase;
using platform::Failed;
using platform::HResult;
using platform::Value;

// The DN or "<...>" reference behind the server of a path, with "\/" read as the slash it stands
// for.
std::u16string ReferenceOf(std::u16string_view path) {
  const std::size_t slash = path.find(u'/', path.find(u"://") + 3);
  std::u16string reference;
  if (slash == std::u16string_view::npos) return reference;
  for (std::size_t i = slash + 1; i < path.size(); ++i) {
    if (path[i] == u'\\' && i + 1 < path.size() && path[i + 1] == u'/') continue;
    reference.push_back(path[i]);
  }
  return reference;
}

std::u16string ServerOf(std::u16string_view path) {
  const std::u16string_view rest = path.substr(path.find(u"://") + 3);
  return std::u16string(rest.substr(0, rest.find(u'/')));
}

std::u16string HexOf(std::span<const std::byte> octets) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string text;
  for (std::byte octet : octets) {
    text.push_back(kDigits[std::to_integer<std::size_t>(octet >> 4)]);
    text.push_back(kDigits[std::to_integer<std::size_t>(octet & std::byte{0xF})]);
  }
  return text;
}

// The name of an attribute without options such as ";range=0-999".
std::u16string_view BaseName(std::u16string_view attribute) {
  return attribute.substr(0, attribute.find(u';'));
}

// Counts itself among the open interfaces for as long as it lives.
class Interface {
 public:
  explicit Interface(Script& script) : script_(script) { ++script_.openInterfaces; }
  ~Interface() { --script_.openInterfaces; }
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

 private:
  Script& script_;
};

class ScriptedSearch : public platform::DirectorySearch {
 public:
  ScriptedSearch(Script& script, std::u16string_view path)
      : script_(script), interface_(script), path_(path) {}

  HResult SetSearchPreference(std::span<const platform::SearchPreference> preferences) override {
    const HResult result = script_.Try(Call::kSetSearchPreference, path_);
    if (Failed(result)) return result;
    for (const auto& preference : preferences) {
      preferences_.emplace_back(preference.id, preference.value);
    }
    return result;
  }

  HResult ExecuteSearch(std::u16string_view filter,
                        std::span<const std::u16string_view> attributes) override {
    attributes_.assign(attributes.begin(), attributes.end());
    script_.searches.push_back({path_, std::u16string(filter), attributes_, preferences_});
    rows_.clear();
    next_ = 0;
    const HResult result = script_.Try(Call::kExecuteSearch, filter);
    if (!Failed(result)) rows_ = script_.Find(path_, filter);
    return result;
  }

  HResult GetNextRow() override {
    current_ = AttributeSet();
    const HResult result = script_.Try(Call::kGetNextRow, path_);
    if (Failed(result)) return result;
    if (next_ == rows_.size()) return platform::kNoMoreRows;
    ++next_;
    return platform::kOk;
  }

  HResult GetColumn(std::u16string_view attribute, Column& column) override {
    const HResult result = script_.Try(Call::kGetColumn, attribute);
    if (Failed(result)) return result;
    const Column* found = Requested(attribute) ? rows_.at(next_ - 1)->Find(attribute) : nullptr;
    if (found == nullptr) return platform::kColumnNotSet;
    if (current_.Find(attribute) == nullptr) current_.Add(attribute, *found);
    column = *current_.Find(attribute);
    return platform::kOk;
  }

  void ForEachReceivedText(std::u16string_view attribute,
                           const std::function<void(std::u16string_view)>& visit) override {
    if (next_ == 0 || !Requested(attribute)) return;
    const std::size_t end = std::min(rows_.size(), next_ + script_.rowsReceivedAhead);
    for (std::size_t i = next_ - 1; i < end; ++i) {
      const Column* column = rows_[i]->Find(attribute);
      if (column == nullptr) continue;
      for (const Value& value : column->values) visit(std::u16string(value.text));
    }
  }

 private:
  bool Requested(std::u16string_view attribute) const {
    return std::any_of(attributes_.begin(), attributes_.end(), [&](const auto& name) {
      return EqualsIgnoringCase(BaseName(name), BaseName(attribute));
    });
  }

  Script& script_;
  Interface interface_;
  std::u16string path_;
  std::vector<std::pair<platform::SearchPreferenceId, std::uint32_t>> preferences_;
  std::vector<std::u16string> attributes_;
  std::vector<const ScriptedObject*> rows_;
  std::size_t next_ = 0;
  AttributeSet current_;
};

void CopyAttributes(const ScriptedObject& object, std::span<const std::u16string_view> names,
                    AttributeSet& attributes) {
  attributes = AttributeSet();
  for (std::u16string_view name : names) {
    if (const Column* column = object.Find(name)) attributes.Add(name, *column);
  }
}

class OpenedObject : public platform::DirectoryObject {
 public:
  OpenedObject(Script& script, const ScriptedObject& object)
      : script_(script), interface_(script), object_(object) {}

  HResult GetObjectAttributes(std::span<const std::u16string_view> names,
                              AttributeSet& attributes) override {
    const HResult result = script_.Try(Call::kGetObjectAttributes, object_.distinguishedName());
    if (!Failed(result)) CopyAttributes(object_, names, attributes);
    return result;
  }

 private:
  Script& script_;
  Interface interface_;
  const ScriptedObject& object_;
};

// A container that only stands in the names of others has no attributes, and no ScriptedObject.
class OpenedPropertyObject : public platform::PropertyObject {
 public:
  OpenedPropertyObject(Script& script, std::u16string_view path, const ScriptedObject* object)
      : script_(script), interface_(script), path_(path), object_(object) {}

  HResult Get(std::u16string_view attribute, AttributeSet& value) override {
    const HResult result = script_.Try(Call::kGet, attribute);
    if (Failed(result)) return result;
    const Column* column = object_ == nullptr ? nullptr : object_->Find(attribute);
    if (column == nullptr) return platform::kPropertyNotFound;
    value = AttributeSet();
    value.Add(attribute, *column);
    return platform::kOk;
  }

  HResult QueryDirectorySearch(std::unique_ptr<platform::DirectorySearch>& search) override {
    const HResult result = script_.Try(Call::kQueryDirectorySearch, path_);
    if (!Failed(result)) search = std::make_unique<ScriptedSearch>(script_, path_);
    return result;
  }

 private:
  Script& script_;
  Interface interface_;
  std::u16string path_;
  const ScriptedObject* object_;
};

class ScriptedDirectory : public platform::Directory {
 public:
  explicit ScriptedDirectory(Script& script) : script_(script) {}

  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<platform::DirectorySearch>& search) override {
    const ScriptedObject* object = nullptr;
    const HResult result = Open(Call::kOpenSearch, path, credentials, flags, object);
    if (!Failed(result)) search = std::make_unique<ScriptedSearch>(script_, path);
    return result;
  }

  HResult OpenObject(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<platform::DirectoryObject>& object) override {
    const ScriptedObject* found = nullptr;
    const HResult result = Open(Call::kOpenObject, path, credentials, flags, found);
    if (Failed(result)) return result;
    if (found == nullptr) return platform::kNoSuchObject;
    object = std::make_unique<OpenedObject>(script_, *found);
    return result;
  }

  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags,
                             std::unique_ptr<platform::PropertyObject>& object) override {
    const ScriptedObject* found = nullptr;
    const HResult result = Open(Call::kOpenPropertyObject, path, credentials, flags, found);
    if (!Failed(result)) object = std::make_unique<OpenedPropertyObject>(script_, path, found);
    return result;
  }

  void ReadObjects(std::span<const std::u16string> paths, const Credentials& credentials,
                   std::uint32_t flags, std::span<const std::u16string_view> attributes,
                   const std::function<void(std::size_t, HResult, AttributeSet&)>& visit) override {
    script_.batches.emplace_back(paths.begin(), paths.end());
    for (std::size_t i = paths.size(); i-- > 0;) {
      script_.Record(paths[i], credentials, flags);
      const ScriptedObject* object = nullptr;
      HResult result = script_.Try(Call::kReadObject, paths[i]);
      if (!Failed(result)) result = script_.Resolve(paths[i], flags, object);
      if (!Failed(result) && object == nullptr) result = platform::kNoSuchObject;
      AttributeSet set;
      if (!Failed(result)) CopyAttributes(*object, attributes, set);
      visit(i, result, set);
    }
  }

  platform::ExtendedError LastError() override { return script_.extendedError; }

 private:
  HResult Open(Call call, std::u16string_view path, const Credentials& credentials,
               std::uint32_t flags, const ScriptedObject*& object) {
    script_.Record(path, credentials, flags);
    const HResult result = script_.Try(call, path);
    return Failed(result) ? result : script_.Resolve(path, flags, object);
  }

  Script& script_;
};

class ScriptedAccounts : public platform::Accounts {
 public:
  explicit ScriptedAccounts(Script& script) : script_(script) {}

  platform::Win32Code QueryUserConfig(std::u16string_view serverName,
                                      std::u16string_view namingContext,
                                      const Credentials& credentials, std::u16string_view userName,
                                      platform::TerminalServicesClass setting,
                                      platform::TerminalServicesValue& value) override {
    constexpr platform::Win32Code kNoSuchUser = 1317;
    script_.userQueries.push_back({std::u16string(serverName), std::u16string(namingContext),
                                   std::optional<std::u16string>(credentials.userName),
                                   std::optional<std::u16string>(credentials.password),
                                   std::u16string(userName)});
    const HResult result = script_.Try(Call::kQueryUserConfig, userName);
    if (Failed(result)) return platform::Bits(result) & 0xFFFF;
    const platform::TerminalServicesValue* found = script_.UserConfig(userName, setting);
    if (found == nullptr) return kNoSuchUser;
    value = *found;
    return 0;
  }

 private:
  Script& script_;
};

class ScriptedSystem : public platform::System {
 public:
  explicit ScriptedSystem(Script& script) : script_(script) {}

  std::int64_t CurrentFileTime() override { return script_.now; }
  bool FormatMessageText(std::uint32_t code, std::u16string& text) override {
    const auto found = script_.messages.find(code);
    if (found == script_.messages.end()) return false;
    text = found->second;
    return true;
  }
  platform::Win32Code LastError() override { return script_.lastError; }

 private:
  Script& script_;
};

}  // namespace

Octets OctetsOf(std::initializer_list<int> octets) {
  Octets result;
  for (int octet : octets) result.push_back(static_cast<std::byte>(octet));
  return result;
}

Octets NtSid(std::initializer_list<std::uint32_t> numbers) {
  Octets sid = OctetsOf({1, static_cast<int>(numbers.size()), 0, 0, 0, 0, 0, 5});
  for (std::uint32_t number : numbers) {
    for (int shift = 0; shift < 32; shift += 8) {
      sid.push_back(static_cast<std::byte>(number >> shift & 0xFF));
    }
  }
  return sid;
}

Octets DomainSid(std::uint32_t relativeId) { return NtSid({21, 1, 2, 3, relativeId}); }

Value TextValue(std::u16string_view text) {
  Value value;
  value.text = text;
  return value;
}

Value NumberValue(std::int64_t number) {
  Value value;
  value.number = number;
  return value;
}

Value OctetsValue(const Octets& octets) {
  Value value;
  value.octets = octets;
  return value;
}

Value TimeValue(const platform::UtcTime& time) {
  Value value;
  value.time = time;
  return value;
}

ScriptedObject::ScriptedObject(std::u16string_view distinguishedName)
    : distinguishedName_(distinguishedName) {
  Names(u"distinguishedName", {distinguishedName_});
}

ScriptedObject& ScriptedObject::Texts(std::u16string_view name,
                                      const std::vector<std::u16string>& values, AdsType type) {
  std::vector<Value> views;
  for (const std::u16string& text : values) views.push_back(TextValue(text));
  attributes_.Add(name, {type, views});
  return *this;
}

ScriptedObject& ScriptedObject::Names(std::u16string_view name,
                                      const std::vector<std::u16string>& values) {
  return Texts(name, values, AdsType::kDnString);
}

ScriptedObject& ScriptedObject::Number(std::u16string_view name, std::int64_t value, AdsType type) {
  const std::vector<Value> views = {NumberValue(value)};
  attributes_.Add(name, {type, views});
  return *this;
}

ScriptedObject& ScriptedObject::Binary(std::u16string_view name, const Octets& value,
                                       AdsType type) {
  const std::vector<Value> views = {OctetsValue(value)};
  attributes_.Add(name, {type, views});
  return *this;
}

void Script::Fail(Call call, HResult code, std::u16string_view subject, std::size_t nth) {
  failures_.push_back({call, std::u16string(subject), nth, code});
}

void Script::FailNth(std::size_t nth, HResult code) {
  failures_.push_back({std::nullopt, {}, nth, code});
}

void Script::SetServer(std::u16string_view name, HResult answer) {
  servers_[std::u16string(name)] = answer;
}

ScriptedObject& Script::Add(std::u16string_view distinguishedName) {
  return objects_.emplace_back(distinguishedName);
}

void Script::Answer(std::u16string_view filter, std::vector<std::u16string> distinguishedNames) {
  answers_[std::u16string(filter)] = std::move(distinguishedNames);
}

void Script::SetUserConfig(std::u16string_view userName, platform::TerminalServicesClass setting,
                           platform::TerminalServicesValue value) {
  userConfigs_[{std::u16string(userName), setting}] = std::move(value);
}

void Script::Record(std::u16string_view path, const Credentials& credentials, std::uint32_t flags) {
  binds.push_back({std::u16string(path), std::optional<std::u16string>(credentials.userName),
                   std::optional<std::u16string>(credentials.password), flags});
}

HResult Script::Try(Call call, std::u16string_view subject) {
  ++fallibleCalls;
  HResult result = platform::kOk;
  for (Failure& failure : failures_) {
    const bool meant = (!failure.call || *failure.call == call) &&
                       (failure.subject.empty() || failure.subject == subject);
    if (!meant) continue;
    ++failure.seen;
    if (failure.nth == 0 || failure.nth == failure.seen) result = failure.code;
  }
  return result;
}

const ScriptedObject* Script::FindByName(std::u16string_view reference) const {
  for (const ScriptedObject& object : objects_) {
    if (EqualsIgnoringCase(object.distinguishedName(), reference)) return &object;
    const Column* sid = object.Find(u"objectSid");
    if (sid != nullptr &&
        EqualsIgnoringCase(u"<SID=" + HexOf(sid->values.front().octets) + u">", reference)) {
      return &object;
    }
  }
  return nullptr;
}

bool Script::IsContainer(std::u16string_view distinguishedName) const {
  const std::u16string ending = u"," + std::u16string(distinguishedName);
  return std::any_of(objects_.begin(), objects_.end(), [&](const ScriptedObject& object) {
    return platform::EndsWithIgnoringCase(object.distinguishedName(), ending);
  });
}

HResult Script::Resolve(std::u16string_view path, std::uint32_t flags,
                        const ScriptedObject*& object) {
  const auto server = servers_.find(ServerOf(path));
  if (server != servers_.end() && Failed(server->second)) return server->second;
  const std::u16string reference = ReferenceOf(path);
  object = FindByName(reference);
  const bool there = object != nullptr || reference.empty() || IsContainer(reference);
  return there || (flags & platform::kFastBind) != 0 ? platform::kOk : platform::kNoSuchObject;
}

std::vector<const ScriptedObject*> Script::Find(std::u16string_view path,
                                                std::u16string_view filter) {
  std::vector<const ScriptedObject*> found;
  if (const auto answer = answers_.find(std::u16string(filter)); answer != answers_.end()) {
    for (const std::u16string& name : answer->second) {
      if (const ScriptedObject* object = FindByName(name)) found.push_back(object);
    }
    return found;
  }
  const std::u16string root = ReferenceOf(path);
  for (const ScriptedObject& object : objects_) {
    if (platform::EndsWithIgnoringCase(object.distinguishedName(), root)) found.push_back(&object);
  }
  return found;
}

const platform::TerminalServicesValue* Script::UserConfig(
    std::u16string_view userName, platform::TerminalServicesClass setting) const {
  const auto found = userConfigs_.find({std::u16string(userName), setting});
  return found == userConfigs_.end() ? nullptr : &found->second;
}

ScriptedPlatform::ScriptedPlatform(Script& script)
    : directory_(std::make_unique<ScriptedDirectory>(script)),
      accounts_(std::make_unique<ScriptedAccounts>(script)),
      system_(std::make_unique<ScriptedSystem>(script)) {}

ScriptedPlatform::~ScriptedPlatform() = default;

HResult ScriptedPlatform::InitializeApartment(platform::Apartment) { return platform::kOk; }

void ScriptedPlatform::UninitializeApartment() {}

}  // namespace zorvan::support
