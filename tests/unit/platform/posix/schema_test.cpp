#include "platform/posix/schema.h"

#include <gtest/gtest.h>

#include <string>

namespace zorvan::platform::posix {
namespace {

TEST(Schema, KnowsNoAttributesBesidesThoseOfTheTable) {
  EXPECT_EQ(BuiltInType("wWWHomePage"), AdsType::kCaseIgnoreString);  // the last one
  for (std::string_view unknown : {"", "a", "pwdLastSe", "pwdLastSet2", "zz", "pwdLastSet;x"}) {
    EXPECT_FALSE(BuiltInType(unknown).has_value()) << unknown;
  }
}

TEST(Schema, TellsNamesFromNamesWithSomethingAttached) {
  const std::string orName = "\x56\x06\x01\x02\x05\x0B\x1D";
  EXPECT_EQ(TypeOfSyntax("2.5.5.7", {}), AdsType::kDnWithBinary);
  EXPECT_EQ(TypeOfSyntax("2.5.5.7", std::as_bytes(std::span(orName))), AdsType::kDnString);
  EXPECT_EQ(TypeOfSyntax("2.5.5.14", {}), AdsType::kDnWithString);
  EXPECT_EQ(TypeOfSyntax("2.5.5.99", {}), AdsType::kProviderSpecific);
}

}  // namespace
}  // namespace zorvan::platform::posix
