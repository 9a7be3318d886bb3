#include "platform/posix/channel_binding.h"

#include <gnutls/crypto.h>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::string_view kPrefix = "tls-server-end-point:";

// The hash of the certificate's own signature; SHA-256 in place of those that are worn out.
gnutls_digest_algorithm_t HashOf(gnutls_x509_crt_t certificate) {
  const int algorithm = gnutls_x509_crt_get_signature_algorithm(certificate);
  if (algorithm <= GNUTLS_SIGN_UNKNOWN) return GNUTLS_DIG_UNKNOWN;
  const auto sign = static_cast<gnutls_sign_algorithm_t>(algorithm);
  if (sign == GNUTLS_SIGN_EDDSA_ED25519 || sign == GNUTLS_SIGN_EDDSA_ED448) {
    return GNUTLS_DIG_UNKNOWN;
  }
  const gnutls_digest_algorithm_t hash = gnutls_sign_get_hash_algorithm(sign);
  return hash == GNUTLS_DIG_MD5 || hash == GNUTLS_DIG_SHA1 ? GNUTLS_DIG_SHA256 : hash;
}

}  // namespace

std::string ServerEndPointBinding(std::string_view certificate) {
  const gnutls_datum_t bytes{
      reinterpret_cast<unsigned char*>(const_cast<char*>(certificate.data())),
      static_cast<unsigned>(certificate.size())};
  Certificate read;
  if (gnutls_x509_crt_init(read.Put()) < 0 ||
      gnutls_x509_crt_import(read.get(), &bytes, GNUTLS_X509_FMT_DER) < 0) {
    return {};
  }
  const gnutls_digest_algorithm_t hash = HashOf(read.get());
  if (hash == GNUTLS_DIG_UNKNOWN) return {};
  std::string digest(gnutls_hash_get_len(static_cast<gnutls_digest_algorithm_t>(hash)), '\0');
  if (digest.empty() || gnutls_hash_fast(hash, bytes.data, bytes.size, digest.data()) < 0) {
    return {};
  }
  return std::string(kPrefix) + digest;
}

}  // namespace zorvan::platform::posix
