#include "platform/distinguished_name.h"

#include <gtest/gtest.h>

namespace zorvan::platform {
namespace {

TEST(DistinguishedName, LiesInTheDomainThatItEndsWithAndInNoneAroundIt) {
  constexpr std::u16string_view kDomain = u"DC=example,DC=com";
  const std::u16string_view inside[] = {
      u"DC=example,DC=com",
      u"CN=Ann,OU=Staff,DC=example,DC=com",
      u"cn=ann,dc=EXAMPLE, dc=com",
      u"CN=a\\,DC=child,DC=example,DC=com",
      u"OU=DC\\=child\\,DC\\=x,DC=example,DC=com",
      u"OU=\"x,DC=child\",DC=example,DC=com",
      u"DC=host,DC=zone.test,CN=MicrosoftDNS,CN=System,DC=example,DC=com",
  };
  for (std::u16string_view name : inside) EXPECT_TRUE(IsInDomain(name, kDomain)) << name.size();
  const std::u16string_view outside[] = {
      u"CN=Ann,DC=child,DC=example,DC=com",
      u"DC=DomainDnsZones,DC=example,DC=com",
      u"DC=host,CN=x,DC=ForestDnsZones,DC=example,DC=com",
      u"CN=x\\,DC=example,DC=com",
      u"CN=Ann,DC=myexample,DC=com",
      u"CN=Ann,DC=com",
      u"CN=Ann,DC=example,DC=com,O=x",
      u"CN=Ann\\",
      u"",
  };
  for (std::u16string_view name : outside) EXPECT_FALSE(IsInDomain(name, kDomain)) << name.size();
  EXPECT_FALSE(IsInDomain(u"CN=Ann,DC=example,DC=com", u"DC=child,DC=example,DC=com"));
  EXPECT_TRUE(IsInDomain(u"CN=Ann,O=Org", u"O=org"));
}

TEST(DistinguishedName, OfADomainHasADnsName) {
  EXPECT_EQ(DnsNameOf(u"DC=Example, DC=com"), u"Example.com");
  EXPECT_EQ(DnsNameOf(u"CN=Configuration,DC=example,DC=com"), u"example.com");
  EXPECT_EQ(DnsNameOf(u"O=Org"), u"");
}

}  // namespace
}  // namespace zorvan::platform
