#include "platform/posix/search_filter.h"

#include <gtest/gtest.h>
#include <lber.h>

#include <span>
#include <string>

#include "platform/filter_value.h"
#include "platform/posix/unicode.h"

// Exported by the protocol library, though not in its public headers.
extern "C" int ldap_pvt_put_filter(BerElement* ber, const char* filter);

namespace zorvan::platform::posix {
namespace {

struct Case {
  std::u16string_view filter;
  std::string_view normalized;
};

std::string Normalized(std::u16string_view filter) {
  std::string out;
  return NormalizeFilter(filter, out) == kOk ? out : "refused";
}

// The protocol library encodes what comes out, so it must not refuse any of it.
bool LibraryEncodes(const std::string& filter) {
  BerElement* ber = ber_alloc_t(LBER_USE_DER);
  const int result = ldap_pvt_put_filter(ber, filter.c_str());
  ber_free(ber, 1);
  return result == 0;
}

void ExpectNormalized(std::span<const Case> cases) {
  for (const Case& expected : cases) {
    const std::string normalized = Normalized(expected.filter);
    EXPECT_EQ(normalized, expected.normalized) << testing::PrintToString(expected.filter);
    EXPECT_EQ(Normalized(ToUtf16(normalized)), normalized) << "normalized twice";
    EXPECT_TRUE(LibraryEncodes(normalized)) << normalized;
  }
}

template <typename... Texts>
void ExpectKept(const Texts&... filters) {
  for (std::string_view filter : {std::string_view(filters)...}) {
    EXPECT_EQ(Normalized(ToUtf16(filter)), filter);
    EXPECT_TRUE(LibraryEncodes(std::string(filter))) << filter;
  }
}

template <typename... Texts>
void ExpectRefused(const Texts&... filters) {
  for (std::u16string_view filter : {std::u16string_view(filters)...}) {
    EXPECT_EQ(Normalized(filter), "refused") << testing::PrintToString(filter);
  }
}

TEST(SearchFilter, OfTheStandardStaysAsItIs) {
  ExpectKept("(cn=a)", "(&(a=b)(|(c=d)(!(e=f))))", "(cn=*)", "(cn=a*b*c)", "(cn=*a*)",
             "(pwdLastSet<=5)", "(whenCreated>=20240101000000.0Z)", "(cn~=smith)", "(cn;lang-de=x)",
             "(2.5.4.3=x)", "(userAccountControl:1.2.840.113556.1.4.803:=2)", "(cn:=x)",
             "(:caseExactMatch:=x)", "(ou:dn:=x)", "(ou:dn:2.5.13.5:=x)",
             "(cn=\\2a\\28\\29\\5c\\00)", "(cn= x )", "(manager=CN=a\\5c, b,OU=c,DC=d)",
             "(protocolSettings=*\xC2\xA7*)", "(member=<SID=S-1-5-21-1>)", "(cn=a=b)");
}

TEST(SearchFilter, MayBeWrittenAsTheDirectorysClientAllows) {
  constexpr Case kCases[] = {
      {u"objectClass=x", "(objectClass=x)"},
      {u"", "(objectClass=*)"},
      {u"  ", "(objectClass=*)"},
      {u"(!attr=*)", "(!(attr=*))"},
      {u"(&(a=b)(!manager=*))", "(&(a=b)(!(manager=*)))"},
      {u"(!cn=SystemMailbox{*)", "(!(cn=SystemMailbox{*))"},
      {u"(!attr:1.2.840.113556.1.4.803:=65536)", "(!(attr:1.2.840.113556.1.4.803:=65536))"},
      {u"(|(!lastlogon=*)(lastlogon<=5))", "(|(!(lastlogon=*))(lastlogon<=5))"},
      {u"(&objectClass=x)(cn=y)", "(&(&(objectClass=x))(cn=y))"},
      {u"(&objectClass=x(cn=y))", "(&(objectClass=x)(cn=y))"},
      {u"(a=b)(c=d)", "(&(a=b)(c=d))"},
      {u" ( & (a=b) (c=d) ) ", "(&(a=b)(c=d))"},
      {u"(! (a=b) )", "(!(a=b))"},
      {u"((a=b))", "(a=b)"},
      {u"( cn =a)", "(cn=a)"},
      {u"(cn=a**b)", "(cn=a*b)"},
      {u"(cn=***)", "(cn=*)"},
  };
  ExpectNormalized(kCases);
}

TEST(SearchFilter, KeepsValuesFromBeingTakenForSyntax) {
  using namespace std::string_view_literals;
  const Case cases[] = {
      {u"(cn=a\\*b)", "(cn=a\\2ab)"},
      {u"(cn=a\\(b\\)\\\\c)", "(cn=a\\28b\\29\\5cc)"},
      {u"(manager=CN=Smith\\, John,DC=b)", "(manager=CN=Smith\\5c, John,DC=b)"},
      {u"(cn=a\\2)", "(cn=a\\5c2)"},
      {u"(cn=a\\zz)", "(cn=a\\5czz)"},
      {u"(cn=a\0b)"sv, "(cn=a\\00b)"},
      {u"(cn>=a*)", "(cn>=a\\2a)"},
      {u"(cn:=a*)", "(cn:=a\\2a)"},
      {u"(cn=\u00A7\u00EB\U0001F600)", "(cn=\xC2\xA7\xC3\xAB\xF0\x9F\x98\x80)"},
      {u"cn=a\\)b", "(cn=a\\29b)"},
  };
  ExpectNormalized(cases);
}

TEST(SearchFilter, IsRefusedWhenItMeansNothing) {
  using namespace std::string_view_literals;
  ExpectRefused(u"("sv, u")"sv, u"()"sv, u"(cn)"sv, u"(cn=)"sv, u"(=x)"sv, u"cn"sv, u"cn=a)"sv,
                u"(cn=a"sv, u"(cn=a))"sv, u"(cn=a)x"sv, u"(cn=a(b)"sv, u"(cn=a(b))"sv, u"(&)"sv,
                u"(|)"sv, u"(!)"sv, u"(!(a=b)(c=d))"sv, u"(&(a=b)"sv, u"(c n=x)"sv, u"(c\0n=x)"sv,
                u"\0"sv, u"(cn=a)\0"sv, u"(cn::=x)"sv, u"(:=x)"sv, u"(:dn:=x)"sv, u"(:Dn:=x)"sv,
                u"(cn:dn:bad oid:=x)"sv, u"(1..2=x)"sv, u"(cn;=x)"sv, u"(>=5)"sv, u"(*=x)"sv,
                u"(\u00EB=x)"sv);
}

TEST(SearchFilter, MayBeNestedToTheLimitAndNotBeyond) {
  const auto nested = [](int depth, std::u16string_view opening, std::u16string_view closing) {
    std::u16string filter;
    for (int i = 0; i < depth; ++i) filter += opening;
    filter += u"cn=x";
    for (int i = 0; i < depth; ++i) filter += closing;
    return filter;
  };
  EXPECT_NE(Normalized(nested(kMaxFilterDepth, u"(", u")")), "refused");
  EXPECT_EQ(Normalized(nested(kMaxFilterDepth + 1, u"(", u")")), "refused");
  EXPECT_EQ(Normalized(nested(100000, u"(&", u")")), "refused");
  EXPECT_EQ(Normalized(u"(" + nested(100000, u"!", u"") + u")"), "refused");
}

TEST(SearchFilter, FindsAnEscapedValueAgainAsItWas) {
  using namespace std::string_view_literals;
  const std::u16string filter = u"(cn=" + EscapeFilterValue(u"a*(b)\\2a\0\u00EB"sv) + u")";
  EXPECT_EQ(Normalized(filter), "(cn=a\\2a\\28b\\29\\5c2a\\00\xC3\xAB)");
}

}  // namespace
}  // namespace zorvan::platform::posix
