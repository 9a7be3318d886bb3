#include "platform/posix/referral.h"

#include <ldap.h>

#include <memory>

#include "platform/distinguished_name.h"
#include "platform/posix/unicode.h"
#include "platform/text.h"

namespace zorvan::platform::posix {
namespace {

struct FreeUrl {
  void operator()(LDAPURLDesc* url) const { ldap_free_urldesc(url); }
};

bool IsInForest(const std::string& host, std::u16string_view forest) {
  const std::u16string name = ToUtf16(host);
  return !forest.empty() && (EqualsIgnoringCase(name, forest) ||
                             EndsWithIgnoringCase(name, u"." + std::u16string(forest)));
}

}  // namespace

std::optional<Referral> ParseReferral(std::u16string_view url) {
  LDAPURLDesc* parsed = nullptr;
  if (ldap_url_parse(ToUtf8(url).c_str(), &parsed) != LDAP_URL_SUCCESS) return std::nullopt;
  const std::unique_ptr<LDAPURLDesc, FreeUrl> owned(parsed);
  const std::string_view scheme = parsed->lud_scheme;
  if ((scheme != "ldap" && scheme != "ldaps") || parsed->lud_host == nullptr ||
      *parsed->lud_host == '\0' || parsed->lud_port < 0 || parsed->lud_port > UINT16_MAX) {
    return std::nullopt;
  }
  return Referral{parsed->lud_host, static_cast<std::uint16_t>(parsed->lud_port), scheme == "ldaps",
                  parsed->lud_dn == nullptr ? "" : parsed->lud_dn};
}

std::optional<Referral> ReferralInForest(std::span<const std::u16string> urls,
                                         const ServerNames& names) {
  const std::u16string forest = DnsNameOf(ToUtf16(names.rootDomainNamingContext));
  for (const std::u16string& url : urls) {
    auto referral = ParseReferral(url);
    if (referral && IsInForest(referral->host, forest)) return referral;
  }
  return std::nullopt;
}

}  // namespace zorvan::platform::posix
