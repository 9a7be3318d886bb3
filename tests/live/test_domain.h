// The embedded domain as a test sees it: what tests/dc writes into the file that ZORVAN_TEST_DOMAIN
// names.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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

  // The values that the server's own database has of an attribute of all objects that a filter
  // finds.
  std::vector<std::string> Stored(const std::string& filter, const std::string& attribute) const {
    const std::string command = "ldbsearch -H '" + (*this)["samLdb"] + "' -b '" +
                                (*this)["baseDn"] + "' '" + filter + "' " + attribute;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> output(popen(command.c_str(), "r"),
                                                                 pclose);
    std::vector<std::string> values;
    char line[512];
    while (output && std::fgets(line, sizeof line, output.get()) != nullptr) {
      const std::string text(line);
      if (!text.starts_with(attribute + ": ")) continue;
      values.push_back(text.substr(attribute.size() + 2, text.size() - attribute.size() - 3));
    }
    return values;
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
