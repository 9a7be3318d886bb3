// What stands behind the distinguished names in a row: the common name and GUID of groups, members,
// managers and the like.
//
// Objects are asked for in batches and remembered within the call, because a page of users shares
// most of its groups and managers, and a group may have thousands of members.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "call/native_handler.h"
#include "platform/text.h"

namespace zorvan::directory {

struct LinkedObject {
  platform::HResult result = platform::kOk;  // of reading it; a failure leaves the rest absent
  std::optional<std::u16string> distinguishedName;
  std::optional<std::u16string> commonName;
  std::optional<std::u16string> guid;  // braced
  platform::ExtendedError error = {};  // what was said of the failure
};

// What is read of an object that a row tells of by name.
inline constexpr std::array<std::u16string_view, 3> kLinkedObjectAttributes = {
    u"distinguishedName", u"cn", u"objectGUID"};

class LinkedLookup {
 public:
  // Objects remembered at most; when more come, all are forgotten, so that memory stays flat over
  // any number of rows.
  static constexpr std::size_t kMaxRemembered = 10'000;
  // How many names are asked for with one batch besides those that a row needs at once.
  static constexpr std::size_t kMaxInBatch = 1'000;

  explicit LinkedLookup(call::NativeHandler& handler) : handler_(handler) {}

  // True for a name that lies in the connection's domain and is not remembered.
  bool Wants(std::u16string_view distinguishedName) const;

  // Forgets all objects unless so many more can be remembered. Asked before the names of a batch
  // are chosen, so that none that the row needs is forgotten by reading the others.
  void MakeRoomFor(std::size_t count);

  // Reads the objects behind these names, each of which Wants answers true for, with one batch.
  void Fetch(const std::vector<std::u16string>& names) { Read(names); }

  // The object behind a name; reads it when it is not remembered. Null when the name lies in
  // another domain. The reference lives until the next call.
  const LinkedObject* Find(std::u16string_view distinguishedName);

  // The object with this SID (binary), in the connection's domain.
  const LinkedObject& FindBySid(std::span<const std::byte> sid);

 private:
  // Reads the objects behind keys (distinguished names or "<SID=...>") and remembers them.
  void Read(const std::vector<std::u16string>& keys);
  bool InDomain(std::u16string_view distinguishedName) const;

  call::NativeHandler& handler_;
  std::unordered_map<std::u16string, LinkedObject, platform::FoldedHash, platform::FoldedEqual>
      known_;
};

}  // namespace zorvan::directory
