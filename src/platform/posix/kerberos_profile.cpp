#include "platform/posix/kerberos_profile.h"

#include <array>
#include <string_view>

namespace zorvan::platform::posix {
namespace {

constexpr std::array<krb5_enctype, 5> kTypes{
    ENCTYPE_AES256_CTS_HMAC_SHA1_96, ENCTYPE_AES256_CTS_HMAC_SHA384_192,
    ENCTYPE_AES128_CTS_HMAC_SHA1_96, ENCTYPE_AES128_CTS_HMAC_SHA256_128, ENCTYPE_ARCFOUR_HMAC};
// The names of the first four, and of all.
constexpr char kAes[] =
    "aes256-cts-hmac-sha1-96 aes256-cts-hmac-sha384-192 "
    "aes128-cts-hmac-sha1-96 aes128-cts-hmac-sha256-128";
constexpr char kAesAndRc4[] =
    "aes256-cts-hmac-sha1-96 aes256-cts-hmac-sha384-192 "
    "aes128-cts-hmac-sha1-96 aes128-cts-hmac-sha256-128 arcfour-hmac";

// One value of the section [libdefaults], as the list that the library wants.
struct Setting {
  constexpr Setting(const char* settingName, const char* value)
      : name(settingName), values{value, nullptr} {}
  std::string_view name;
  std::array<const char*, 2> values;
};

using Settings = std::array<Setting, 9>;

constexpr Settings SettingsFor(const char* types, const char* rc4) {
  return {{{"dns_lookup_kdc", "false"},
           {"dns_lookup_realm", "false"},
           {"dns_canonicalize_hostname", "false"},
           {"rdns", "false"},
           {"allow_weak_crypto", "false"},
           {"allow_rc4", rc4},
           {"permitted_enctypes", types},
           {"default_tkt_enctypes", types},
           {"default_tgs_enctypes", types}}};
}

constexpr Settings kStrict = SettingsFor(kAes, "false");
constexpr Settings kWithRc4 = SettingsFor(kAesAndRc4, "true");

// The library copies what it is given.
long GetSetting(void* settings, const char* const* path, char*** values) {
  if (path[0] == nullptr || path[1] == nullptr || path[2] != nullptr ||
      std::string_view(path[0]) != "libdefaults") {
    return PROF_NO_RELATION;
  }
  for (const Setting& setting : *static_cast<const Settings*>(settings)) {
    if (setting.name != path[1]) continue;
    *values = const_cast<char**>(setting.values.data());
    return 0;
  }
  return PROF_NO_RELATION;
}

void LeaveSetting(void*, char**) {}

}  // namespace

std::span<const krb5_enctype> KeyTypes(bool allowRc4) {
  return std::span(kTypes).first(kTypes.size() - (allowRc4 ? 0 : 1));
}

krb5_error_code MakeKerberosContext(bool allowRc4, KerberosContext& context) {
  profile_vtable functions{};
  functions.minor_ver = 1;
  functions.get_values = GetSetting;
  functions.free_values = LeaveSetting;
  KerberosProfile profile;
  const Settings& settings = allowRc4 ? kWithRc4 : kStrict;
  const long code =
      profile_init_vtable(&functions, const_cast<Settings*>(&settings), profile.Put());
  if (code != 0) return static_cast<krb5_error_code>(code);
  return krb5_init_context_profile(profile.get(), 0, context.Put());
}

}  // namespace zorvan::platform::posix
