// A platform that answers from memory: objects with attributes under distinguished names, the
// settings of users, a clock, message texts. It records what it was asked, and can fail any call in
// any way that a real system would.
//
// What a search hands out is destroyed when the search steps on, and ReadObjects answers in the
// reverse of the order asked, so that a caller who relies on more than the port promises is found
// out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
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
platform::Value TextValue(std::u16string_view text);
platform::Value NumberValue(std::int64_t number);
platform::Value OctetsValue(const Octets& octets);
platform::Value TimeValue(const platform::UtcTime& time);

// An object of the directory. The functions add an attribute and return the object, to be chained.
class ScriptedObject {
 public:
  explicit ScriptedObject(std::u16string_view distinguishedName);

  ScriptedObject& Texts(std::u16string_view name, const std::vector<std::u16string>& values,
                        platform::AdsType type = platform::AdsType::kCaseIgnoreString);
  ScriptedObject& Names(std::u16string_view name, const std::vector<std::u16string>& values);
  ScriptedObject& Number(std::u16string_view name, std::int64_t value,
                         platform::AdsType type = platform::AdsType::kInteger);
  ScriptedObject& Binary(std::u16string_view name, const Octets& value,
                         platform::AdsType type = platform::AdsType::kOctetString);

  const std::u16string& distinguishedName() const { return distinguishedName_; }
  const platform::Column* Find(std::u16string_view name) const { return attributes_.Find(name); }

 private:
  std::u16string distinguishedName_;
  platform::AttributeSet attributes_;
};

// The calls that can fail. An object read through ReadObjects counts as one call for each path.
enum class Call {
  kOpenSearch,
  kOpenObject,
  kOpenPropertyObject,
  kReadObject,
  kGetObjectAttributes,
  kGet,
  kQueryDirectorySearch,
  kSetSearchPreference,
  kExecuteSearch,
  kGetNextRow,
  kGetColumn,
  kQueryUserConfig,
};

struct RecordedBind {
  std::u16string path;
  std::optional<std::u16string> userName;
  std::optional<std::u16string> password;
  std::uint32_t flags;
};

// A QueryUserConfig.
struct RecordedUserQuery {
  std::u16string serverName;
  std::u16string namingContext;
  std::optional<std::u16string> asUser;
  std::optional<std::u16string> password;
  std::u16string userName;
};

struct RecordedSearch {
  std::u16string path;
  std::u16string filter;
  std::vector<std::u16string> attributes;
  std::vector<std::pair<platform::SearchPreferenceId, std::uint32_t>> preferences;
};

// Everything that is asked and answered; shared by the platform's parts and what they open.
class Script {
 public:
  // The call of this kind that fails, and how. With a subject only calls about it count: the path
  // of an open or read, the filter of a search, the attribute of a column, the user of a setting.
  // nth counts from 1; 0 is every one. A QueryUserConfig fails with the code's lower half.
  void Fail(Call call, platform::HResult code, std::u16string_view subject = {},
            std::size_t nth = 0);
  // The nth fallible call of all, whatever it is.
  void FailNth(std::size_t nth, platform::HResult code);

  // How a server answers binds; one that is not named here answers.
  void SetServer(std::u16string_view name, platform::HResult answer);

  ScriptedObject& Add(std::u16string_view distinguishedName);
  // A search with this filter finds these objects, and no others. Searches with other filters find
  // all objects under their root.
  void Answer(std::u16string_view filter, std::vector<std::u16string> distinguishedNames);

  void SetUserConfig(std::u16string_view userName, platform::TerminalServicesClass setting,
                     platform::TerminalServicesValue value);

  // What was asked.
  std::vector<RecordedBind> binds;  // by the Open calls, and one for each path of ReadObjects
  std::vector<RecordedSearch> searches;
  std::vector<std::vector<std::u16string>> batches;  // the paths of each ReadObjects
  std::vector<RecordedUserQuery> userQueries;
  std::size_t fallibleCalls = 0;
  std::size_t openInterfaces = 0;  // opened and not let go of

  // What is answered besides.
  std::size_t rowsReceivedAhead = 1000;
  platform::ExtendedError extendedError;
  std::int64_t now = 0;  // 100-nanosecond intervals since 1601
  std::map<std::uint32_t, std::u16string> messages;
  platform::Win32Code lastError = 0;

  // For the platform's parts: keeps a bind.
  void Record(std::u16string_view path, const platform::Credentials& credentials,
              std::uint32_t flags);
  // The scripted failure of a call, or success.
  platform::HResult Try(Call call, std::u16string_view subject);
  // The answer to opening a path, as if the platform were asked.
  platform::HResult Resolve(std::u16string_view path, std::uint32_t flags,
                            const ScriptedObject*& object);
  std::vector<const ScriptedObject*> Find(std::u16string_view path, std::u16string_view filter);
  const platform::TerminalServicesValue* UserConfig(std::u16string_view userName,
                                                    platform::TerminalServicesClass setting) const;

 private:
  struct Failure {
    std::optional<Call> call;
    std::u16string subject;
    std::size_t nth;
    platform::HResult code;
    std::size_t seen = 0;
  };
  const ScriptedObject* FindByName(std::u16string_view reference) const;
  bool IsContainer(std::u16string_view distinguishedName) const;

  std::vector<Failure> failures_;
  std::map<std::u16string, platform::HResult> servers_;
  std::deque<ScriptedObject> objects_;
  std::map<std::u16string, std::vector<std::u16string>> answers_;
  std::map<std::pair<std::u16string, platform::TerminalServicesClass>,
           platform::TerminalServicesValue>
      userConfigs_;
};

class ScriptedPlatform : public platform::Platform {
 public:
  explicit ScriptedPlatform(Script& script);
  ~ScriptedPlatform() override;

  platform::HResult InitializeApartment(platform::Apartment apartment) override;
  void UninitializeApartment() override;
  platform::Directory& directory() override { return *directory_; }
  platform::Accounts& accounts() override { return *accounts_; }
  platform::System& system() override { return *system_; }

 private:
  std::unique_ptr<platform::Directory> directory_;
  std::unique_ptr<platform::Accounts> accounts_;
  std::unique_ptr<platform::System> system_;
};

}  // namespace zorvan::support
