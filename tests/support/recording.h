// Receivers that keep what a call gives them: log lines, error entries, rows.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "call/error_list.h"
#include "call/log.h"
#include "call/row.h"

namespace zorvan::support {

struct RecordedLine {
  call::LogChannel channel;
  int level;
  std::u16string text;
  bool operator==(const RecordedLine&) const = default;
};

class RecordingLog : public call::LogSink {
 public:
  void Write(call::LogChannel channel, int level, std::u16string_view text) override;

  // Of all lines: how many have exactly this text, and how many contain it.
  std::size_t Count(std::u16string_view text) const;
  std::size_t CountContaining(std::u16string_view part) const;
  // Where the first line with exactly this text stands; absent when there is none.
  std::optional<std::size_t> Position(std::u16string_view text) const;

  std::vector<RecordedLine> lines;
};

struct RecordedError {
  std::u16string objectName;
  std::string severity;
  std::string code;
  std::string key;
  std::optional<std::u16string> text = std::nullopt;
  bool operator==(const RecordedError&) const = default;
};
std::ostream& operator<<(std::ostream& out, const RecordedError& error);

class RecordingErrors : public call::ErrorList {
 public:
  void SetErrorList(const call::ErrorEntry& entry) override;

  std::vector<RecordedError> entries;
};

// A value of a row: a text, a list of values, or a row of its own. Written in a test as
// Text(u"..."), List({...}), Fields({{u"key", value}}); a list of texts as Texts({...}).
struct RecordedValue {
  enum class Kind { kText, kList, kRow };
  Kind kind = Kind::kText;
  std::u16string text;
  std::vector<RecordedValue> list;
  std::map<std::u16string, RecordedValue> row;
  bool operator==(const RecordedValue&) const = default;
};
using RecordedRow = std::map<std::u16string, RecordedValue>;

RecordedValue Text(std::u16string_view text);
RecordedValue List(std::vector<RecordedValue> values);
RecordedValue Texts(const std::vector<std::u16string>& texts);
RecordedValue Fields(RecordedRow row);
std::ostream& operator<<(std::ostream& out, const RecordedValue& value);

class RecordingListener : public call::RowListener {
 public:
  explicit RecordingListener(const call::KeyTable& keys) : keys_(keys) {}

  void AddRow(const call::Row& row) override;
  bool IsCompleted() override;

  std::optional<std::size_t> completeAfter;  // rows; 0 is completed from the start
  std::size_t asked = 0;                     // times that IsCompleted was called
  std::vector<RecordedRow> rows;

 private:
  const call::KeyTable& keys_;
};

// A row as nested maps. Fails the current test when the tokens do not pair up.
RecordedRow ToMap(const call::Row& row, const call::KeyTable& keys);

}  // namespace zorvan::support
