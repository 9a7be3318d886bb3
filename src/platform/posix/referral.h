// Where a referral points to, and whether it may be followed there.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/posix/ldap_connection.h"

namespace zorvan::platform::posix {

struct Referral {
  std::string host;
  std::uint16_t port = 0;
  bool tls = false;  // "ldaps:"
  std::string dn;    // empty: the name that was asked for
};

// "ldap://child.example.com/DC=child,DC=example,DC=com". Scope and filter of the URL are not read:
// directory controllers send none. Nothing for a URL of another kind or without a host.
std::optional<Referral> ParseReferral(std::u16string_view url);

// The first of the URLs whose host lies in the forest of the server that sent them, by the DNS name
// of the forest's root domain. A forest can have further trees of names; their hosts are not
// recognized.
std::optional<Referral> ReferralInForest(std::span<const std::u16string> urls,
                                         const ServerNames& names);

}  // namespace zorvan::platform::posix
