#include "platform/posix/tls_settings.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace zorvan::platform::posix {
namespace {

bool Fail(const std::string& what, int code, std::string& reason) {
  reason = what;
  if (code < 0) reason += std::string(": ") + gnutls_strerror(code);
  return false;
}

bool ReadText(int option, const char* name, std::string& value, std::string& reason) {
  LdapText text;
  if (ldap_get_option(nullptr, option, text.Put()) != LDAP_OPT_SUCCESS) {
    return Fail(std::string("the setting ") + name + " cannot be read", 0, reason);
  }
  value = text ? text.get() : "";
  return true;
}

// What a set of priorities allows of one kind of algorithm, and how each is named in a priority
// string. The functions of GnuTLS differ in their types for one and the same number.
struct Kind {
  int (*list)(gnutls_priority_t, const unsigned**);
  const char* (*name)(unsigned);
  const char* prefix;
};
template <auto Name, typename Id>
const char* NameOf(unsigned id) {
  return Name(static_cast<Id>(id));
}
constexpr Kind kKinds[] = {
    {gnutls_priority_protocol_list, NameOf<gnutls_protocol_get_name, gnutls_protocol_t>, "VERS-"},
    {gnutls_priority_cipher_list, NameOf<gnutls_cipher_get_name, gnutls_cipher_algorithm_t>, ""},
    {gnutls_priority_mac_list, NameOf<gnutls_mac_get_name, gnutls_mac_algorithm_t>, ""},
    {gnutls_priority_kx_list, NameOf<gnutls_kx_get_name, gnutls_kx_algorithm_t>, ""},
    {gnutls_priority_group_list, NameOf<gnutls_group_get_name, gnutls_group_t>, "GROUP-"},
    {gnutls_priority_sign_list, NameOf<gnutls_sign_get_name, gnutls_sign_algorithm_t>, "SIGN-"},
};

std::span<const unsigned> Allowed(const Kind& kind, gnutls_priority_t priority) {
  const unsigned* ids = nullptr;
  const int count = kind.list(priority, &ids);
  return {ids, count > 0 ? static_cast<std::size_t>(count) : 0};
}

// Takes away from the defaults, in the form of a priority string, all that is not allowed by
// another set.
std::string Without(gnutls_priority_t defaults, gnutls_priority_t allowed) {
  std::string exclusions;
  for (const Kind& kind : kKinds) {
    const std::span<const unsigned> kept = Allowed(kind, allowed);
    for (const unsigned id : Allowed(kind, defaults)) {
      if (std::find(kept.begin(), kept.end(), id) != kept.end()) continue;
      const char* name = kind.name(id);
      if (name != nullptr) exclusions.append(":-").append(kind.prefix).append(name);
    }
  }
  return exclusions;
}

// Takes away all versions before the oldest that is allowed.
std::string WithoutVersionsBefore(int oldest) {
  constexpr std::pair<int, const char*> kVersions[] = {{0x300, "SSL3.0"},
                                                       {0x301, "TLS1.0"},
                                                       {0x302, "TLS1.1"},
                                                       {0x303, "TLS1.2"},
                                                       {0x304, "TLS1.3"}};
  std::string exclusions;
  for (const auto& [version, name] : kVersions) {
    if (version < oldest) exclusions.append(":-VERS-").append(name);
  }
  return exclusions;
}

}  // namespace

bool ReadTlsSettings(TlsSettings& settings, std::string& reason) {
  settings = {};
  if (ldap_get_option(nullptr, LDAP_OPT_X_TLS_PROTOCOL_MIN, &settings.oldestVersion) !=
      LDAP_OPT_SUCCESS) {
    return Fail("the setting TLS_PROTOCOL_MIN cannot be read", 0, reason);
  }
  std::string package;
  if (!ReadText(LDAP_OPT_X_TLS_CRLFILE, "TLS_CRLFILE", settings.revoked, reason) ||
      !ReadText(LDAP_OPT_X_TLS_CERTFILE, "TLS_CERT", settings.certificateFile, reason) ||
      !ReadText(LDAP_OPT_X_TLS_KEYFILE, "TLS_KEY", settings.keyFile, reason) ||
      !ReadText(LDAP_OPT_X_TLS_PACKAGE, "TLS package", package, reason)) {
    return false;
  }
  return package != "GnuTLS" ||
         ReadText(LDAP_OPT_X_TLS_CIPHER_SUITE, "TLS_CIPHER_SUITE", settings.cipherSuite, reason);
}

bool ApplyTlsSettings(const TlsSettings& settings, gnutls_certificate_credentials_t credentials,
                      std::string& reason) {
  if (!settings.revoked.empty()) {
    const int count = gnutls_certificate_set_x509_crl_file(credentials, settings.revoked.c_str(),
                                                           GNUTLS_X509_FMT_PEM);
    if (count <= 0) {
      return Fail("no list of revoked certificates could be read from " + settings.revoked, count,
                  reason);
    }
  }
  if (settings.certificateFile.empty() && settings.keyFile.empty()) return true;
  if (settings.certificateFile.empty() || settings.keyFile.empty()) {
    return Fail("of TLS_CERT and TLS_KEY only one is set", 0, reason);
  }
  const int result = gnutls_certificate_set_x509_key_file(
      credentials, settings.certificateFile.c_str(), settings.keyFile.c_str(), GNUTLS_X509_FMT_PEM);
  return result >= 0 || Fail("the client's certificate or its key could not be read from " +
                                 settings.certificateFile + " and " + settings.keyFile,
                             result, reason);
}

bool RestrictAlgorithms(const TlsSettings& settings, gnutls_session_t session,
                        std::string& reason) {
  std::string exclusions = WithoutVersionsBefore(settings.oldestVersion);
  if (!settings.cipherSuite.empty()) {
    TlsPriority defaults;
    TlsPriority allowed;
    int result = gnutls_priority_init(defaults.Put(), nullptr, nullptr);
    if (result == 0) {
      result = gnutls_priority_init(allowed.Put(), settings.cipherSuite.c_str(), nullptr);
    }
    if (result < 0) return Fail("TLS_CIPHER_SUITE cannot be used", result, reason);
    exclusions += Without(defaults.get(), allowed.get());
  }
  int result = 0;
  if (exclusions.empty()) {
    result = gnutls_set_default_priority(session);
  } else {
    result = gnutls_set_default_priority_append(session, exclusions.c_str() + 1, nullptr, 0);
  }
  return result >= 0 ||
         Fail("TLS_PROTOCOL_MIN and TLS_CIPHER_SUITE leave nothing to offer", result, reason);
}

}  // namespace zorvan::platform::posix
