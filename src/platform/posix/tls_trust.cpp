#include "platform/posix/tls_trust.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace zorvan::platform::posix {
namespace {

constexpr const char* kFiles[] = {
    "/etc/ssl/certs/ca-certificates.crt",  // Debian, Ubuntu, Arch, Gentoo
    "/etc/pki/tls/certs/ca-bundle.crt",    // Fedora, Red Hat
    "/etc/pki/ca-trust/extracted/pem/tls-ca-bundle.pem",
    "/etc/ssl/ca-bundle.pem",  // SUSE
    "/var/lib/ca-certificates/ca-bundle.pem",
    "/etc/ssl/cert.pem"};  // Alpine
constexpr const char* kFolders[] = {"/etc/ssl/certs", "/etc/pki/tls/certs",
                                    "/var/lib/ca-certificates/pem"};

bool Exists(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0;
}

// Anything but a file or a folder, such as a pipe, could hold the call for ever.
bool LoadFrom(const std::string& path, gnutls_certificate_credentials_t credentials,
              std::string& reason) {
  struct stat status {};
  int count = 0;
  if (path.find('\0') != std::string::npos) {
    reason = "the name of the file of trusted authorities is not a file name";
    return false;
  }
  if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
    reason = "the trusted authorities cannot be read from " + path + ": " +
             std::generic_category().message(errno);
    return false;
  }
  if (S_ISDIR(status.st_mode)) {
    count = gnutls_certificate_set_x509_trust_dir(credentials, path.c_str(), GNUTLS_X509_FMT_PEM);
  } else if (S_ISREG(status.st_mode)) {
    count = gnutls_certificate_set_x509_trust_file(credentials, path.c_str(), GNUTLS_X509_FMT_PEM);
  }
  if (count > 0) return true;
  reason = path + " holds no certificate of a trusted authority";
  if (count < 0) reason += std::string(": ") + gnutls_strerror(count);
  return false;
}

}  // namespace

const SystemTrust& KnownSystemTrust() {
  static constexpr SystemTrust trust{kFiles, kFolders};
  return trust;
}

bool LoadTrust(const std::string& authorities, const SystemTrust& system,
               gnutls_certificate_credentials_t credentials, std::string& reason) {
  if (!authorities.empty()) return LoadFrom(authorities, credentials, reason);
  for (const std::span<const char* const> places : {system.files, system.folders}) {
    for (const char* place : places) {
      if (Exists(place)) return LoadFrom(place, credentials, reason);
    }
  }
  reason = "this system's trusted authorities were not found; name a file or folder of them";
  return false;
}

}  // namespace zorvan::platform::posix
