#include "directory/paged_search.h"

#include <array>

#include "call/row.h"
#include "directory/bind.h"
#include "directory/row_builder.h"
#include "platform/text.h"

namespace zorvan::directory {
namespace {

using call::LogMessage;
using call::LogMessageW;
using call::NativeHandler;
using platform::Bits;
using platform::DirectorySearch;
using platform::Failed;
using platform::HResult;
using platform::SearchPreference;
using platform::SearchPreferenceId;
using platform::Succeeded;

constexpr std::u16string_view kDistinguishedName = u"distinguishedName";
constexpr std::uint32_t kRowsPerProgressLine = 50;

// What the search asks for: the row's attributes, those of the selection, and the name that the log
// tells.
std::vector<std::u16string_view> AttributesToRequest(const RowBuilder& builder,
                                                     const RowSelection& selection) {
  std::vector<std::u16string_view> names = builder.requested();
  const auto add = [&](std::u16string_view name) {
    for (std::u16string_view present : names) {
      if (platform::EqualsIgnoringCase(present, name)) return;
    }
    names.push_back(name);
  };
  add(kDistinguishedName);
  for (std::u16string_view name : selection.attributes) add(name);
  return names;
}

void LogRowName(NativeHandler& handler, DirectorySearch& search) {
  platform::Column column;
  if (Failed(search.GetColumn(kDistinguishedName, column)) || column.values.empty()) return;
  LogMessageW(handler, call::kDetail, "Getting the Properties for the DN : %ws ",
              column.values.front().text);
}

void LogProgress(NativeHandler& handler, std::uint32_t rows) {
  if (rows % kRowsPerProgressLine == 0) {
    LogMessage(handler, call::kDetail, "ObjectCount:%d\t", rows);
  }
}

void TellFailure(NativeHandler& handler, std::u16string_view filter, HResult result,
                 const platform::ExtendedError& error) {
  LogWhatWasSaid(handler, error);
  NotifyFailure(handler, platform::NoticeKind::kSearchFailed, filter, result, error);
}

}  // namespace

HResult SetStandardPreferences(DirectorySearch& search, platform::SearchScope scope,
                               bool tombstones) {
  const std::array<SearchPreference, 3> preferences = {{
      {SearchPreferenceId::kSearchScope, static_cast<std::uint32_t>(scope)},
      {SearchPreferenceId::kPageSize, kPageSize},
      {SearchPreferenceId::kTombstone, 1},
  }};
  return search.SetSearchPreference(
      std::span<const SearchPreference>(preferences).first(tombstones ? 3 : 2));
}

SearchOutcome StreamRows(NativeHandler& handler, DirectorySearch& search,
                         const SearchRequest& request, FirstAnswer firstAnswer,
                         call::RowListener& listener, const RowSelection& selection) {
  // An empty list still gives every object its row, with the name alone.
  static const std::array<std::u16string, 1> kNameOnly = {std::u16string(kDistinguishedName)};
  RowBuilder builder(handler, request.attributes.empty()
                                  ? std::span<const std::u16string>(kNameOnly)
                                  : request.attributes);
  SearchOutcome outcome;
  outcome.result = SetStandardPreferences(search, request.scope, request.tombstones);
  if (Succeeded(outcome.result)) {
    outcome.result = search.ExecuteSearch(request.filter, AttributesToRequest(builder, selection));
  }
  if (call::EndedByCaller(handler, outcome.result)) return {};
  if (Failed(outcome.result)) {
    LogMessageW(handler, call::kMilestone, "The search failed, filter: %ws, error code: %x",
                request.filter, Bits(outcome.result));
    TellFailure(handler, request.filter, outcome.result, search.LastError());
    return outcome;
  }

  call::Row row;
  bool completed = listener.IsCompleted() && firstAnswer == FirstAnswer::kHonoured;
  while (!completed) {
    outcome.result = search.GetNextRow();
    if (outcome.result != platform::kOk) break;
    const bool kept = !selection.keep || selection.keep(search);
    if (kept) {
      LogRowName(handler, search);
      builder.getJNIColumnValues(search, row);
    }
    // Drop the row in hand when the caller has cancelled: its linked objects may be missing.
    if (call::IsCancelled(handler)) break;
    if (kept) {
      listener.AddRow(row);
      LogProgress(handler, ++outcome.rows);
    }
    completed = listener.IsCompleted();
  }
  if (call::EndedByCaller(handler, outcome.result)) outcome.result = platform::kOk;
  if (Failed(outcome.result)) {
    LogMessage(handler, call::kMilestone, "The search broke off after %u rows, error code: %x",
               outcome.rows, Bits(outcome.result));
    TellFailure(handler, request.filter, outcome.result, search.LastError());
  }
  LogMessage(handler, call::kMilestone, "Total ObjectCount:%d\t", outcome.rows);
  return outcome;
}

}  // namespace zorvan::directory
