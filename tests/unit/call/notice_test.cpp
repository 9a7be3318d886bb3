#include "call/notice.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/call_fixture.h"

namespace zorvan::call {
namespace {

class Names final : public NoticeList {
 public:
  void AddNotice(std::string_view name, const Notice&) override { names.emplace_back(name); }
  std::vector<std::string> names;
};

class NoticeTest : public support::CallFixture {};

TEST_F(NoticeTest, LogonIsForTheLogAloneAndNtlmForTheCallerToo) {
  Names names;
  AddNotice(handler, &names, {NoticeKind::kLoggedOn, u"dc1", u"Kerberos, for ldap/dc1", 0});
  AddNotice(handler, &names, {NoticeKind::kNtlmUsed, u"192.0.2.7", u"an address", 0});
  EXPECT_EQ(names.names, std::vector<std::string>{"NtlmUsed"});
  EXPECT_EQ(log.Count(u"Logged on to dc1 by Kerberos, for ldap/dc1"), 1U);
  EXPECT_EQ(log.Count(u"Logged on to 192.0.2.7 by NTLM: an address"), 1U);
}

}  // namespace
}  // namespace zorvan::call
