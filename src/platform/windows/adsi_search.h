// One search through IDirectorySearch.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "platform/directory.h"
#include "platform/windows/call_limits.h"
#include "platform/windows/handles.h"

namespace zorvan::platform::windows {

class AdsiSearch : public DirectorySearch {
 public:
  explicit AdsiSearch(ComPtr<IDirectorySearch> search, const CallLimits& limits = {})
      : search_(std::move(search)), limits_(limits) {}
  AdsiSearch(const AdsiSearch&) = delete;
  AdsiSearch& operator=(const AdsiSearch&) = delete;
  ~AdsiSearch() override { Close(); }

  HResult SetSearchPreference(std::span<const SearchPreference> preferences) override;
  HResult ExecuteSearch(std::u16string_view filter,
                        std::span<const std::u16string_view> attributes) override;
  HResult GetNextRow() override;
  HResult GetColumn(std::u16string_view attribute, platform::Column& column) override;
  void ForEachReceivedText(std::u16string_view attribute,
                           const std::function<void(std::u16string_view)>& visit) override;
  ExtendedError LastError() override { return error_; }

 private:
  // A column that was read from the current row; the storage of its values is used again for the
  // rows to come.
  struct HeldColumn {
    ADS_SEARCH_COLUMN column{};
    std::vector<Value> values;
  };

  HResult ReadColumn(std::u16string_view name, platform::Column& column);
  const std::vector<std::u16string>& Pieces();
  void FreeColumns();
  void Close();

  ComPtr<IDirectorySearch> search_;
  CallLimits limits_;
  ADS_SEARCH_HANDLE handle_ = nullptr;
  std::deque<HeldColumn> columns_;
  std::size_t columnsHeld_ = 0;
  // The current row's columns whose names have a range, once they were looked for.
  std::vector<std::u16string> pieces_;
  bool piecesKnown_ = false;
  ExtendedError error_;
};

}  // namespace zorvan::platform::windows
