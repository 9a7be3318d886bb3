// Credentials of NTLM's library that are used again.
//
// Each that the library makes leaves 8 KB behind (its cryptography is set up anew and not given
// back), so one that a server has accepted is kept for its identity. It holds a hash of the
// password, which is why it is kept for minutes and not for the life of the process; the password
// itself is not kept, only a checksum under a key that nobody outside the process knows.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/secret_text.h"

namespace zorvan::platform::posix {

using SharedGssCredential = std::shared_ptr<const GssCredential>;

// After so long without a use a credential is given back when the next is looked for or kept.
inline constexpr std::chrono::minutes kCredentialKept{10};

// Null when none is kept for this account with this password. Any thread may call both.
SharedGssCredential FindNtlmCredential(const std::string& account, const SecretText& password);
void KeepNtlmCredential(const std::string& account, const SecretText& password,
                        SharedGssCredential credential);

}  // namespace zorvan::platform::posix
