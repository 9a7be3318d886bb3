// Receivers that keep what a call gives them: log lines, error entries, rows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "call/error_list.h"
#include "call/log.h"
#include "call/row.h"
#include "platform/call_terms.h"

namespace zorvan::support {

struct RecordedLine {
  call::LogChannel channel;
  int level;
  std::u16string text;
  bool operator==(const RecordedLine&) const = default;
};

class RecordingLog : public call::LogSink {
 public:
  void Write(call::LogChannel channel, int level, std::u16string_view text) override {
    lines.push_back({channel, level, std::u16string(text)});
  }

  // How many lines contain this.
  std::size_t Count(std::u16string_view part) const {
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const auto& line) { return line.text.find(part) != std::u16string::npos; }));
  }

  std::vector<RecordedLine> lines;
};

struct RecordedNotice {
  platform::NoticeKind kind;
  std::u16string subject;
  std::u16string detail;
  std::uint64_t count;
  bool operator==(const RecordedNotice&) const = default;
};

class RecordingObserver : public platform::CallObserver {
 public:
  bool IsCancelled() override { return cancelled; }
  void Notify(const platform::Notice& notice) override {
    notices.push_back(
        {notice.kind, std::u16string(notice.subject), std::u16string(notice.detail), notice.count});
  }

  bool cancelled = false;
  std::vector<RecordedNotice> notices;
};

class RecordingErrors : public call::ErrorList {
 public:
  void SetErrorList(const call::ErrorEntry& entry) override;

  // Each as "SEVERE 8007203a the.key on example.com", and the text if there is one after a colon.
  std::vector<std::u16string> entries;
};

// A row on one line: "cn=Ann, memberOf=[{cn=Staff}, second], empty={}".
std::u16string TextOf(const call::Row& row, const call::KeyTable& keys);

class RecordingListener : public call::RowListener {
 public:
  explicit RecordingListener(const call::KeyTable& keys) : keys_(keys) {}

  void AddRow(const call::Row& row) override { rows.push_back(TextOf(row, keys_)); }
  bool IsCompleted() override {
    ++asked;
    return completed;
  }

  bool completed = false;
  std::size_t asked = 0;  // times that IsCompleted was called
  std::vector<std::u16string> rows;

 private:
  const call::KeyTable& keys_;
};

// A caller who wants no more from the moment that a test says so.
class ScriptedObserver : public platform::CallObserver {
 public:
  bool IsCancelled() override { return cancelled; }
  void Notify(const platform::Notice& notice) override { details.emplace_back(notice.detail); }

  bool cancelled = false;
  std::vector<std::u16string> details;  // of all notices
};

}  // namespace zorvan::support
