#include "call/row.h"

namespace zorvan::call {

KeyId KeyTable::Intern(std::u16string_view key) {
  if (const auto found = ids_.find(key); found != ids_.end()) return found->second;
  const auto id = static_cast<KeyId>(names_.size());
  ids_.emplace(names_.emplace_back(key), id);
  return id;
}

void Row::Clear() {
  tokens_.clear();
  texts_.clear();
}

void Row::Truncate(std::size_t tokenCount) {
  if (tokenCount >= tokens_.size()) return;
  texts_.resize(tokens_[tokenCount].offset);
  tokens_.resize(tokenCount);
}

void Row::AddToken(TokenKind kind, KeyId key, std::u16string_view text) {
  tokens_.push_back({kind, key, static_cast<std::uint32_t>(texts_.size()),
                     static_cast<std::uint32_t>(text.size())});
  texts_.append(text);
}

std::optional<std::u16string_view> Row::FirstText(KeyId key) const {
  std::size_t depth = 0;  // rows inside this one that are open
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if (tokens_[i].kind == TokenKind::kRowEnd) --depth;
    const bool own = depth == 0 && tokens_[i].key == key;
    if (tokens_[i].kind == TokenKind::kRowBegin) ++depth;
    if (!own) continue;
    if (tokens_[i].kind == TokenKind::kText) return TextOf(tokens_[i]);
    const bool listOfTexts = tokens_[i].kind == TokenKind::kListBegin && i + 1 < tokens_.size() &&
                             tokens_[i + 1].kind == TokenKind::kText;
    if (listOfTexts) return TextOf(tokens_[i + 1]);
  }
  return std::nullopt;
}

}  // namespace zorvan::call
