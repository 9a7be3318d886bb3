#include "platform/posix/search_filter.h"

#include <algorithm>
#include <cstdint>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::string_view kEveryObject = "(objectClass=*)";

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsKeyChar(char c) { return IsAlpha(c) || IsDigit(c) || c == '-'; }
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// A short name ("cn") or a dotted number.
bool IsObjectIdentifier(std::string_view text) {
  if (text.empty()) return false;
  if (IsAlpha(text.front())) return std::ranges::all_of(text, IsKeyChar);
  return IsDigit(text.front()) && text.back() != '.' && text.find("..") == std::string_view::npos &&
         std::ranges::all_of(text, [](char c) { return IsDigit(c) || c == '.'; });
}

// A name or number with options: "member;range=0-9" cannot be asked for in a filter, "cn;lang-de"
// can.
bool IsAttributeDescription(std::string_view text) {
  const std::size_t semicolon = text.find(';');
  if (!IsObjectIdentifier(text.substr(0, semicolon))) return false;
  while (!text.empty() && text.find(';') != std::string_view::npos) {
    text.remove_prefix(text.find(';') + 1);
    const std::string_view option = text.substr(0, text.find(';'));
    if (option.empty() || !std::ranges::all_of(option, IsKeyChar)) return false;
  }
  return true;
}

// ":dn" in any case is a flag of an extensible match, not the name of a rule.
bool StartsWithDnFlag(std::string_view text) {
  return text.size() >= 2 && (text[0] == 'd' || text[0] == 'D') &&
         (text[1] == 'n' || text[1] == 'N') && (text.size() == 2 || text[2] == ':');
}

// Recursive descent over the UTF-8 text; each Parse function appends what it recognised and returns
// false when it cannot go on.
class FilterParser {
 public:
  FilterParser(std::string_view text, std::string& out) : text_(text), out_(out) {}

  bool ParseWhole() {
    SkipBlanks();
    if (AtEnd()) {
      out_ += kEveryObject;
      return true;
    }
    if (Peek() != '(') return ParseItem() && AtEnd();
    const std::size_t start = out_.size();
    int count = 0;
    while (!AtEnd()) {
      if (Peek() != '(' || !ParseParenthesized()) return false;
      ++count;
      SkipBlanks();
    }
    if (count > 1) {
      if (deepest_ == kMaxFilterDepth) return false;
      out_.insert(start, "(&");
      out_ += ')';
    }
    return true;
  }

 private:
  bool AtEnd() const { return at_ == text_.size(); }
  char Peek() const { return text_[at_]; }
  bool Next(char c) {
    if (AtEnd() || Peek() != c) return false;
    ++at_;
    return true;
  }
  void SkipBlanks() {
    while (!AtEnd() && IsBlank(Peek())) ++at_;
  }

  // What comes out may be nested only so deep; each list, negation and item is one level, and so
  // are parentheses for nothing.
  bool Enter() {
    deepest_ = std::max(deepest_, ++depth_);
    return depth_ <= kMaxFilterDepth;
  }
  bool Leave(bool parsed) {
    --depth_;
    return parsed;
  }

  bool ParseParenthesized() {
    ++at_;
    SkipBlanks();
    if (AtEnd() || !ParseContent()) return false;
    SkipBlanks();
    return Next(')');
  }

  bool ParseContent() {
    switch (Peek()) {
      case '&':
      case '|':
        return Leave(Enter() && ParseList());
      case '!':
        return Leave(Enter() && ParseNot());
      case '(':
        return Leave(Enter() && ParseParenthesized());
      default:
        return Leave(Enter() && ParseItem());
    }
  }

  bool ParseList() {
    out_ += '(';
    out_ += text_[at_++];
    SkipBlanks();
    int count = 0;
    for (; !AtEnd() && Peek() != ')'; SkipBlanks(), ++count) {
      if (Peek() == '(' ? !ParseParenthesized() : !Leave(Enter() && ParseItem())) return false;
    }
    out_ += ')';
    return count > 0;
  }

  bool ParseNot() {
    out_ += "(!";
    ++at_;
    SkipBlanks();
    if (AtEnd() || !(Peek() == '(' ? ParseParenthesized() : ParseContent())) return false;
    out_ += ')';
    return true;
  }

  // attribute, operator, value, up to a parenthesis or the end.
  bool ParseItem() {
    const std::size_t equals = text_.find_first_of("=()", at_);
    if (equals == std::string_view::npos || text_[equals] != '=') return false;
    std::string_view left = text_.substr(at_, equals - at_);
    at_ = equals + 1;
    out_ += '(';
    const char kind = left.empty() ? '=' : left.back();
    bool parsed = false;
    if (kind == ':') {
      left.remove_suffix(1);
      parsed = WriteExtensible(left) && ParseValue(false);
    } else if (kind == '<' || kind == '>' || kind == '~') {
      left.remove_suffix(1);
      parsed = WriteAttribute(left, text_.substr(equals - 1, 2)) && ParseValue(false);
    } else {
      parsed = WriteAttribute(left, "=") && ParseValue(true);
    }
    out_ += ')';
    return parsed;
  }

  bool WriteAttribute(std::string_view attribute, std::string_view comparison) {
    attribute = Trimmed(attribute);
    if (!IsAttributeDescription(attribute)) return false;
    out_ += attribute;
    out_ += comparison;
    return true;
  }

  // [attribute][":dn"][":" rule], with at least an attribute or a rule.
  bool WriteExtensible(std::string_view left) {
    left = Trimmed(left);
    const std::size_t colon = left.find(':');
    const std::string_view attribute = Trimmed(left.substr(0, colon));
    bool ruled = false;
    if (!attribute.empty() && !IsAttributeDescription(attribute)) return false;
    out_ += attribute;
    if (colon != std::string_view::npos) {
      std::string_view rest = Trimmed(left.substr(colon + 1));
      if (StartsWithDnFlag(rest)) {
        out_ += ":dn";
        rest.remove_prefix(std::min<std::size_t>(rest.size(), 3));
      } else if (rest.empty()) {
        return false;
      }
      rest = Trimmed(rest);
      ruled = !rest.empty();
      if (ruled && !IsObjectIdentifier(rest)) return false;
      if (ruled) (out_ += ':') += rest;
    }
    out_ += ":=";
    return ruled || !attribute.empty();
  }

  bool ParseValue(bool wildcards) {
    const std::size_t start = at_;
    bool afterStar = false;
    for (; !AtEnd() && Peek() != '(' && Peek() != ')'; ++at_) {
      const char c = Peek();
      const bool star = c == '*' && wildcards;
      if (star) {
        if (!afterStar) out_ += '*';
      } else if (c == '\\') {
        ParseEscape();
      } else if (c == '*' || c == '\0') {
        WriteEscaped(c);
      } else {
        out_ += c;
      }
      afterStar = star;
    }
    return at_ > start;
  }

  // At a backslash; leaves the position at the last character of the escape.
  void ParseEscape() {
    constexpr std::string_view kEscapable = "*()\\";
    const std::string_view next = text_.substr(at_ + 1, 2);
    if (next.size() == 2 && IsHexDigit(next[0]) && IsHexDigit(next[1])) {
      (out_ += '\\') += next;
      at_ += 2;
    } else if (!next.empty() && kEscapable.find(next[0]) != std::string_view::npos) {
      WriteEscaped(next[0]);
      at_ += 1;
    } else {
      WriteEscaped('\\');
    }
  }

  void WriteEscaped(char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<std::uint8_t>(c);
    out_ += '\\';
    out_ += kDigits[byte >> 4];
    out_ += kDigits[byte & 0xF];
  }

  std::string_view text_;
  std::string& out_;
  std::size_t at_ = 0;
  int depth_ = 0;
  int deepest_ = 0;
};

}  // namespace

HResult NormalizeFilter(std::u16string_view filter, std::string& out) {
  const std::string text = ToUtf8(filter);
  out.clear();
  out.reserve(text.size() + kEveryObject.size());
  return FilterParser(text, out).ParseWhole() ? kOk : kInvalidFilter;
}

}  // namespace zorvan::platform::posix
