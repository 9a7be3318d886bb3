#include "platform/windows/adsi_search.h"

#include <algorithm>
#include <string>

#include "platform/windows/ads_values.h"
#include "platform/windows/native_text.h"

namespace zorvan::platform::windows {
namespace {

// A server may find nothing for a page and yet go on; for ever it may not.
constexpr int kMaxPagesWithoutRows = 100;

ADS_SEARCHPREF_INFO ToNative(const SearchPreference& preference) {
  ADS_SEARCHPREF_INFO info{};
  info.dwSearchPref = static_cast<ADS_SEARCHPREF>(preference.id);
  if (preference.id == SearchPreferenceId::kTombstone) {
    info.vValue.dwType = ADSTYPE_BOOLEAN;
    info.vValue.Boolean = preference.value;
  } else {
    info.vValue.dwType = ADSTYPE_INTEGER;
    info.vValue.Integer = preference.value;
  }
  return info;
}

// Rows are stepped over once. Left to itself the interface may keep each of them until the search
// is closed, which for a large domain is all the memory that there is.
ADS_SEARCHPREF_INFO KeepsNoRows() {
  ADS_SEARCHPREF_INFO info{};
  info.dwSearchPref = ADS_SEARCHPREF_CACHE_RESULTS;
  info.vValue.dwType = ADSTYPE_BOOLEAN;
  info.vValue.Boolean = FALSE;
  return info;
}

// How long the client waits for an answer; without it, for ever.
ADS_SEARCHPREF_INFO Within(std::uint32_t seconds) {
  ADS_SEARCHPREF_INFO info{};
  info.dwSearchPref = ADS_SEARCHPREF_TIMEOUT;
  info.vValue.dwType = ADSTYPE_INTEGER;
  info.vValue.Integer = seconds;
  return info;
}

// A server may end a page without rows and yet have more: the interface then reports the end with
// this as its last error, and wants to be asked again.
bool HasMoreRows() {
  DWORD code = ERROR_SUCCESS;
  wchar_t text[1] = {};
  wchar_t provider[1] = {};
  if (FAILED(ADsGetLastError(&code, text, 1, provider, 1)) || code != ERROR_MORE_DATA) return false;
  ADsSetLastError(ERROR_SUCCESS, L"", L"");
  return true;
}

}  // namespace

HResult AdsiSearch::SetSearchPreference(std::span<const SearchPreference> preferences) {
  std::vector<ADS_SEARCHPREF_INFO> infos;
  for (const SearchPreference& preference : preferences) infos.push_back(ToNative(preference));
  const std::size_t wanted = infos.size();
  infos.push_back(KeepsNoRows());
  if (limits_.idleSeconds() != 0) infos.push_back(Within(limits_.idleSeconds()));
  const HRESULT result =
      search_->SetSearchPreference(infos.data(), static_cast<DWORD>(infos.size()));
  if (FAILED(result)) return result;
  // Refusing one of them is a success to the interface, but the search would be another than the
  // one that was asked for.
  infos.resize(wanted);
  const bool refused = std::any_of(infos.begin(), infos.end(), [](const auto& info) {
    return info.dwStatus != ADS_STATUS_S_OK;
  });
  return refused ? E_ADS_BAD_PARAMETER : S_OK;
}

HResult AdsiSearch::ExecuteSearch(std::u16string_view filter,
                                  std::span<const std::u16string_view> attributes) {
  Close();
  ADsSetLastError(ERROR_SUCCESS, L"", L"");
  if (!IsTellable(filter)) return kInvalidFilter;
  NativeText nativeFilter(filter);
  std::deque<NativeText> names;
  std::vector<wchar_t*> pointers;
  for (std::u16string_view attribute : attributes) {
    if (!IsTellable(attribute)) continue;  // no object has an attribute of such a name
    pointers.push_back(names.emplace_back(attribute).get());
  }
  return search_->ExecuteSearch(nativeFilter.get(), pointers.data(),
                                static_cast<DWORD>(pointers.size()), &handle_);
}

HResult AdsiSearch::GetNextRow() {
  FreeColumns();
  if (handle_ == nullptr) return kUnexpected;
  for (int pages = 0; pages < kMaxPagesWithoutRows; ++pages) {
    const HResult call = limits_.Check();
    if (Failed(call)) return call;
    const HRESULT result = search_->GetNextRow(handle_);
    if (result != S_ADS_NOMORE_ROWS || !HasMoreRows()) return result;
  }
  return HResultFromWin32(ERROR_DS_CLIENT_LOOP);
}

HResult AdsiSearch::GetColumn(std::u16string_view attribute, platform::Column& column) {
  column = {};
  if (handle_ == nullptr || !IsTellable(attribute)) return kColumnNotSet;
  if (columnsHeld_ == columns_.size()) columns_.emplace_back();
  HeldColumn& held = columns_[columnsHeld_];
  held.column = {};
  NativeText name(attribute);
  const HRESULT result = search_->GetColumn(handle_, name.get(), &held.column);
  if (FAILED(result)) return result;
  ++columnsHeld_;
  column = ReadAdsValues(held.column.dwADsType, held.column.pADsValues, held.column.dwNumValues,
                         held.values);
  return result;
}

// The interface shows the current row only.
void AdsiSearch::ForEachReceivedText(std::u16string_view,
                                     const std::function<void(std::u16string_view)>&) {}

void AdsiSearch::FreeColumns() {
  for (std::size_t i = 0; i < columnsHeld_; ++i) search_->FreeColumn(&columns_[i].column);
  columnsHeld_ = 0;
}

void AdsiSearch::Close() {
  FreeColumns();
  if (handle_ != nullptr) search_->CloseSearchHandle(std::exchange(handle_, nullptr));
}

}  // namespace zorvan::platform::windows
