// What must be known of a reply of a key distribution centre before libkrb5 works on it, or that
// libkrb5 keeps to itself. The bytes are those of a message in DER, and anybody's.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zorvan::platform::posix {

// The largest number of iterations that a password is put through to make a key. Directory servers
// ask for 4,096, the newest key types for 32,768; libkrb5 alone would compute 2^24, for a minute.
inline constexpr std::uint32_t kMaxKeyIterations = 0x10000;

// The largest number of iterations that a reply asks for; zero when it leaves them to the key type
// or is the answer to something without a password (TGS-REP). A request for 2^32, which is written
// as zero, counts as the largest number there is. Nothing for what is no reply in plain DER:
// libkrb5 reads encodings that are not looked through here, so it must not get them.
std::optional<std::uint32_t> KeyIterationsIn(std::string_view reply);

// The NTSTATUS in the typed data of an error (KERB-ERROR-DATA of type 3 with a KERB_EXT_ERROR:
// status, reserved, flags), zero without one.
std::uint32_t StatusInErrorData(std::string_view errorData);

}  // namespace zorvan::platform::posix
