// IDirectorySearch over LDAP.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/directory.h"
#include "platform/posix/directory_context.h"
#include "platform/posix/search_request.h"
#include "platform/posix/value_decoding.h"

namespace zorvan::platform::posix {

// The names that can be asked for. A server would take the rest for a mistake of protocol, or for
// another name.
bool IsAttributeName(std::string_view name);

class LdapSearch final : public DirectorySearch {
 public:
  explicit LdapSearch(LdapTarget target);

  HResult SetSearchPreference(std::span<const SearchPreference> preferences) override;
  HResult ExecuteSearch(std::u16string_view filter,
                        std::span<const std::u16string_view> attributes) override;
  HResult GetNextRow() override;
  HResult GetColumn(std::u16string_view attribute, Column& column) override;
  void ForEachReceivedText(std::u16string_view attribute,
                           const std::function<void(std::u16string_view)>& visit) override;
  ExtendedError LastError() override { return error_; }

 private:
  enum class Source { kEntry, kEntryName, kPath };

  // A column that was asked for, and what has been learnt of it so far.
  struct Requested {
    std::u16string name;
    std::string attribute;
    Source source = Source::kEntry;
    std::optional<AdsType> type;  // once it is known for good
    std::size_t place = 0;        // where the row before had it
  };

  HResult Start();
  HResult FollowReferral();
  Requested& RequestedColumn(std::u16string_view name);
  AdsType TypeOf(Requested& requested);
  HResult GetNameColumn(const Requested& requested, Column& column);

  LdapTarget target_;
  SearchRequest preferences_;
  SearchRequest request_;
  std::unique_ptr<PagedSearch> search_;
  ExtendedError error_;
  bool hadRows_ = false;
  bool refused_ = false;  // the referral that it was answered by was not followed
  bool onRow_ = false;
  EntryDecoder row_;
  EntryDecoder rowAhead_;
  bool nameRequested_ = false;
  std::vector<Requested> requested_;
  std::size_t lastRequested_ = 0;
  std::u16string name_;
  std::u16string path_;
  Value nameValue_;
  Value pathValue_;
};

}  // namespace zorvan::platform::posix
