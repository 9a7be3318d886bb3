// One row on its way to Java: keys with values that are texts, lists (of texts and rows) or rows.
//
// A row is a flat list of tokens over one text arena. Both are reused from row to row, so that
// after the first rows of a search nothing is allocated per value. Keys are interned once per call
// in a KeyTable, so that whoever turns rows into objects can make each key's object once.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zorvan::call {

using KeyId = std::uint32_t;

class KeyTable {
 public:
  // The same text (to the letter) always gives the same id; ids count up from 0.
  KeyId Intern(std::u16string_view key);
  std::u16string_view NameOf(KeyId id) const { return names_[id]; }
  std::size_t size() const { return names_.size(); }

 private:
  std::deque<std::u16string> names_;
  std::unordered_map<std::u16string_view, KeyId> ids_;
};

class Row {
 public:
  enum class TokenKind : std::uint8_t { kText, kListBegin, kListEnd, kRowBegin, kRowEnd };

  // key counts for tokens directly inside a row, and is kNoKey for those inside a list and for the
  // two ends.
  struct Token {
    TokenKind kind;
    KeyId key;
    std::uint32_t offset;
    std::uint32_t length;
  };
  static constexpr KeyId kNoKey = 0xFFFFFFFFU;

  void Clear();

  // Drops all tokens from this one on, to take back what was begun.
  void Truncate(std::size_t tokenCount);

  // Inside a row: a text, a list or a row under a key. A key that is put twice holds what was put
  // last.
  void PutText(KeyId key, std::u16string_view text) { AddToken(TokenKind::kText, key, text); }
  void BeginList(KeyId key) { AddToken(TokenKind::kListBegin, key, {}); }
  void EndList() { AddToken(TokenKind::kListEnd, kNoKey, {}); }
  void BeginRow(KeyId key) { AddToken(TokenKind::kRowBegin, key, {}); }

  // Inside a list: a text or a row.
  void AddText(std::u16string_view text) { AddToken(TokenKind::kText, kNoKey, text); }
  void BeginRow() { AddToken(TokenKind::kRowBegin, kNoKey, {}); }
  void EndRow() { AddToken(TokenKind::kRowEnd, kNoKey, {}); }

  const std::vector<Token>& tokens() const { return tokens_; }
  std::u16string_view TextOf(const Token& token) const {
    return std::u16string_view(texts_).substr(token.offset, token.length);
  }
  // All texts in one piece, which the offsets of the tokens count in.
  std::u16string_view texts() const { return texts_; }
  bool empty() const { return tokens_.empty(); }

  // The first text under a key of the row itself: the text, or the first text of the list. Absent
  // when there is none.
  std::optional<std::u16string_view> FirstText(KeyId key) const;

 private:
  void AddToken(TokenKind kind, KeyId key, std::u16string_view text);

  std::vector<Token> tokens_;
  std::u16string texts_;
};

// Receives rows (on the calling thread). Once a callback has failed, IsCompleted answers true from
// then on.
class RowListener {
 public:
  virtual ~RowListener() = default;
  virtual void AddRow(const Row& row) = 0;
  virtual bool IsCompleted() = 0;
};

}  // namespace zorvan::call
