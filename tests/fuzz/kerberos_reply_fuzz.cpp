// Any bytes are either no reply or have a number of iterations, and what is behind them changes
// nothing of what a reply says but that it is one no more.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/posix/kerberos_reply.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvan::platform::posix;
  const std::string reply(reinterpret_cast<const char*>(data), size);
  StatusInErrorData(reply);
  const auto iterations = KeyIterationsIn(reply);
  if (iterations && KeyIterationsIn(reply + '\0')) std::abort();
  return 0;
}
