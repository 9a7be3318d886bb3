// BER as tests write it: elements put together as strings.
#pragma once

#include <string>
#include <vector>

namespace zorvan::platform::posix::ber {

// Tag, length in its shortest form, contents.
inline std::string Element(char tag, const std::string& contents) {
  std::string element(1, tag);
  if (contents.size() >= 0x80) {
    element += '\x82';
    element += static_cast<char>(contents.size() >> 8);
  }
  element += static_cast<char>(contents.size() & 0xFF);
  return element + contents;
}

inline std::string Octets(const std::string& text) { return Element('\x04', text); }

inline std::string Integer(int value) {
  return Element('\x02', {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)});
}

// One attribute of a search entry.
inline std::string Attribute(const std::string& name, const std::vector<std::string>& values) {
  std::string set;
  for (const std::string& value : values) set += Octets(value);
  return Element('\x30', Octets(name) + Element('\x31', set));
}

}  // namespace zorvan::platform::posix::ber
