#include "platform/distinguished_name.h"

#include <algorithm>

#include "platform/text.h"

namespace zorvan::platform {
namespace {

constexpr std::u16string_view kDomainComponent = u"DC=";

std::u16string_view WithoutBlanks(std::u16string_view text) {
  while (!text.empty() && text.front() == u' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  return text;
}

std::size_t EndOfComponent(std::u16string_view text) {
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\\') {
      ++i;
    } else if (text[i] == u'"') {
      quoted = !quoted;
    } else if (text[i] == u',' && !quoted) {
      return i;
    }
  }
  return text.size();
}

// Takes the first component off the front, with the comma behind it.
std::u16string_view TakeComponent(std::u16string_view& name) {
  const std::size_t end = EndOfComponent(name);
  const std::u16string_view component = WithoutBlanks(name.substr(0, end));
  name.remove_prefix(std::min(end + 1, name.size()));
  return component;
}

}  // namespace

std::u16string_view DomainPartOf(std::u16string_view distinguishedName) {
  std::u16string_view domain;
  while (!distinguishedName.empty()) {
    const std::u16string_view fromHere = distinguishedName;
    if (!StartsWithIgnoringCase(TakeComponent(distinguishedName), kDomainComponent)) {
      domain = {};
    } else if (domain.empty()) {
      domain = fromHere;
    }
  }
  return WithoutBlanks(domain);
}

bool IsInDomain(std::u16string_view distinguishedName, std::u16string_view namingContext) {
  std::u16string_view domain = DomainPartOf(namingContext);
  if (domain.empty()) return EndsWithIgnoringCase(distinguishedName, namingContext);
  std::u16string_view own = DomainPartOf(distinguishedName);
  while (!domain.empty() && !own.empty()) {
    if (!EqualsIgnoringCase(TakeComponent(domain), TakeComponent(own))) return false;
  }
  return domain.empty() && own.empty();
}

std::u16string DnsNameOf(std::u16string_view namingContext) {
  std::u16string name;
  for (std::u16string_view rest = DomainPartOf(namingContext); !rest.empty();) {
    if (!name.empty()) name.push_back(u'.');
    name.append(TakeComponent(rest).substr(kDomainComponent.size()));
  }
  return name;
}

}  // namespace zorvan::platform
