// The path of a directory object: "LDAP://server[:port]/DN" and its relatives.
//
// Provider names are told apart by case, as the platform does; server names and "RootDSE" are not.
// A distinguished name goes to the server as it is written, except that "\/" stands for "/". The
// forms "<GUID=...>", "<SID=...>" and "<WKGUID=guid,DN>" are resolved by the server.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace zorvan::platform::posix {

enum class AdsProvider { kLdap, kGlobalCatalog };

struct AdsPath {
  AdsProvider provider = AdsProvider::kLdap;
  std::string
      host;  // UTF-8, an IPv6 address without its brackets; empty when the path names no server
  std::uint16_t port = 0;  // 0 when the path names none
  bool rootDse = false;    // the root of the directory service itself
  std::string dn;          // UTF-8; empty for RootDSE and for a path that ends with the server
  std::u16string
      prefix;  // the path up to the distinguished name, as it was written: "LDAP://server:port/"

  // The port to connect to: the path's own, else the provider's, with TLS or without.
  std::uint16_t PortFor(bool encrypted) const;
};

// kBadPathname when the text is not such a path; path is then unspecified.
HResult ParseAdsPath(std::u16string_view text, AdsPath& path);

// Writes the path of an object of the same server: prefix and the name, with "/" written as "\/".
void AppendAdsPath(std::u16string& out, std::u16string_view prefix, std::u16string_view dn);

}  // namespace zorvan::platform::posix
