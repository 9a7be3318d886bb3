// A password in UTF-8 for the libraries that want it so; overwritten before its memory is given
// back.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {

class SecretText {
 public:
  explicit SecretText(std::u16string_view text) : text_(ToUtf8(text)) {}
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  // To the capacity: the conversion used more of the memory than it kept.
  ~SecretText() {
    text_.resize(text_.capacity());
    explicit_bzero(text_.data(), text_.size());
  }

  const char* c_str() const { return text_.c_str(); }
  std::size_t size() const { return text_.size(); }
  bool empty() const { return text_.empty(); }

 private:
  std::string text_;
};

}  // namespace zorvan::platform::posix
