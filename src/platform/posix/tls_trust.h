// Whom to trust for TLS: the certificate authorities that the caller names, else the system's.
#pragma once

#include <span>
#include <string>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {

// Where a system may keep the authorities that it trusts. The first file that exists counts; only
// where there is none, the first folder.
struct SystemTrust {
  std::span<const char* const> files;
  std::span<const char* const> folders;
};

// The places of the major distributions.
const SystemTrust& KnownSystemTrust();

// Makes the credentials trust the authorities in a PEM file or in the PEM files of a folder; empty:
// the system's. False with the reason where not a single certificate could be read: TLS must not go
// on then.
bool LoadTrust(const std::string& authorities, const SystemTrust& system,
               gnutls_certificate_credentials_t credentials, std::string& reason);

}  // namespace zorvan::platform::posix
