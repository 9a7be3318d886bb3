// A platform that answers from memory: objects with attributes under distinguished names, a setting
// of users, message texts. It records what it was asked, and can fail any call in any way that a
// real system would.
//
// What a search hands out is destroyed when the search steps on, and ReadObjects answers in the
// reverse of the order asked, so that a caller who relies on more than the port promises is found
// out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/platform.h"

namespace zorvan::support {

using Octets = std::vector<std::byte>;

Octets OctetsOf(std::initializer_list<int> octets);
// The binary SID S-1-5-<numbers>, and one of the domain S-1-5-21-1-2-3.
Octets NtSid(std::initializer_list<std::uint32_t> numbers);
Octets DomainSid(std::uint32_t relativeId);

// Values as a column holds them; the texts and octets are borrowed.
inline platform::Value TextValue(std::u16string_view text) { return {text, {}, 0, {}}; }
inline platform::Value NumberValue(std::int64_t number) { return {{}, {}, number, {}}; }
inline platform::Value OctetsValue(const Octets& octets) { return {{}, octets, 0, {}}; }

// An object of the directory. The functions add an attribute and return the object, to be chained.
class ScriptedObject {
 public:
  explicit ScriptedObject(std::u16string_view distinguishedName);

  ScriptedObject& Texts(std::u16string_view name, const std::vector<std::u16string>& values);
  ScriptedObject& Number(std::u16string_view name, std::int64_t value);
  ScriptedObject& Binary(std::u16string_view name, const Octets& value);

  const std::u16string& distinguishedName() const { return distinguishedName_; }
  const platform::AttributeSet& attributes() const { return attributes_; }

 private:
  std::u16string distinguishedName_;
  platform::AttributeSet attributes_;
};

// The calls that can fail, with what they are about: the path of an open or a read, the filter of a
// search, the attribute of a column, the user of a setting. A read of many objects is one call for
// each path.
enum class Call { kAny, kOpen, kRead, kQuerySearch, kPrefer, kExecute, kNextRow, kColumn, kConfig };

struct RecordedBind {
  std::u16string path;
  std::optional<std::u16string> userName;
  std::optional<std::u16string> password;
  std::uint32_t flags;
};

struct RecordedSearch {
  std::u16string filter;
  std::vector<std::u16string> attributes;
  std::vector<std::pair<platform::SearchPreferenceId, std::uint32_t>> preferences;
};

// Everything that is asked and answered; shared by the platform's parts and what they open.
class Script {
 public:
  // Calls of this kind fail, where a subject is given only those about it; with nth (from 1) only
  // that one of them. A setting fails with the lower half of the code.
  void Fail(Call call, platform::HResult code, std::u16string_view subject = {},
            std::size_t nth = 0);
  ScriptedObject& Add(std::u16string_view distinguishedName);

  // How a server answers binds; one that is not named here answers.
  std::map<std::u16string, platform::HResult> servers;
  // What a search with a filter finds; with another it finds all objects under its root.
  std::map<std::u16string, std::vector<std::u16string>> answers;
  std::map<std::u16string, platform::TerminalServicesValue> userConfig;  // whatever is asked for
  std::map<std::uint32_t, std::u16string> messages;
  platform::ExtendedError extendedError;
  platform::Win32Code noMessage = 317;  // why a code has no text
  std::size_t rowsReceivedAhead = 1000;

  platform::CallTerms terms;                   // as the call began
  platform::CallObserver* observer = nullptr;  // of the call that began last
  std::vector<RecordedBind> binds;             // also one for each path of ReadObjects
  std::vector<RecordedSearch> searches;
  std::vector<std::vector<std::u16string>> batches;  // the paths of each ReadObjects
  std::size_t fallibleCalls = 0;
  std::size_t openInterfaces = 0;  // opened and not let go of

  // For the platform's parts. Null in object means a container that only stands in the names of
  // others.
  platform::HResult Try(Call call, std::u16string_view subject);
  platform::HResult Open(Call call, std::u16string_view path,
                         const platform::Credentials& credentials, std::uint32_t flags,
                         const ScriptedObject*& object);
  std::vector<const ScriptedObject*> Find(std::u16string_view path, std::u16string_view filter);

 private:
  struct Failure {
    Call call;
    std::u16string subject;
    std::size_t nth;
    platform::HResult code;
    std::size_t seen = 0;
  };

  std::vector<Failure> failures_;
  std::deque<ScriptedObject> objects_;
};

class ScriptedPlatform : public platform::Platform {
 public:
  explicit ScriptedPlatform(Script& script);
  ~ScriptedPlatform() override;

  platform::HResult InitializeApartment(platform::Apartment) override { return platform::kOk; }
  void UninitializeApartment() override {}
  void BeginCall(const platform::CallTerms& terms, platform::CallObserver& observer) override {
    script_.terms = terms;
    script_.observer = &observer;
  }
  platform::Directory& directory() override { return *directory_; }
  platform::Accounts& accounts() override { return *accounts_; }
  platform::System& system() override { return *system_; }

 private:
  Script& script_;
  std::unique_ptr<platform::Directory> directory_;
  std::unique_ptr<platform::Accounts> accounts_;
  std::unique_ptr<platform::System> system_;
};

}  // namespace zorvan::support
