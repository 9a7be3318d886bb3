// The search over an interface that follows a script and counts what it is given back.
#include "platform/windows/adsi_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "unit/platform/windows/ads_script.h"

namespace zorvan::platform::windows {
namespace {

// Lives on the test's stack; what it handed out is in its counters.
class ScriptedSearch : public IDirectorySearch {
 public:
  std::vector<HRESULT> rows;       // of GetNextRow, one after the other; then the end
  std::size_t moreDataBefore = 0;  // the row before which the end comes with ERROR_MORE_DATA,
  int moreDataTimes = 1;           // that often
  DWORD rowError = ERROR_SUCCESS;  // the last error after a row that failed
  HRESULT executeResult = S_OK;
  HRESULT columnResult = S_OK;
  long references = 1;
  int openHandles = 0;
  int heldColumns = 0;
  std::vector<ADS_SEARCHPREF_INFO> preferences;
  std::optional<ADS_SEARCHPREF> refusedPreference;
  std::vector<std::wstring> columnNames;  // of the row; when there are some, no other is set
  std::wstring emptyColumn;
  int ends = 0;  // how often the end was told
  std::vector<std::wstring> asked;

  STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--references); }

  STDMETHODIMP SetSearchPreference(PADS_SEARCHPREF_INFO infos, DWORD count) override {
    preferences.assign(infos, infos + count);
    bool refuses = false;
    for (ADS_SEARCHPREF_INFO& info : std::span(infos, count)) {
      info.dwStatus =
          info.dwSearchPref == refusedPreference ? ADS_STATUS_INVALID_SEARCHPREF : ADS_STATUS_S_OK;
      refuses = refuses || info.dwStatus != ADS_STATUS_S_OK;
    }
    return refuses ? S_ADS_ERRORSOCCURRED : S_OK;
  }
  STDMETHODIMP ExecuteSearch(LPWSTR, LPWSTR* names, DWORD count,
                             PADS_SEARCH_HANDLE handle) override {
    asked.assign(names, names + count);
    if (FAILED(executeResult)) return executeResult;
    ++openHandles;
    *handle = this;
    return S_OK;
  }
  STDMETHODIMP GetNextRow(ADS_SEARCH_HANDLE) override {
    if (moreDataBefore != 0 && row_ == moreDataBefore) {
      if (--moreDataTimes == 0) moreDataBefore = 0;
      Script().lastError = ERROR_MORE_DATA;
      return S_ADS_NOMORE_ROWS;
    }
    if (row_ < rows.size()) {
      if (FAILED(rows[row_])) Script().lastError = rowError;
      return rows[row_++];
    }
    ++ends;
    return S_ADS_NOMORE_ROWS;
  }
  STDMETHODIMP GetColumn(ADS_SEARCH_HANDLE, LPWSTR name, PADS_SEARCH_COLUMN column) override {
    if (FAILED(columnResult)) return columnResult;
    const std::wstring wanted(name);
    const bool piece = std::ranges::find(columnNames, wanted) != columnNames.end();
    if (!columnNames.empty() && !piece && wanted != emptyColumn) return E_ADS_COLUMN_NOT_SET;
    ++heldColumns;
    if (wanted == emptyColumn) {
      *column = {nullptr, ADSTYPE_DN_STRING, nullptr, 0, nullptr};
      return S_OK;
    }
    value_.dwType = ADSTYPE_INTEGER;
    value_.Integer = static_cast<DWORD>(row_);
    *column = {nullptr, ADSTYPE_INTEGER, &value_, 1, nullptr};
    return S_OK;
  }
  STDMETHODIMP FreeColumn(PADS_SEARCH_COLUMN) override {
    --heldColumns;
    return S_OK;
  }
  STDMETHODIMP CloseSearchHandle(ADS_SEARCH_HANDLE) override {
    --openHandles;
    return S_OK;
  }
  STDMETHODIMP AbandonSearch(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetFirstRow(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetPreviousRow(ADS_SEARCH_HANDLE) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextColumnName(ADS_SEARCH_HANDLE, LPWSTR* name) override {
    if (nextName_ == columnNames.size()) return S_ADS_NOMORE_COLUMNS;
    *name = columnNames[nextName_++].data();
    return S_OK;
  }

 private:
  std::size_t row_ = 0;
  std::size_t nextName_ = 0;
  ADSVALUE value_{};
};

class AdsiSearchTest : public testing::Test {
 protected:
  void SetUp() override {
    Script() = {};
    search_.emplace(ComPtr<IDirectorySearch>(&scripted_));
  }

  HResult Execute() {
    constexpr std::array<std::u16string_view, 1> kNames = {u"cn"};
    return search_->ExecuteSearch(u"(cn=*)", kNames);
  }

  ScriptedSearch scripted_;
  std::optional<AdsiSearch> search_;
};

TEST_F(AdsiSearchTest, GivesEverythingBackWhenItEndsInMidRow) {
  scripted_.rows = {S_OK, S_OK};
  ASSERT_EQ(Execute(), kOk);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  platform::Column first;
  platform::Column second;
  ASSERT_EQ(search_->GetColumn(u"cn", first), kOk);
  ASSERT_EQ(search_->GetColumn(u"sn", second), kOk);
  EXPECT_EQ(first.values[0].number, 1) << "the first column outlives the second";
  EXPECT_EQ(scripted_.heldColumns, 2);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  EXPECT_EQ(scripted_.heldColumns, 0) << "columns live until the next row";
  ASSERT_EQ(search_->GetColumn(u"cn", first), kOk);
  EXPECT_EQ(first.values[0].number, 2);
  search_.reset();
  EXPECT_EQ(scripted_.heldColumns, 0);
  EXPECT_EQ(scripted_.openHandles, 0);
  EXPECT_EQ(scripted_.references, 0);
}

TEST_F(AdsiSearchTest, ExecutingAgainEndsTheSearchBefore) {
  scripted_.rows = {S_OK};
  ASSERT_EQ(Execute(), kOk);
  ASSERT_EQ(Execute(), kOk);
  EXPECT_EQ(scripted_.openHandles, 1);
  scripted_.executeResult = E_ADS_INVALID_FILTER;
  EXPECT_EQ(Execute(), kInvalidFilter);
  EXPECT_EQ(scripted_.openHandles, 0);
  EXPECT_EQ(search_->GetNextRow(), kUnexpected) << "there is no search to step through";
}

TEST_F(AdsiSearchTest, AsksOnWhenThePageEndedButNotTheResult) {
  scripted_.rows = {S_OK, S_OK};
  scripted_.moreDataBefore = 1;
  Script().lastError = ERROR_MORE_DATA;  // of another search of this thread
  ASSERT_EQ(Execute(), kOk);
  EXPECT_EQ(search_->GetNextRow(), kOk);
  EXPECT_EQ(search_->GetNextRow(), kOk) << "an empty page in between is not the end";
  EXPECT_EQ(search_->GetNextRow(), kNoMoreRows);
  EXPECT_EQ(scripted_.ends, 1);
}

TEST_F(AdsiSearchTest, GivesUpAServerThatPromisesMoreForEver) {
  scripted_.rows = {S_OK, S_OK};
  scripted_.moreDataBefore = 1;
  scripted_.moreDataTimes = 1000;
  ASSERT_EQ(Execute(), kOk);
  EXPECT_EQ(search_->GetNextRow(), kOk);
  EXPECT_EQ(search_->GetNextRow(), HResultFromWin32(ERROR_DS_CLIENT_LOOP));
  EXPECT_EQ(scripted_.moreDataTimes, 900);
}

TEST_F(AdsiSearchTest, EndsBetweenRowsWhenTheCallerWantsNoMoreOrTheCallIsOver) {
  struct Caller : CallObserver {
    bool enough = false;
    bool IsCancelled() override { return enough; }
    void Notify(const Notice&) override {}
  } caller;
  CallTerms terms;
  terms.idle = std::chrono::milliseconds(1500);
  scripted_.references = 2;  // for two searches
  AdsiSearch bounded(ComPtr<IDirectorySearch>(&scripted_), CallLimits(terms, caller));
  ASSERT_EQ(bounded.SetSearchPreference({}), kOk);
  EXPECT_EQ(scripted_.preferences.back().dwSearchPref, ADS_SEARCHPREF_TIMEOUT);
  EXPECT_EQ(scripted_.preferences.back().vValue.Integer, 2U);
  ASSERT_EQ(bounded.ExecuteSearch(u"(cn=*)", {}), kOk);
  caller.enough = true;
  EXPECT_EQ(bounded.GetNextRow(), kCancelled);

  terms.call = std::chrono::milliseconds(1);
  caller.enough = false;
  CallLimits brief(terms, caller);
  HResult result = kOk;
  while ((result = brief.Check()) == kOk) {
  }
  EXPECT_EQ(result, kTimedOut);
}

TEST_F(AdsiSearchTest, PassesFailuresOnAsTheyAre) {
  scripted_.rows = {S_OK, HRESULT_FROM_WIN32(0x203A)};
  ASSERT_EQ(Execute(), kOk);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  scripted_.columnResult = E_ADS_COLUMN_NOT_SET;
  platform::Column column;
  EXPECT_EQ(search_->GetColumn(u"cn", column), kColumnNotSet);
  EXPECT_TRUE(column.values.empty());
  EXPECT_EQ(search_->GetNextRow(), kServerDown);
  EXPECT_EQ(scripted_.heldColumns, 0);
}

TEST_F(AdsiSearchTest, FindsAPieceOfAListByThePlainName) {
  scripted_.rows = {S_OK};
  scripted_.emptyColumn = L"member";
  scripted_.columnNames = {L"cn", L"member;range=0-1499", L"memberOf;range=0-*"};
  ASSERT_EQ(Execute(), kOk);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  platform::Column column;
  ASSERT_EQ(search_->GetColumn(u"member", column), kOk);
  EXPECT_EQ(column.values.size(), 1U);
  EXPECT_TRUE(column.ranged && column.cut);
  ASSERT_EQ(search_->GetColumn(u"memberOf", column), kOk);
  EXPECT_TRUE(column.ranged && !column.cut);
  EXPECT_EQ(search_->GetColumn(u"sn", column), kColumnNotSet);
  EXPECT_EQ(Script().blocksFreed, 3) << "the names of the columns";
  EXPECT_EQ(search_->GetNextRow(), kNoMoreRows);
  EXPECT_EQ(scripted_.heldColumns, 0);
}

TEST_F(AdsiSearchTest, AColumnWithoutValuesIsNotSet) {
  scripted_.rows = {S_OK};
  scripted_.emptyColumn = L"cn";
  ASSERT_EQ(Execute(), kOk);
  ASSERT_EQ(search_->GetNextRow(), kOk);
  platform::Column column;
  EXPECT_EQ(search_->GetColumn(u"cn", column), kColumnNotSet);
  search_.reset();
  EXPECT_EQ(scripted_.heldColumns, 0);
}

TEST_F(AdsiSearchTest, KeepsWhatWasSaidOfItsFailure) {
  scripted_.rows = {HRESULT_FROM_WIN32(0x203A)};
  scripted_.rowError = 0x203A;
  ASSERT_EQ(Execute(), kOk);
  EXPECT_EQ(search_->GetNextRow(), kServerDown);
  Script().lastError = 5;  // of another call that came between
  EXPECT_EQ(search_->LastError().code, 0x203AU);
  EXPECT_EQ(search_->LastError().text, u"what the server said");
}

TEST_F(AdsiSearchTest, NeverTellsATextOnlyUpToItsZero) {
  constexpr std::u16string_view kFilter(u"(cn=a\0*)", 8);
  EXPECT_EQ(search_->ExecuteSearch(kFilter, {}), kInvalidFilter);
  EXPECT_EQ(scripted_.openHandles, 0);
  constexpr std::array kNames{std::u16string_view(u"cn\0x", 4), std::u16string_view(u"sn")};
  ASSERT_EQ(search_->ExecuteSearch(u"(cn=*)", kNames), kOk);
  EXPECT_EQ(scripted_.asked, std::vector<std::wstring>{L"sn"});
}

TEST_F(AdsiSearchTest, TypesThePreferencesAsTheInterfaceWantsThemAndKeepsNoRows) {
  const std::array<SearchPreference, 3> preferences{{
      {SearchPreferenceId::kSearchScope, 2},
      {SearchPreferenceId::kPageSize, 1000},
      {SearchPreferenceId::kTombstone, 1},
  }};
  ASSERT_EQ(search_->SetSearchPreference(preferences), kOk);
  ASSERT_EQ(scripted_.preferences.size(), 4U);
  EXPECT_EQ(scripted_.preferences[0].vValue.dwType, ADSTYPE_INTEGER);
  EXPECT_EQ(scripted_.preferences[1].dwSearchPref, ADS_SEARCHPREF_PAGESIZE);
  EXPECT_EQ(scripted_.preferences[1].vValue.Integer, 1000U);
  EXPECT_EQ(scripted_.preferences[2].dwSearchPref, ADS_SEARCHPREF_TOMBSTONE);
  EXPECT_EQ(scripted_.preferences[2].vValue.dwType, ADSTYPE_BOOLEAN);
  EXPECT_EQ(scripted_.preferences[2].vValue.Boolean, 1U);
  EXPECT_EQ(scripted_.preferences[3].dwSearchPref, ADS_SEARCHPREF_CACHE_RESULTS);
  EXPECT_EQ(scripted_.preferences[3].vValue.dwType, ADSTYPE_BOOLEAN);
  EXPECT_EQ(scripted_.preferences[3].vValue.Boolean, 0U);
}

TEST_F(AdsiSearchTest, APreferenceThatIsRefusedIsAFailureUnlessItOnlySavesMemory) {
  constexpr std::array<SearchPreference, 2> kPreferences{
      {{SearchPreferenceId::kPageSize, 1000}, {SearchPreferenceId::kTombstone, 1}}};
  scripted_.refusedPreference = ADS_SEARCHPREF_TOMBSTONE;
  EXPECT_EQ(search_->SetSearchPreference(kPreferences), E_ADS_BAD_PARAMETER);
  scripted_.refusedPreference = ADS_SEARCHPREF_CACHE_RESULTS;
  EXPECT_EQ(search_->SetSearchPreference(kPreferences), kOk);
}

}  // namespace
}  // namespace zorvan::platform::windows
