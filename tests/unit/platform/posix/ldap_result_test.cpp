#include "platform/posix/ldap_result.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/posix/logon_failure.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

// The published table "Win32 error codes" of the directory interface's reference, in its order. Its
// names are those of the platform's own LDAP library, whose numbers for failures on the client's
// side differ.
struct Published {
  std::uint32_t hresult;
  int ldap;
};
constexpr Published kPublished[] = {
    {0x00000000, LDAP_SUCCESS},
    {0x80070005, LDAP_INSUFFICIENT_ACCESS},
    {0x80070008, LDAP_NO_MEMORY},
    {0x8007001f, LDAP_OTHER},
    {0x800700ea, LDAP_PARTIAL_RESULTS},
    {0x800700ea, LDAP_MORE_RESULTS_TO_RETURN},
    {0x800704c7, LDAP_USER_CANCELLED},
    {0x800704c9, LDAP_CONNECT_ERROR},
    {0x8007052e, LDAP_INVALID_CREDENTIALS},
    {0x800705b4, LDAP_TIMEOUT},
    {0x80071392, LDAP_ALREADY_EXISTS},
    {0x8007200a, LDAP_NO_SUCH_ATTRIBUTE},
    {0x8007200b, LDAP_INVALID_SYNTAX},
    {0x8007200c, LDAP_UNDEFINED_TYPE},
    {0x8007200d, LDAP_TYPE_OR_VALUE_EXISTS},
    {0x8007200e, LDAP_BUSY},
    {0x8007200f, LDAP_UNAVAILABLE},
    {0x80072014, LDAP_OBJECT_CLASS_VIOLATION},
    {0x80072015, LDAP_NOT_ALLOWED_ON_NONLEAF},
    {0x80072016, LDAP_NOT_ALLOWED_ON_RDN},
    {0x80072017, LDAP_NO_OBJECT_CLASS_MODS},
    {0x80072020, LDAP_OPERATIONS_ERROR},
    {0x80072021, LDAP_PROTOCOL_ERROR},
    {0x80072022, LDAP_TIMELIMIT_EXCEEDED},
    {0x80072023, LDAP_SIZELIMIT_EXCEEDED},
    {0x80072024, LDAP_ADMINLIMIT_EXCEEDED},
    {0x80072025, LDAP_COMPARE_FALSE},
    {0x80072026, LDAP_COMPARE_TRUE},
    {0x80072027, LDAP_AUTH_METHOD_NOT_SUPPORTED},
    {0x80072028, LDAP_STRONG_AUTH_REQUIRED},
    {0x80072029, LDAP_INAPPROPRIATE_AUTH},
    {0x8007202a, LDAP_AUTH_UNKNOWN},
    {0x8007202b, LDAP_REFERRAL},
    {0x8007202c, LDAP_UNAVAILABLE_CRITICAL_EXTENSION},
    {0x8007202d, LDAP_CONFIDENTIALITY_REQUIRED},
    {0x8007202e, LDAP_INAPPROPRIATE_MATCHING},
    {0x8007202f, LDAP_CONSTRAINT_VIOLATION},
    {0x80072030, LDAP_NO_SUCH_OBJECT},
    {0x80072031, LDAP_ALIAS_PROBLEM},
    {0x80072032, LDAP_INVALID_DN_SYNTAX},
    {0x80072033, LDAP_IS_LEAF},
    {0x80072034, LDAP_ALIAS_DEREF_PROBLEM},
    {0x80072035, LDAP_UNWILLING_TO_PERFORM},
    {0x80072036, LDAP_LOOP_DETECT},
    {0x80072037, LDAP_NAMING_VIOLATION},
    {0x80072038, 70},
    {0x80072039, LDAP_AFFECTS_MULTIPLE_DSAS},
    {0x8007203a, LDAP_SERVER_DOWN},
    {0x8007203b, LDAP_LOCAL_ERROR},
    {0x8007203c, LDAP_ENCODING_ERROR},
    {0x8007203d, LDAP_DECODING_ERROR},
    {0x8007203e, LDAP_FILTER_ERROR},
    {0x8007203f, LDAP_PARAM_ERROR},
    {0x80072040, LDAP_NOT_SUPPORTED},
    {0x80072041, LDAP_NO_RESULTS_RETURNED},
    {0x80072042, LDAP_CONTROL_NOT_FOUND},
    {0x80072043, LDAP_CLIENT_LOOP},
    {0x80072044, LDAP_REFERRAL_LIMIT_EXCEEDED},
};

TEST(LdapResult, EveryCodeIsMappedAsPublished) {
  for (const Published& row : kPublished) {
    EXPECT_EQ(Bits(HResultFromLdap(row.ldap)), row.hresult) << ldap_err2string(row.ldap);
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
       "8009030C: LdapErr: DSID-0C0904DC, comment: AcceptSecurityContext error, data 775, v1db1",
       1909, "locked"},
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
