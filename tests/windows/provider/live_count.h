// How much of the provider is in use: objects with references, searches and columns that were not
// given back. Nothing but giving it back takes a search or a column from the count: one that the
// adapter forgets stays in it also when the object that lent it goes.
#pragma once

#include <atomic>

namespace zorvan::windows_test {

inline std::atomic<long> liveCount{0};

// A member of every object.
class Counted {
 public:
  Counted() { ++liveCount; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --liveCount; }
};

}  // namespace zorvan::windows_test
