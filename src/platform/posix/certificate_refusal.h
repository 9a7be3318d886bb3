// Why a server's certificate is refused, in words.
#pragma once

#include <gnutls/x509.h>

#include <ctime>
#include <string>

namespace zorvan::platform::posix {

// All reasons against a certificate, separated by semicolons: those of its verification (a set of
// gnutls_certificate_status_t) and those that the certificate itself shows for this host and time.
// Empty: there are none. What the certificate says of itself was written by whoever answered: what
// cannot be printed is replaced and long lists are cut.
std::string ReasonsAgainst(gnutls_x509_crt_t certificate, unsigned status, const std::string& host,
                           std::time_t now);

}  // namespace zorvan::platform::posix
