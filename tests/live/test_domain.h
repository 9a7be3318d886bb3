// The embedded domain as a test sees it: what tests/dc writes into the file that ZORVAN_TEST_DOMAIN
// names.
#pragma once

#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/directory.h"

namespace zorvan::live {

class TestDomain {
 public:
  static const TestDomain& Get() {
    static const TestDomain domain;
    return domain;
  }

  const std::string& operator[](const std::string& key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) throw std::runtime_error("the test domain does not tell " + key);
    return found->second;
  }

  std::u16string Wide(const std::string& key) const {
    const std::string& text = (*this)[key];
    return {text.begin(), text.end()};
  }

  // The content of the file that a key names.
  std::u16string Secret(const std::string& key) const {
    std::ifstream file((*this)[key]);
    std::string text;
    std::getline(file, text);
    return {text.begin(), text.end()};
  }

 private:
  TestDomain() {
    const char* path = std::getenv("ZORVAN_TEST_DOMAIN");
    std::ifstream file(path == nullptr ? "" : path);
    if (!file) throw std::runtime_error("run inside the test domain: tests/dc/dc run -- ...");
    for (std::string line; std::getline(file, line);) {
      const std::size_t equals = line.find('=');
      if (equals != std::string::npos) values_[line.substr(0, equals)] = line.substr(equals + 1);
    }
  }

  std::map<std::string, std::string> values_;
};

// A user name and its password, for as long as the object lives.
struct Identity {
  std::u16string user;
  std::u16string password;
  platform::Credentials credentials() const { return {user, password}; }
};

inline Identity Reader() {
  return {TestDomain::Get().Wide("readerUserName"), TestDomain::Get().Secret("readerPasswordFile")};
}

}  // namespace zorvan::live
