// How much of the provider is in use: objects with references, open searches, columns and attribute
// blocks that were not given back. What the adapter forgets to release stays in this count.
#pragma once

#include <atomic>

namespace zorvan::windows_test {

inline std::atomic<long> liveCount{0};

// A member of whatever counts.
class Counted {
 public:
  Counted() { ++liveCount; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --liveCount; }
};

}  // namespace zorvan::windows_test
