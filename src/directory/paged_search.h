// The one search pattern behind reports and searches: set the preferences, execute, turn each row
// into a Row, hand it over. Rows are never gathered.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "call/native_handler.h"
#include "platform/directory.h"

namespace zorvan::directory {

inline constexpr std::uint32_t kPageSize = 1000;

struct SearchRequest {
  std::u16string_view filter;
  std::span<const std::u16string> attributes;  // as Java named them, in its order
  platform::SearchScope scope = platform::SearchScope::kSubtree;
  bool tombstones = false;
};

// Searches and reports treat the listener's first answer differently: a search delivers its first
// row whatever the listener says before it, a report delivers nothing to a listener that has enough
// from the start.
enum class FirstAnswer { kDiscarded, kHonoured };

// Decides from the columns whether the current row is handed over. Its attributes are asked for
// besides those of the request.
struct RowSelection {
  std::vector<std::u16string_view> attributes;
  std::function<bool(platform::DirectorySearch&)> keep;
};

struct SearchOutcome {
  // The failure of ExecuteSearch or GetNextRow that ended the search. Success also when the caller
  // ended it.
  platform::HResult result = 0;
  std::uint32_t rows = 0;  // handed over
};

// Scope and page size as every search sets them; tombstones are asked for only where deleted
// objects are wanted.
platform::HResult SetStandardPreferences(platform::DirectorySearch& search,
                                         platform::SearchScope scope, bool tombstones);

// Runs a search under an opened root and streams its rows to the listener.
SearchOutcome StreamRows(call::NativeHandler& handler, platform::DirectorySearch& search,
                         const SearchRequest& request, FirstAnswer firstAnswer,
                         call::RowListener& listener, const RowSelection& selection = {});

}  // namespace zorvan::directory
