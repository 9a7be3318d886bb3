#include "platform/windows/adsi_search.h"

#include <algorithm>
#include <string>

#include "platform/ranged_name.h"
#include "platform/windows/ads_error.h"
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
  error_ = {};
  ADsSetLastError(ERROR_SUCCESS, L"", L"");
  if (!IsTellable(filter)) return kInvalidFilter;
  NativeText nativeFilter(filter);
  std::deque<NativeText> names;
  std::vector<wchar_t*> pointers;
  for (std::u16string_view attribute : attributes) {
    if (!IsTellable(attribute)) continue;  // no object has an attribute of such a name
    pointers.push_back(names.emplace_back(attribute).get());
  }
  const HRESULT result = search_->ExecuteSearch(nativeFilter.get(), pointers.data(),
                                                static_cast<DWORD>(pointers.size()), &handle_);
  if (FAILED(result)) error_ = TakeExtendedError();
  return result;
}

HResult AdsiSearch::GetNextRow() {
  FreeColumns();
  if (handle_ == nullptr) return kUnexpected;
  error_ = {};
  for (int pages = 0; pages < kMaxPagesWithoutRows; ++pages) {
    const HResult call = limits_.Check();
    if (Failed(call)) return call;
    ADsSetLastError(ERROR_SUCCESS, L"", L"");  // of whatever came between two rows
    const HRESULT result = search_->GetNextRow(handle_);
    if (FAILED(result)) error_ = TakeExtendedError();
    if (result != S_ADS_NOMORE_ROWS || !HasMoreRows()) return result;
  }
  return HResultFromWin32(ERROR_DS_CLIENT_LOOP);
}

HResult AdsiSearch::GetColumn(std::u16string_view attribute, platform::Column& column) {
  column = {};
  if (handle_ == nullptr || !IsTellable(attribute)) return kColumnNotSet;
  const HResult result = ReadColumn(attribute, column);
  if (result != kColumnNotSet) return result;
  for (const std::u16string& piece : Pieces()) {
    if (IsPieceOf(piece, attribute)) return ReadColumn(piece, column);
  }
  return kColumnNotSet;
}

// A column without values is not set: it stands for a list that comes under a name with a range.
HResult AdsiSearch::ReadColumn(std::u16string_view name, platform::Column& column) {
  if (columnsHeld_ == columns_.size()) columns_.emplace_back();
  HeldColumn& held = columns_[columnsHeld_];
  held.column = {};
  NativeText nativeName(name);
  const HRESULT result = search_->GetColumn(handle_, nativeName.get(), &held.column);
  if (FAILED(result)) return result;
  ++columnsHeld_;
  column = ReadAdsValues(held.column.dwADsType, held.column.pADsValues, held.column.dwNumValues,
                         held.values);
  if (column.values.empty()) return kColumnNotSet;
  if (const auto range = RangeOf(name)) {
    column.ranged = true;
    column.cut = !range->last;
  }
  return result;
}

const std::vector<std::u16string>& AdsiSearch::Pieces() {
  if (piecesKnown_) return pieces_;
  piecesKnown_ = true;
  AdsMemory<wchar_t> name;
  while (search_->GetNextColumnName(handle_, name.Out()) == S_OK && name) {
    if (RangeOf(TextView(name.get()))) pieces_.emplace_back(TextView(name.get()));
  }
  return pieces_;
}

// The interface shows the current row only.
void AdsiSearch::ForEachReceivedText(std::u16string_view,
                                     const std::function<void(std::u16string_view)>&) {}

void AdsiSearch::FreeColumns() {
  for (std::size_t i = 0; i < columnsHeld_; ++i) search_->FreeColumn(&columns_[i].column);
  columnsHeld_ = 0;
  pieces_.clear();
  piecesKnown_ = false;
}

void AdsiSearch::Close() {
  FreeColumns();
  if (handle_ != nullptr) search_->CloseSearchHandle(std::exchange(handle_, nullptr));
}

}  // namespace zorvan::platform::windows
