#include "platform/posix/ads_path.h"

#include <algorithm>
#include <optional>

#include "platform/posix/unicode.h"
#include "platform/text.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::uint16_t kLdapPort = 389;
constexpr std::uint16_t kLdapsPort = 636;
constexpr std::uint16_t kGlobalCatalogPort = 3268;
constexpr std::uint16_t kGlobalCatalogsPort = 3269;

bool IsHexDigit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'f') ||
         (unit >= u'A' && unit <= u'F');
}

bool IsDigit(char16_t unit) { return unit >= u'0' && unit <= u'9'; }

bool IsControl(char16_t unit) { return unit < u' ' || unit == 0x7F; }

bool TakePrefix(std::u16string_view& rest, std::u16string_view prefix) {
  if (!rest.starts_with(prefix)) return false;
  rest.remove_prefix(prefix.size());
  return true;
}

std::optional<std::uint16_t> ParsePort(std::u16string_view text) {
  if (text.empty() || text.size() > 5 || !std::ranges::all_of(text, IsDigit)) return std::nullopt;
  unsigned value = 0;
  for (char16_t digit : text) value = value * 10 + static_cast<unsigned>(digit - u'0');
  if (value == 0 || value > 65535) return std::nullopt;
  return static_cast<std::uint16_t>(value);
}

bool IsHostName(std::u16string_view text) {
  constexpr std::u16string_view kForbidden = u" \"#%&'()*+,/:;<=>?@[\\]^`{|}";
  return !text.empty() && std::ranges::none_of(text, [&](char16_t unit) {
    return kForbidden.find(unit) != std::u16string_view::npos;
  });
}

bool IsIpv6Literal(std::u16string_view text) {
  // A zone ("%eth0") may follow the address; the resolver judges the rest.
  const std::u16string_view address = text.substr(0, text.find(u'%'));
  return address.find(u':') != std::u16string_view::npos &&
         std::ranges::all_of(address, [](char16_t unit) {
           return IsHexDigit(unit) || unit == u':' || unit == u'.';
         });
}

// "name", "name:port", "[address]" or "[address]:port".
bool ParseServer(std::u16string_view text, AdsPath& path) {
  std::u16string_view host;
  std::u16string_view port;
  bool hasPort = false;
  if (!text.empty() && text.front() == u'[') {
    const std::size_t end = text.find(u']');
    if (end == std::u16string_view::npos) return false;
    host = text.substr(1, end - 1);
    if (!IsIpv6Literal(host)) return false;
    port = text.substr(end + 1);
    hasPort = TakePrefix(port, u":");
    if (!hasPort && !port.empty()) return false;
  } else {
    const std::size_t colon = text.find(u':');
    host = text.substr(0, colon);
    if (!IsHostName(host)) return false;
    hasPort = colon != std::u16string_view::npos;
    if (hasPort) port = text.substr(colon + 1);
  }
  if (hasPort) {
    const std::optional<std::uint16_t> number = ParsePort(port);
    if (!number) return false;
    path.port = *number;
  }
  path.host = ToUtf8(host);
  return true;
}

// "<GUID=...>", "<SID=...>" and "<WKGUID=guid,DN>": enough of a look that nonsense is not sent.
bool IsWellFormedBracketName(std::u16string_view name) {
  if (name.back() != u'>') return false;
  name = name.substr(1, name.size() - 2);
  const std::size_t equals = name.find(u'=');
  if (equals == std::u16string_view::npos) return false;
  const std::u16string_view kind = name.substr(0, equals);
  const std::u16string_view value = name.substr(equals + 1);
  if (EqualsIgnoringCase(kind, u"GUID")) {
    return !value.empty() && std::ranges::all_of(value, [](char16_t unit) {
      return IsHexDigit(unit) || unit == u'-' || unit == u'{' || unit == u'}';
    });
  }
  if (EqualsIgnoringCase(kind, u"SID")) {
    return !value.empty() && std::ranges::all_of(value, [](char16_t unit) {
      return IsHexDigit(unit) || unit == u'-' || unit == u'S' || unit == u's';
    });
  }
  if (EqualsIgnoringCase(kind, u"WKGUID")) {
    const std::size_t comma = value.find(u',');
    return comma != std::u16string_view::npos && comma > 0 && comma + 1 < value.size() &&
           std::ranges::all_of(value.substr(0, comma), IsHexDigit);
  }
  return false;
}

bool ParseName(std::u16string_view text, AdsPath& path) {
  if (text.empty()) return false;
  if (EqualsIgnoringCase(text, u"RootDSE")) {
    path.rootDse = true;
    return true;
  }
  if (text.front() == u'<' ? !IsWellFormedBracketName(text)
                           : text.find(u'=') == std::u16string_view::npos) {
    return false;
  }
  std::u16string name;
  name.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == u'\\' && at + 1 < text.size()) {
      if (text[at + 1] != u'/') name += text[at];
      ++at;
    }
    name += text[at];
  }
  path.dn = ToUtf8(name);
  return true;
}

// The first component is no server when the path goes straight to a name.
bool NamesObject(std::u16string_view component) {
  return component.find(u'=') != std::u16string_view::npos || component.starts_with(u'<') ||
         EqualsIgnoringCase(component, u"RootDSE");
}

}  // namespace

std::uint16_t AdsPath::PortFor(bool encrypted) const {
  if (port != 0) return port;
  if (provider == AdsProvider::kGlobalCatalog) {
    return encrypted ? kGlobalCatalogsPort : kGlobalCatalogPort;
  }
  return encrypted ? kLdapsPort : kLdapPort;
}

HResult ParseAdsPath(std::u16string_view text, AdsPath& path) {
  path = AdsPath{};
  std::u16string_view rest = text;
  if (std::ranges::any_of(rest, IsControl)) return kBadPathname;
  if (TakePrefix(rest, u"GC://")) {
    path.provider = AdsProvider::kGlobalCatalog;
  } else if (!TakePrefix(rest, u"LDAP://")) {
    return kBadPathname;
  }

  const std::size_t slash = rest.find(u'/');
  const std::u16string_view component = rest.substr(0, slash);
  if (!NamesObject(component)) {
    if (!ParseServer(component, path)) return kBadPathname;
    if (slash == std::u16string_view::npos) {
      path.prefix = std::u16string(text) + u"/";
      return kOk;
    }
    rest.remove_prefix(slash + 1);
  }
  path.prefix = text.substr(0, text.size() - rest.size());
  return ParseName(rest, path) ? kOk : kBadPathname;
}

void AppendAdsPath(std::u16string& out, std::u16string_view prefix, std::u16string_view dn) {
  out += prefix;
  for (char16_t unit : dn) {
    if (unit == u'/') out += u'\\';
    out += unit;
  }
}

}  // namespace zorvan::platform::posix
