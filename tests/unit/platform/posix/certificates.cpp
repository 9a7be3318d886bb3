#include "unit/platform/posix/certificates.h"

#include <ctime>
#include <stdexcept>

namespace zorvan::platform::posix {
namespace {

constexpr std::time_t kDay = 24 * 60 * 60;

void Check(int result) {
  if (result < 0) throw std::runtime_error(gnutls_strerror(result));
}

std::string Take(gnutls_datum_t& bytes) {
  std::string text(reinterpret_cast<const char*>(bytes.data), bytes.size);
  gnutls_free(bytes.data);
  return text;
}

}  // namespace

Identity::Identity(const CertificateContents& contents, const Identity* issuer)
    : root_(issuer == nullptr) {
  Check(gnutls_x509_privkey_init(key_.Put()));
  Check(gnutls_x509_privkey_generate(key_.get(), GNUTLS_PK_ECDSA,
                                     GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0));
  Check(gnutls_x509_crt_init(certificate_.Put()));
  gnutls_x509_crt_t certificate = certificate_.get();
  static unsigned char serial = 0;
  ++serial;
  const std::time_t now = std::time(nullptr);
  const std::string name = contents.commonName.empty() ? "nameless" : contents.commonName;
  Check(gnutls_x509_crt_set_version(certificate, 3));
  Check(gnutls_x509_crt_set_serial(certificate, &serial, sizeof serial));
  Check(gnutls_x509_crt_set_activation_time(certificate, now + contents.fromDay * kDay));
  Check(gnutls_x509_crt_set_expiration_time(certificate, now + contents.toDay * kDay));
  Check(gnutls_x509_crt_set_key(certificate, key_.get()));
  Check(gnutls_x509_crt_set_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, name.data(),
                                      static_cast<unsigned>(name.size())));
  Check(gnutls_x509_crt_set_basic_constraints(certificate, contents.authority ? 1 : 0, -1));
  for (const auto& [type, values] : {std::pair(GNUTLS_SAN_DNSNAME, &contents.hosts),
                                     std::pair(GNUTLS_SAN_IPADDRESS, &contents.addresses)}) {
    for (const std::string& value : *values) {
      Check(gnutls_x509_crt_set_subject_alt_name(certificate, type, value.data(),
                                                 static_cast<unsigned>(value.size()),
                                                 GNUTLS_FSAN_APPEND));
    }
  }
  if (contents.purpose != nullptr) {
    Check(gnutls_x509_crt_set_key_purpose_oid(certificate, contents.purpose, 0));
  }
  const Identity& signer = issuer == nullptr ? *this : *issuer;
  Check(
      gnutls_x509_crt_sign2(certificate, signer.certificate(), signer.key(), GNUTLS_DIG_SHA256, 0));
  // What was only made knows less of itself than what was read.
  gnutls_datum_t bytes{};
  Check(gnutls_x509_crt_export2(certificate, GNUTLS_X509_FMT_DER, &bytes));
  Check(gnutls_x509_crt_init(certificate_.Put()));
  Check(gnutls_x509_crt_import(certificate_.get(), &bytes, GNUTLS_X509_FMT_DER));
  gnutls_free(bytes.data);
  chain_.push_back(certificate_.get());
  if (issuer != nullptr && !issuer->root_) chain_.push_back(issuer->certificate());
}

std::string Identity::Pem() const {
  gnutls_datum_t text{};
  Check(gnutls_x509_crt_export2(certificate_.get(), GNUTLS_X509_FMT_PEM, &text));
  return Take(text);
}

std::string Identity::KeyPem() const {
  gnutls_datum_t text{};
  Check(gnutls_x509_privkey_export2(key_.get(), GNUTLS_X509_FMT_PEM, &text));
  return Take(text);
}

std::string Identity::RevocationListPem(const Identity& revoked) const {
  UniqueHandle<gnutls_x509_crl_t, gnutls_x509_crl_deinit> list;
  const std::time_t now = std::time(nullptr);
  Check(gnutls_x509_crl_init(list.Put()));
  Check(gnutls_x509_crl_set_version(list.get(), 2));
  Check(gnutls_x509_crl_set_this_update(list.get(), now - kDay));
  Check(gnutls_x509_crl_set_next_update(list.get(), now + kDay));
  Check(gnutls_x509_crl_set_number(list.get(), "\x01", 1));
  Check(gnutls_x509_crl_set_crt(list.get(), revoked.certificate(), now - kDay));
  Check(gnutls_x509_crl_sign2(list.get(), certificate(), key(), GNUTLS_DIG_SHA256, 0));
  gnutls_datum_t text{};
  Check(gnutls_x509_crl_export2(list.get(), GNUTLS_X509_FMT_PEM, &text));
  return Take(text);
}

}  // namespace zorvan::platform::posix
