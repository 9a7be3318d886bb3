#include "platform/posix/ntlm_credentials.h"

#include <algorithm>
#include <array>
#include <list>
#include <mutex>
#include <optional>
#include <utility>

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxKept = 16;
constexpr std::size_t kDigestSize = 24;
using Digest = std::array<unsigned char, kDigestSize>;

struct Kept {
  std::string account;
  Digest digest;
  SharedGssCredential credential;
  Clock::time_point until;
};

std::mutex mutex;
std::list<Kept> keptCredentials;  // the one used last in front

struct Key {
  Key() : valid(krb5_c_make_random_key(nullptr, ENCTYPE_AES256_CTS_HMAC_SHA384_192, &block) == 0) {}
  krb5_keyblock block{};
  bool valid;
};

// Nothing when it cannot be made; then nothing is kept.
std::optional<Digest> DigestOf(const SecretText& password) {
  static const Key key;
  if (!key.valid) return std::nullopt;
  constexpr krb5_keyusage kOfApplications = 1024;
  krb5_data text{};
  text.length = static_cast<unsigned>(password.size());
  text.data = const_cast<char*>(password.c_str());
  krb5_checksum checksum{};
  if (krb5_c_make_checksum(nullptr, CKSUMTYPE_HMAC_SHA384_192_AES256, &key.block, kOfApplications,
                           &text, &checksum) != 0) {
    return std::nullopt;
  }
  std::optional<Digest> digest;
  if (checksum.length == kDigestSize) {
    digest.emplace();
    std::copy_n(checksum.contents, kDigestSize, digest->begin());
  }
  krb5_free_checksum_contents(nullptr, &checksum);
  return digest;
}

}  // namespace

SharedGssCredential FindNtlmCredential(const std::string& account, const SecretText& password) {
  const std::optional<Digest> digest = DigestOf(password);
  const std::lock_guard lock(mutex);
  const Clock::time_point now = Clock::now();
  keptCredentials.remove_if([&](const Kept& kept) { return kept.until <= now; });
  const auto found = std::ranges::find_if(keptCredentials, [&](const Kept& kept) {
    return kept.account == account && digest && kept.digest == *digest;
  });
  if (found == keptCredentials.end()) return nullptr;
  found->until = now + kCredentialKept;
  keptCredentials.splice(keptCredentials.begin(), keptCredentials, found);
  return found->credential;
}

void KeepNtlmCredential(const std::string& account, const SecretText& password,
                        SharedGssCredential credential) {
  if (FindNtlmCredential(account, password) != nullptr) return;
  const std::optional<Digest> digest = DigestOf(password);
  if (!digest) return;
  const std::lock_guard lock(mutex);
  // An account has one password at a time.
  keptCredentials.remove_if([&](const Kept& kept) { return kept.account == account; });
  keptCredentials.push_front(
      {account, *digest, std::move(credential), Clock::now() + kCredentialKept});
  if (keptCredentials.size() > kMaxKept) keptCredentials.pop_back();
}

}  // namespace zorvan::platform::posix
