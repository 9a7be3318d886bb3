#include "platform/posix/ldap_result.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/posix/logon_failure.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

// Those that callers tell apart; the rest of the table is judged by what controllers are seen to
// answer. The library's own codes differ from those that the interface's reference names.
TEST(LdapResult, CodesAreMappedAsPublished) {
  const std::pair<int, std::uint32_t> published[] = {
      {LDAP_SUCCESS, 0},
      {LDAP_SIZELIMIT_EXCEEDED, 0x80072023},
      {LDAP_STRONG_AUTH_REQUIRED, 0x80072028},
      {LDAP_INVALID_DN_SYNTAX, 0x80072032},
      {LDAP_INVALID_CREDENTIALS, 0x8007052e},
      {LDAP_INSUFFICIENT_ACCESS, 0x80070005},
      {LDAP_ALREADY_EXISTS, 0x80071392},
      {70, 0x80072038},
      {LDAP_SERVER_DOWN, 0x8007203a},
      {LDAP_TIMEOUT, 0x800705b4},
      {LDAP_FILTER_ERROR, 0x8007203e},
  };
  for (const auto& [ldap, hresult] : published) {
    EXPECT_EQ(Bits(HResultFromLdap(ldap)), hresult) << ldap_err2string(ldap);
  }
}

TEST(LdapResult, EveryCodeWithoutANameIsAFailure) {
  for (int code = -128; code < 256; ++code) {
    EXPECT_EQ(Failed(HResultFromLdap(code)), code != LDAP_SUCCESS) << code;
  }
}

// Texts as servers send them: a directory controller of each kind, and a server that is none.
TEST(LdapResult, TextNamesTheReason) {
  struct Case {
    int ldap;
    const char* text;
    Win32Code code;
    const char* said;
  };
  const Case cases[] = {
      {LDAP_INVALID_CREDENTIALS,
       "80090308: LdapErr: DSID-0C090439, comment: AcceptSecurityContext error, data 533, v4563",
       1331, "disabled"},
      {LDAP_INVALID_CREDENTIALS,
       "80090308: LdapErr: DSID-0C09030B, comment: AcceptSecurityContext error, data 525, v893",
       1326, "password is wrong"},
      {LDAP_INVALID_CREDENTIALS,
       "80090346: LdapErr: DSID-0C09070F, comment: AcceptSecurityContext error, data 80090346, v4",
       0x80090346, "refused"},
      {LDAP_INVALID_CREDENTIALS, "", 1326, "password is wrong"},
      {LDAP_INVALID_CREDENTIALS, "comment, data ", 1326, "password is wrong"},
      {LDAP_NO_SUCH_OBJECT,
       "0000208D: NameErr: DSID-03100241, problem 2001 (NO_OBJECT), data 0, best match of:\n\t''\n",
       0x208D, "NO_OBJECT"},
      {LDAP_CONSTRAINT_VIOLATION, "0000052D: Constraint violation - check_password_restrictions",
       0x52D, "check_password"},
      {LDAP_OPERATIONS_ERROR, "80090308: LdapErr", 0x2020, "LdapErr"},
      {LDAP_UNWILLING_TO_PERFORM, "00002035", 0x2035, "00002035"},
      {LDAP_BUSY, "0000zz35: no number", 0x200E, "no number"},
      {LDAP_BUSY, "", 0x200E, "busy"},
  };
  for (const Case& test : cases) {
    const ExtendedError error = ExtendedErrorFromLdap(test.ldap, test.text);
    EXPECT_EQ(error.code, test.code) << test.text;
    EXPECT_NE(ToUtf8(error.text).find(test.said), std::string::npos) << ToUtf8(error.text);
  }
  EXPECT_EQ(ExtendedErrorFromLdap(LDAP_NO_SUCH_OBJECT, std::string_view("gone\n\0", 6)).text,
            u"gone");
}

TEST(LdapResult, StatusOfADistributionCentreAndDataOfABindAgree) {
  // NTSTATUS and ERROR_* of the same state of an account, as the error references pair them.
  constexpr std::pair<std::uint32_t, Win32Code> kStates[] = {
      {0xC000006F, 0x530}, {0xC0000070, 0x531}, {0xC0000071, 0x532}, {0xC0000072, 0x533},
      {0xC0000193, 0x701}, {0xC0000224, 0x773}, {0xC0000234, 0x775}};
  for (const auto& [status, code] : kStates) {
    EXPECT_EQ(LogonFailureFromStatus(status), code) << std::hex << status;
    EXPECT_NE(LogonFailure(code).text, LogonFailure(0).text) << std::hex << code;
  }
  EXPECT_EQ(LogonFailureFromStatus(0xC00002FA), kLogonFailureCode);
}

}  // namespace
}  // namespace zorvan::platform::posix
