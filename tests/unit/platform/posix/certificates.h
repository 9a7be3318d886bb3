// Certificates as tests need them, made when they are needed.
#pragma once

#include <gnutls/abstract.h>
#include <gnutls/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {

// What is to stand in a certificate. Days are counted from today.
struct CertificateContents {
  std::string commonName = {};
  std::vector<std::string> hosts = {};      // alternative names
  std::vector<std::string> addresses = {};  // four bytes each
  int fromDay = -1;
  int toDay = 1;
  bool authority = false;
  const char* purpose = nullptr;  // the object identifier of an extended key usage
};

class Identity {
 public:
  // Signed by the issuer, or by itself where there is none. Its chain has the issuer's certificate
  // behind its own, unless that is a root.
  explicit Identity(const CertificateContents& contents, const Identity* issuer = nullptr);

  gnutls_x509_crt_t certificate() const { return certificate_.get(); }
  gnutls_x509_privkey_t key() const { return key_.get(); }
  const std::vector<gnutls_x509_crt_t>& chain() const { return chain_; }
  std::string Pem() const;
  std::string KeyPem() const;

  // A list, signed by this one, that revokes another's certificate.
  std::string RevocationListPem(const Identity& revoked) const;

 private:
  using Key = UniqueHandle<gnutls_x509_privkey_t, gnutls_x509_privkey_deinit>;

  Key key_;
  Certificate certificate_;
  std::vector<gnutls_x509_crt_t> chain_;
  bool root_ = false;
};

}  // namespace zorvan::platform::posix
