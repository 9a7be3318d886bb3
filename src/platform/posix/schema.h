// How values are typed: by the attribute's definition in the directory's schema.
//
// The attributes that reports use are known without asking. Any other sends for the schema of the
// forest, which is read whole and kept for the life of the process, under the name of the forest
// and of who proved to belong to it. No lock is held while it is read: a server that is slow with
// it costs the calls that talk to it some seconds, and no other call anything.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/directory.h"
#include "platform/posix/call_conditions.h"
#include "platform/posix/ldap_connection.h"
#include "platform/result.h"
#include "platform/value.h"

namespace zorvan::platform::posix {

// Attribute names in lower case.
using SchemaTypes = std::unordered_map<std::string, AdsType>;

// The type of values of an attributeSyntax; the object class (oMObjectClass) tells names from names
// with something attached.
AdsType TypeOfSyntax(std::string_view attributeSyntax, std::span<const std::byte> omObjectClass);

// The type of a well-known attribute, nothing for any other. Names are compared ignoring case.
std::optional<AdsType> BuiltInType(std::string_view attribute);

// The built-in table, for comparison with a directory.
struct BuiltInAttribute {
  std::string_view name;
  AdsType type;
};
std::span<const BuiltInAttribute> BuiltInAttributes();

// Reads every attribute definition of the server's forest. Fails when that is not done by the
// deadline; the connection stays good for other requests.
HResult ReadSchema(LdapConnection& connection, Deadline deadline, SchemaTypes& types,
                   ExtendedError& error);

// The schema of one forest, as it was last read whole. Any thread may ask.
class ForestSchema {
 public:
  using Types = std::shared_ptr<const SchemaTypes>;
  using Clock = std::chrono::steady_clock;

  // A schema younger than this is not read again for the sake of an attribute that it does not
  // have.
  static constexpr std::chrono::minutes kMinimumAge{5};
  // A server that failed to give its schema is not asked for it again before this has passed.
  static constexpr std::chrono::seconds kRetryAfter{30};
  // How long the reading of another thread is waited for before this one reads for itself.
  static constexpr std::chrono::seconds kPatience{2};

  // Reads the schema from a server; called without any lock. kCancelled when the call had no time
  // left for it, which says nothing of the server.
  using Reader = std::function<HResult(SchemaTypes& types)>;

  struct View {
    Types types;        // may be null
    bool whole = true;  // false: the server has not given a schema that is fit to be kept
  };

  // The types, with the needed attribute (in lower case) if the forest has it. Reads them by way of
  // the reader where they are not known. A schema with fewer attributes than the one that is kept,
  // or with none, counts as not given.
  View Find(const std::string& needed, const std::string& server, const Reader& read,
            Patience patience);

 private:
  bool IsDue(const std::string& server, const std::string& needed, Clock::time_point now) const;
  bool IsYoung(Clock::time_point now) const;
  // False when what was read is not fit to be kept.
  bool Keep(HResult result, SchemaTypes types, const std::string& server);

  std::mutex mutex_;
  std::condition_variable changed_;
  Types types_;
  Clock::time_point readAt_;
  int readers_ = 0;
  std::map<std::string, Clock::time_point> failedAt_;  // by server
};

// The schemas as one call sees them; used by the thread of the call.
class CallSchemas {
 public:
  // At most this long a call waits for a schema.
  static constexpr std::chrono::seconds kTimeLimit{10};

  // The conditions may change until the first question; they outlive this.
  explicit CallSchemas(const CallConditions& conditions) : conditions_(conditions) {}

  struct Typed {
    AdsType type;
    bool settled;  // false: asked again later, the answer may be another
  };

  // The type of an attribute that the server has returned; options of its name do not count. What
  // neither the table nor the schema knows is kProviderSpecific. So is everything unknown while the
  // schema cannot be read, which the caller of the call is told once for each attribute.
  Typed TypeOf(LdapConnection& connection, std::string_view attribute);

 private:
  ForestSchema& ForestOf(const LdapConnection& connection);
  void Notify(NoticeKind kind, const std::string& server, std::u16string_view detail);

  const CallConditions& conditions_;
  std::map<std::string, ForestSchema> own_;  // of servers that nobody has vouched for
  std::set<std::string> told_;
};

}  // namespace zorvan::platform::posix
