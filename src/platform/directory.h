// What the library asks of the operating system's directory interface: opening objects by path,
// searching, reading.
//
// Every operation returns an HResult exactly as the platform would. Objects are owned by
// unique_ptr; letting go of one closes it. All of them belong to the call (and thread) whose
// Platform made them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "platform/value.h"

namespace zorvan::platform {

// Who asks. An absent user name means the identity of the process.
struct Credentials {
  std::optional<std::u16string_view> userName;
  std::optional<std::u16string_view> password;
};

// ADS_AUTHENTICATION_ENUM bits.
inline constexpr std::uint32_t kSecureAuthentication = 0x1;
inline constexpr std::uint32_t kUseEncryption = 0x2;
inline constexpr std::uint32_t kFastBind = 0x20;

// ADS_SEARCHPREF_ENUM and its values; the numbers are the platform's.
enum class SearchPreferenceId : std::uint32_t { kSearchScope = 5, kPageSize = 7, kTombstone = 13 };
enum class SearchScope : std::uint32_t { kBase = 0, kOneLevel = 1, kSubtree = 2 };

struct SearchPreference {
  SearchPreferenceId id;
  std::uint32_t value;  // a SearchScope, a row count, or 0 and 1 for false and true
};

// What the platform had to say of a failure in its own words (ADsGetLastError), for the log. Taken
// where the failure happens, before anything else is called.
struct ExtendedError {
  Win32Code code = 0;
  std::u16string text;
  // Where the directory refers to instead of answering, as URLs; given by adapters that follow
  // referrals themselves.
  std::vector<std::u16string> referrals = {};
};

// One search under the object that was opened (IDirectorySearch). Executing again ends the search
// before.
class DirectorySearch {
 public:
  virtual ~DirectorySearch() = default;

  virtual HResult SetSearchPreference(std::span<const SearchPreference> preferences) = 0;

  // Starts the search. Attribute names are asked for as they are given; the object's own name can
  // always be read as the column "ADsPath". A malformed filter is kInvalidFilter here or a failure
  // of the first GetNextRow.
  virtual HResult ExecuteSearch(std::u16string_view filter,
                                std::span<const std::u16string_view> attributes) = 0;

  // Steps to the next row: kOk, kNoMoreRows, or the failure that ended the search.
  virtual HResult GetNextRow() = 0;

  // The values of the current row's attribute; kColumnNotSet when the row has none. Where the
  // server delivers only a piece of them, under a name with a range, it is found by the plain name,
  // and the column says so. The views live until the next GetNextRow.
  virtual HResult GetColumn(std::u16string_view attribute, Column& column) = 0;

  // Calls back with every text value of the attribute in the current row and in rows that have
  // arrived but were not stepped to yet, so that what they refer to can be asked for early. An
  // adapter that holds no rows ahead does nothing.
  virtual void ForEachReceivedText(std::u16string_view attribute,
                                   const std::function<void(std::u16string_view)>& visit) = 0;

  // What was said of the latest failure of this search; empty when there was none or nothing was
  // said.
  virtual ExtendedError LastError() { return {}; }
};

// An object whose attributes are read with one request (IDirectoryObject).
class DirectoryObject {
 public:
  virtual ~DirectoryObject() = default;

  // Reads the named attributes; one that the object does not have is simply missing from the set.
  // Replaces the set.
  virtual HResult GetObjectAttributes(std::span<const std::u16string_view> names,
                                      AttributeSet& attributes) = 0;
};

// An object behind its property cache (IADs).
class PropertyObject {
 public:
  virtual ~PropertyObject() = default;

  // Reads one attribute through the cache; kPropertyNotFound when the object has none. Replaces the
  // set.
  virtual HResult Get(std::u16string_view attribute, AttributeSet& value) = 0;

  // The same object as a search root (QueryInterface for IDirectorySearch).
  virtual HResult QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) = 0;
};

// Opens objects by path (ADsOpenObject). Paths: "LDAP://server[:port]/DN",
// "LDAP://server/<GUID=...>", "<SID=...>",
// "<WKGUID=guid,DN>", "LDAP://server/RootDSE", and the same with "GC://". Flags are the bits above.
class Directory {
 public:
  virtual ~Directory() = default;

  virtual HResult OpenSearch(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<DirectorySearch>& search) = 0;
  virtual HResult OpenObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t flags, std::unique_ptr<DirectoryObject>& object) = 0;
  virtual HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                                     std::uint32_t flags,
                                     std::unique_ptr<PropertyObject>& object) = 0;

  // Opens each path and reads the named attributes of each, in whatever way is fastest; visit is
  // called once per path, in any order, with the result of opening or reading it and what was said
  // of a failure. The set may be moved from.
  virtual void ReadObjects(
      std::span<const std::u16string> paths, const Credentials& credentials, std::uint32_t flags,
      std::span<const std::u16string_view> attributes,
      const std::function<void(std::size_t index, HResult result, AttributeSet& set,
                               const ExtendedError& error)>& visit) = 0;

  // What was said of the latest failure to open something; empty when the latest open succeeded.
  virtual ExtendedError LastError() = 0;
};

}  // namespace zorvan::platform
