// The domain that a distinguished name lies in, read from the name alone.
#pragma once

#include <string>
#include <string_view>

namespace zorvan::platform {

// The domain components ("DC=...") that the name ends with: "DC=example, DC=com" of
// "OU=a\,DC=b, DC=example, DC=com". Empty when it ends otherwise. Escaped and quoted commas do not
// end a component.
std::u16string_view DomainPartOf(std::u16string_view distinguishedName);

// Whether an object of this name is held by the domain with that naming context, and not by a child
// of it or by a partition of applications: their names end alike but have further domain
// components. A naming context without domain components holds every name that ends with it.
bool IsInDomain(std::u16string_view distinguishedName, std::u16string_view namingContext);

// "example.com" of "DC=example,DC=com"; empty for a name without domain components.
std::u16string DnsNameOf(std::u16string_view namingContext);

}  // namespace zorvan::platform
