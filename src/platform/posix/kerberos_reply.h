// What must be known of a reply of a key distribution centre before libkrb5 works on it, or that
// libkrb5 keeps to itself. The bytes are those of a message in DER, and anybody's.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zorvan::platform::posix {

// How many iterations a password may be put through to make a key. Directory servers ask for 4,096,
// the newest key types for 32,768. libkrb5 alone would compute 2^24, for a minute; and whoever asks
// for one only wants a timestamp under a key that is cheap to guess.
inline constexpr std::uint32_t kMinKeyIterations = 0x1000;
inline constexpr std::uint32_t kMaxKeyIterations = 0x10000;

// Both zero: the reply leaves them to the key type.
struct KeyIterations {
  std::uint32_t least = 0;
  std::uint32_t most = 0;
  bool operator==(const KeyIterations&) const = default;
};

// The smallest and the largest number of iterations that a reply asks for; the answer to something
// without a password (TGS-REP) asks for none. A request for 2^32, which is written as zero, counts
// as the largest number there is. Nothing for what is no reply in plain DER: libkrb5 reads
// encodings that are not looked through here, so it must not get them.
std::optional<KeyIterations> KeyIterationsIn(std::string_view reply);

// The NTSTATUS in the typed data of an error (KERB-ERROR-DATA of type 3 with a KERB_EXT_ERROR:
// status, reserved, flags), zero without one.
std::uint32_t StatusInErrorData(std::string_view errorData);

}  // namespace zorvan::platform::posix
