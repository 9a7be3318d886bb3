#include "support/recording.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zorvan::support {
namespace {

using call::KeyTable;
using call::Row;
using TokenKind = Row::TokenKind;

// Reads the tokens of a row one after the other.
class RowReader {
 public:
  RowReader(const Row& row, const KeyTable& keys) : row_(row), keys_(keys) {}

  RecordedRow ReadRow(bool nested) {
    RecordedRow fields;
    while (!AtEnd() && Peek().kind != TokenKind::kRowEnd) {
      const call::KeyId key = Peek().key;
      if (key >= keys_.size()) {
        ADD_FAILURE() << "a value of a row has no key";
        return fields;
      }
      fields[std::u16string(keys_.NameOf(key))] = ReadValue();
    }
    if (nested) Expect(TokenKind::kRowEnd);
    return fields;
  }

  bool AtEnd() const { return next_ == row_.tokens().size(); }

 private:
  const Row::Token& Peek() const { return row_.tokens()[next_]; }

  void Expect(TokenKind kind) {
    if (AtEnd() || Peek().kind != kind) {
      ADD_FAILURE() << "token " << next_ << " does not end what was begun";
      next_ = row_.tokens().size();
      return;
    }
    ++next_;
  }

  RecordedValue ReadValue() {
    const Row::Token& token = row_.tokens()[next_++];
    switch (token.kind) {
      case TokenKind::kText:
        return Text(row_.TextOf(token));
      case TokenKind::kListBegin:
        return ReadList();
      case TokenKind::kRowBegin:
        return Fields(ReadRow(true));
      default:
        ADD_FAILURE() << "token " << next_ - 1 << " ends what was not begun";
        return {};
    }
  }

  RecordedValue ReadList() {
    std::vector<RecordedValue> values;
    while (!AtEnd() && Peek().kind != TokenKind::kListEnd) {
      EXPECT_EQ(Peek().key, Row::kNoKey) << "an element of a list has a key";
      values.push_back(ReadValue());
    }
    Expect(TokenKind::kListEnd);
    return List(std::move(values));
  }

  const Row& row_;
  const KeyTable& keys_;
  std::size_t next_ = 0;
};

}  // namespace

void RecordingLog::Write(call::LogChannel channel, int level, std::u16string_view text) {
  lines.push_back({channel, level, std::u16string(text)});
}

std::size_t RecordingLog::Count(std::u16string_view text) const {
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const RecordedLine& line) { return line.text == text; }));
}

std::size_t RecordingLog::CountContaining(std::u16string_view part) const {
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(),
      [&](const RecordedLine& line) { return line.text.find(part) != std::u16string::npos; }));
}

std::optional<std::size_t> RecordingLog::Position(std::u16string_view text) const {
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].text == text) return i;
  }
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& out, const RecordedError& error) {
  return out << error.severity << " " << error.code << " " << error.key << " on "
             << testing::PrintToString(error.objectName) << " text "
             << testing::PrintToString(error.text);
}

void RecordingErrors::SetErrorList(const call::ErrorEntry& entry) {
  entries.push_back({std::u16string(entry.objectName), std::string(entry.severity), entry.code,
                     std::string(entry.key), entry.text});
}

RecordedValue Text(std::u16string_view text) {
  return {.kind = RecordedValue::Kind::kText, .text = std::u16string(text), .list = {}, .row = {}};
}

RecordedValue List(std::vector<RecordedValue> values) {
  return {.kind = RecordedValue::Kind::kList, .text = {}, .list = std::move(values), .row = {}};
}

RecordedValue Texts(const std::vector<std::u16string>& texts) {
  std::vector<RecordedValue> values;
  for (const std::u16string& text : texts) values.push_back(Text(text));
  return List(std::move(values));
}

RecordedValue Fields(RecordedRow row) {
  return {.kind = RecordedValue::Kind::kRow, .text = {}, .list = {}, .row = std::move(row)};
}

std::ostream& operator<<(std::ostream& out, const RecordedValue& value) {
  switch (value.kind) {
    case RecordedValue::Kind::kText:
      return out << testing::PrintToString(value.text);
    case RecordedValue::Kind::kList:
      return out << testing::PrintToString(value.list);
    case RecordedValue::Kind::kRow:
      return out << testing::PrintToString(value.row);
  }
  return out;
}

void RecordingListener::AddRow(const Row& row) { rows.push_back(ToMap(row, keys_)); }

bool RecordingListener::IsCompleted() {
  ++asked;
  return completeAfter && rows.size() >= *completeAfter;
}

RecordedRow ToMap(const Row& row, const KeyTable& keys) {
  RowReader reader(row, keys);
  RecordedRow fields = reader.ReadRow(false);
  EXPECT_TRUE(reader.AtEnd()) << "a row ends before its last token";
  return fields;
}

}  // namespace zorvan::support
