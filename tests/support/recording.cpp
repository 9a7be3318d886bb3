#include "support/recording.h"

namespace zorvan::support {

using TokenKind = call::Row::TokenKind;

void RecordingErrors::SetErrorList(const call::ErrorEntry& entry) {
  const std::string words =
      std::string(entry.severity) + " " + entry.code + " " + std::string(entry.key) + " on ";
  std::u16string line(words.begin(), words.end());
  line += entry.objectName;
  if (entry.text) line += u": " + *entry.text;
  entries.push_back(line);
}

std::u16string TextOf(const call::Row& row, const call::KeyTable& keys) {
  std::u16string text;
  bool first = true;
  for (const call::Row::Token& token : row.tokens()) {
    const bool ends = token.kind == TokenKind::kListEnd || token.kind == TokenKind::kRowEnd;
    if (!first && !ends) text += u", ";
    if (token.key != call::Row::kNoKey) text.append(keys.NameOf(token.key)) += u'=';
    if (token.kind == TokenKind::kText) text += row.TextOf(token);
    if (token.kind == TokenKind::kListBegin) text += u'[';
    if (token.kind == TokenKind::kListEnd) text += u']';
    if (token.kind == TokenKind::kRowBegin) text += u'{';
    if (token.kind == TokenKind::kRowEnd) text += u'}';
    first = token.kind == TokenKind::kListBegin || token.kind == TokenKind::kRowBegin;
  }
  return text;
}

}  // namespace zorvan::support
