#include "support/scripted_platform.h"

#include <algorithm>

#include "platform/text.h"

namespace zorvan::support {
namespace {

using platform::AdsType;
using platform::AttributeSet;
using platform::Column;
using platform::Credentials;
using platform::EndsWithIgnoringCase;
using platform::EqualsIgnoringCase;
using platform::Failed;
using platform::HResult;
using platform::Value;

// A path as its server and what stands behind it, with "\/" read as the slash it stands for.
std::pair<std::u16string, std::u16string> Parts(std::u16string_view path) {
  path.remove_prefix(path.find(u"://") + 3);
  const std::size_t slash = std::min(path.find(u'/'), path.size());
  std::u16string reference(path.substr(std::min(slash + 1, path.size())));
  for (std::size_t at = 0; (at = reference.find(u"\\/", at)) != reference.npos;) {
    reference.erase(at, 1);
  }
  return {std::u16string(path.substr(0, slash)), reference};
}

// "<SID=...>" of an object that has one.
std::u16string SidReference(const ScriptedObject& object) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  const Column* sid = object.attributes().Find(u"objectSid");
  if (sid == nullptr) return {};
  std::u16string text = u"<SID=";
  for (std::byte octet : sid->values.front().octets) {
    text.push_back(kDigits[std::to_integer<std::size_t>(octet >> 4)]);
    text.push_back(kDigits[std::to_integer<std::size_t>(octet & std::byte{0xF})]);
  }
  return text + u">";
}

std::optional<std::u16string> Owned(const std::optional<std::u16string_view>& text) {
  return text ? std::optional<std::u16string>(*text) : std::nullopt;
}

// Counts itself among the open interfaces for as long as it lives.
class Interface {
 public:
  explicit Interface(Script& script) : script_(script) { ++script_.openInterfaces; }
  ~Interface() { --script_.openInterfaces; }
  Interface(const Interface&) = delete;
  Interface& operator=(const Interface&) = delete;

 protected:
  Script& script_;
};

class ScriptedSearch : public platform::DirectorySearch, private Interface {
 public:
  ScriptedSearch(Script& script, std::u16string_view path) : Interface(script), path_(path) {}

  HResult SetSearchPreference(std::span<const platform::SearchPreference> preferences) override {
    preferences_.clear();
    for (const auto& preference : preferences) {
      preferences_.emplace_back(preference.id, preference.value);
    }
    return script_.Try(Call::kPrefer, path_);
  }

  HResult ExecuteSearch(std::u16string_view filter,
                        std::span<const std::u16string_view> attributes) override {
    attributes_.assign(attributes.begin(), attributes.end());
    script_.searches.push_back({std::u16string(filter), attributes_, preferences_});
    next_ = 0;
    const HResult result = Told(script_.Try(Call::kExecute, filter));
    if (!Failed(result)) rows_ = script_.Find(path_, filter);
    return result;
  }

  HResult GetNextRow() override {
    current_ = AttributeSet();
    const HResult result = Told(script_.Try(Call::kNextRow, path_));
    if (Failed(result)) return result;
    return next_ == rows_.size() ? platform::kNoMoreRows : (++next_, platform::kOk);
  }

  HResult GetColumn(std::u16string_view attribute, Column& column) override {
    const HResult result = script_.Try(Call::kColumn, attribute);
    if (Failed(result)) return result;
    const Column* found = Requested(attribute, next_ - 1);
    if (found == nullptr) return platform::kColumnNotSet;
    if (current_.Find(attribute) == nullptr) current_.Add(attribute, *found);
    column = *current_.Find(attribute);
    return platform::kOk;
  }

  void ForEachReceivedText(std::u16string_view attribute,
                           const std::function<void(std::u16string_view)>& visit) override {
    const std::size_t end = std::min(rows_.size(), next_ + script_.rowsReceivedAhead);
    for (std::size_t row = next_ - 1; row < end; ++row) {
      const Column* column = Requested(attribute, row);
      if (column == nullptr) continue;
      for (const Value& value : column->values) visit(std::u16string(value.text));
    }
  }

  platform::ExtendedError LastError() override { return lastError_; }

 private:
  HResult Told(HResult result) {
    lastError_ = Failed(result) ? script_.extendedError : platform::ExtendedError{};
    return result;
  }

  // The values of an attribute, with or without an option such as ";range=0-999", that was asked
  // for and is there.
  const Column* Requested(std::u16string_view attribute, std::size_t row) const {
    const std::u16string_view base = attribute.substr(0, attribute.find(u';'));
    const bool asked = std::any_of(attributes_.begin(), attributes_.end(), [&](const auto& name) {
      return EqualsIgnoringCase(name, base);
    });
    return asked ? rows_.at(row)->attributes().Find(attribute) : nullptr;
  }

  std::u16string path_;
  std::vector<std::pair<platform::SearchPreferenceId, std::uint32_t>> preferences_;
  std::vector<std::u16string> attributes_;
  std::vector<const ScriptedObject*> rows_;
  std::size_t next_ = 0;
  AttributeSet current_;
  platform::ExtendedError lastError_;
};

// Nothing that is tested over this platform reads attributes of an opened object.
class OpenedObject : public platform::DirectoryObject,
                     public platform::PropertyObject,
                     private Interface {
 public:
  OpenedObject(Script& script, std::u16string_view path) : Interface(script), path_(path) {}

  HResult GetObjectAttributes(std::span<const std::u16string_view>, AttributeSet&) override {
    return platform::kNotSupported;
  }
  HResult Get(std::u16string_view, AttributeSet&) override { return platform::kNotSupported; }
  HResult QueryDirectorySearch(std::unique_ptr<platform::DirectorySearch>& search) override {
    const HResult result = script_.Try(Call::kQuerySearch, path_);
    if (!Failed(result)) search = std::make_unique<ScriptedSearch>(script_, path_);
    return result;
  }

 private:
  std::u16string path_;
};

class ScriptedDirectory : public platform::Directory {
 public:
  explicit ScriptedDirectory(Script& script) : script_(script) {}

  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<platform::DirectorySearch>& search) override {
    return Open<ScriptedSearch>(path, credentials, flags, search);
  }
  HResult OpenObject(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
                     std::unique_ptr<platform::DirectoryObject>& object) override {
    return Open<OpenedObject>(path, credentials, flags, object);
  }
  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags,
                             std::unique_ptr<platform::PropertyObject>& object) override {
    return Open<OpenedObject>(path, credentials, flags, object);
  }

  void ReadObjects(std::span<const std::u16string> paths, const Credentials& credentials,
                   std::uint32_t flags, std::span<const std::u16string_view> attributes,
                   const std::function<void(std::size_t, HResult, AttributeSet&,
                                            const platform::ExtendedError&)>& visit) override {
    script_.batches.emplace_back(paths.begin(), paths.end());
    for (std::size_t i = paths.size(); i-- > 0;) {
      const ScriptedObject* object = nullptr;
      HResult result = script_.Open(Call::kRead, paths[i], credentials, flags, object);
      if (!Failed(result) && object == nullptr) result = platform::kNoSuchObject;
      AttributeSet set;
      for (std::u16string_view name : attributes) {
        const Column* column = Failed(result) ? nullptr : object->attributes().Find(name);
        if (column != nullptr) set.Add(name, *column);
      }
      visit(i, result, set, Failed(result) ? script_.extendedError : platform::ExtendedError{});
    }
  }

  platform::ExtendedError LastError() override { return script_.extendedError; }

 private:
  template <typename Opened, typename Port>
  HResult Open(std::u16string_view path, const Credentials& credentials, std::uint32_t flags,
               std::unique_ptr<Port>& opened) {
    const ScriptedObject* object = nullptr;
    const HResult result = script_.Open(Call::kOpen, path, credentials, flags, object);
    if (!Failed(result)) opened = std::make_unique<Opened>(script_, path);
    return result;
  }

  Script& script_;
};

class ScriptedAccounts : public platform::Accounts {
 public:
  explicit ScriptedAccounts(Script& script) : script_(script) {}

  platform::ExtendedError QueryUserConfig(std::u16string_view, std::u16string_view,
                                          const Credentials&, std::u16string_view userName,
                                          platform::TerminalServicesClass,
                                          platform::TerminalServicesValue& value) override {
    constexpr platform::Win32Code kNoSuchUser = 1317;
    const HResult result = script_.Try(Call::kConfig, userName);
    if (Failed(result)) return {platform::Bits(result) & 0xFFFF, script_.extendedError.text};
    const auto found = script_.userConfig.find(std::u16string(userName));
    if (found == script_.userConfig.end()) return {kNoSuchUser, {}};
    value = found->second;
    return {};
  }

 private:
  Script& script_;
};

class ScriptedSystem : public platform::System {
 public:
  explicit ScriptedSystem(Script& script) : script_(script) {}

  std::int64_t CurrentFileTime() override { return 0; }
  platform::Win32Code FormatMessageText(std::uint32_t code, std::u16string& text) override {
    text = script_.messages[code];
    return text.empty() ? script_.noMessage : 0;
  }

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

ScriptedObject::ScriptedObject(std::u16string_view distinguishedName)
    : distinguishedName_(distinguishedName) {
  Texts(u"distinguishedName", {distinguishedName_});
}

ScriptedObject& ScriptedObject::Texts(std::u16string_view name,
                                      const std::vector<std::u16string>& values) {
  std::vector<Value> views;
  for (const std::u16string& text : values) views.push_back(TextValue(text));
  attributes_.Add(name, {AdsType::kCaseIgnoreString, views});
  return *this;
}

ScriptedObject& ScriptedObject::Number(std::u16string_view name, std::int64_t number) {
  const Value value = NumberValue(number);
  attributes_.Add(name, {AdsType::kInteger, {&value, 1}});
  return *this;
}

ScriptedObject& ScriptedObject::Binary(std::u16string_view name, const Octets& octets) {
  const Value value = OctetsValue(octets);
  attributes_.Add(name, {AdsType::kOctetString, {&value, 1}});
  return *this;
}

void Script::Fail(Call call, HResult code, std::u16string_view subject, std::size_t nth) {
  failures_.push_back({call, std::u16string(subject), nth, code});
}

ScriptedObject& Script::Add(std::u16string_view distinguishedName) {
  return objects_.emplace_back(distinguishedName);
}

HResult Script::Try(Call call, std::u16string_view subject) {
  ++fallibleCalls;
  HResult result = platform::kOk;
  for (Failure& failure : failures_) {
    const bool meant = (failure.call == Call::kAny || failure.call == call) &&
                       (failure.subject.empty() || failure.subject == subject);
    if (!meant) continue;
    ++failure.seen;
    if (failure.nth == 0 || failure.nth == failure.seen) result = failure.code;
  }
  return result;
}

HResult Script::Open(Call call, std::u16string_view path, const Credentials& credentials,
                     std::uint32_t flags, const ScriptedObject*& object) {
  binds.push_back(
      {std::u16string(path), Owned(credentials.userName), Owned(credentials.password), flags});
  const HResult result = Try(call, path);
  if (Failed(result)) return result;
  const auto [server, reference] = Parts(path);
  if (const auto answer = servers.find(server); answer != servers.end()) return answer->second;
  bool there = reference.empty();
  for (const ScriptedObject& each : objects_) {
    const std::u16string& name = each.distinguishedName();
    there = there || EndsWithIgnoringCase(name, reference) || SidReference(each) == reference;
    if (name == reference || SidReference(each) == reference) object = &each;
  }
  return there ? platform::kOk : platform::kNoSuchObject;
}

std::vector<const ScriptedObject*> Script::Find(std::u16string_view path,
                                                std::u16string_view filter) {
  const auto answer = answers.find(std::u16string(filter));
  const std::u16string root = Parts(path).second;
  std::vector<const ScriptedObject*> found;
  for (const ScriptedObject& object : objects_) {
    const std::u16string& name = object.distinguishedName();
    const bool meant =
        answer == answers.end()
            ? EndsWithIgnoringCase(name, root)
            : std::find(answer->second.begin(), answer->second.end(), name) != answer->second.end();
    if (meant) found.push_back(&object);
  }
  return found;
}

ScriptedPlatform::ScriptedPlatform(Script& script)
    : script_(script),
      directory_(std::make_unique<ScriptedDirectory>(script)),
      accounts_(std::make_unique<ScriptedAccounts>(script)),
      system_(std::make_unique<ScriptedSystem>(script)) {}

ScriptedPlatform::~ScriptedPlatform() = default;

}  // namespace zorvan::support
