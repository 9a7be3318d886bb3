// TLS with the real controller: whom to trust, what a refusal says, and what binds a ticket to the
// connection.
#include <gssapi/gssapi_ext.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "attempt.h"
#include "platform/posix/channel_binding.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/spnego_bind.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

using live::Attempt;
using live::Identity;
using live::Reader;
using live::TestDomain;
using live::WrongPasswords;

// trust: empty for the system's authorities.
Attempt TryOpen(const std::string& host, const Credentials& credentials, const std::string& trust,
                std::uint32_t flags = kSecureAuthentication) {
  CallConditions conditions;
  conditions.terms.trustedAuthorities = ToUtf16(trust);
  Attempt attempt;
  attempt.result = LdapConnection::Open({host, 636}, credentials, flags, attempt.connection,
                                        attempt.error, conditions);
  return attempt;
}

TEST(Tls, TrustedAuthorityLetsBothKindsOfBindThrough) {
  const TestDomain& domain = TestDomain::Get();
  const Identity reader = Reader();
  const Attempt secure = TryOpen(domain["host"], reader.credentials(), domain["caFile"]);
  ASSERT_EQ(secure.result, kOk) << secure.words();
  EXPECT_EQ(secure.connection->authentication(), Authentication::kSimple);
  const std::u16string principal = reader.user + u"@" + domain.Wide("dnsDomain");
  const Attempt simple =
      TryOpen(domain["host"], {principal, reader.password}, domain["caFile"], kUseEncryption);
  EXPECT_EQ(simple.result, kOk) << simple.words();
}

TEST(Tls, UnknownAuthorityEndsBeforeAPasswordIsSent) {
  const TestDomain& domain = TestDomain::Get();
  ASSERT_EQ(TryOpen(domain["host"], Reader().credentials(), domain["caFile"]).result, kOk);
  const std::vector<std::string> before = WrongPasswords();
  const Attempt attempt = TryOpen(domain["host"], {Reader().user, u"not the password"}, "");
  EXPECT_EQ(attempt.result, kServerDown);
  EXPECT_NE(attempt.words().find("issuer is unknown"), std::string::npos) << attempt.words();
  EXPECT_EQ(WrongPasswords(), before);
}

TEST(Tls, RefusalOfAnotherNameListsTheNamesThatTheCertificateHas) {
  const TestDomain& domain = TestDomain::Get();
  // The name resolves to the controller, whose certificate does not hold it.
  const Attempt attempt = TryOpen(domain["aliasHost"], Reader().credentials(), domain["caFile"]);
  EXPECT_EQ(attempt.result, kServerDown);
  EXPECT_NE(attempt.words().find("not for " + domain["aliasHost"] + " but for " + domain["host"]),
            std::string::npos)
      << attempt.words();
}

// ---- The identity of the process

// A ticket cache of the reader, as long as the object lives.
class ReadersTickets {
 public:
  ReadersTickets() {
    const TestDomain& domain = TestDomain::Get();
    file_ = (std::filesystem::temp_directory_path() / "zorvan-tickets-XXXXXX").string();
    close(mkstemp(file_.data()));
    setenv("KRB5_CONFIG", domain["krb5Conf"].c_str(), 1);
    setenv("KRB5CCNAME", ("FILE:" + file_).c_str(), 1);
    const std::string command = "kinit " + domain["readerUserName"] + "@" + domain["realm"] +
                                " <'" + domain["readerPasswordFile"] + "' >/dev/null";
    made_ = std::system(command.c_str()) == 0;
  }
  ~ReadersTickets() {
    unsetenv("KRB5CCNAME");
    unsetenv("KRB5_CONFIG");
    std::filesystem::remove(file_);
  }
  bool made() const { return made_; }

 private:
  std::string file_;
  bool made_ = false;
};

// This controller accepts the ticket and then keeps to its policy: it demands signing of SASL binds
// even inside TLS, where the client does not sign.
TEST(Tls, TicketOfTheProcessIsGoodInsideTlsAsFarAsThePolicyOfTheController) {
  const ReadersTickets tickets;
  ASSERT_TRUE(tickets.made());
  const TestDomain& domain = TestDomain::Get();
  const Attempt attempt = TryOpen(domain["host"], {}, domain["caFile"]);
  EXPECT_EQ(attempt.result, HResultFromWin32(8232)) << attempt.words();
  EXPECT_NE(attempt.words().find("Sign or Seal are required"), std::string::npos)
      << attempt.words();
}

// The controller's side of a bind, with the controller's own key, which knows its TLS connection by
// a binding of its own.
class Acceptor {
 public:
  explicit Acceptor(std::string binding) : binding_(std::move(binding)) {
    const std::string keys =
        "FILE:" + std::filesystem::path(TestDomain::Get()["samLdb"]).parent_path().string() +
        "/secrets.keytab";
    gss_key_value_element_desc keytab{"keytab", keys.c_str()};
    const gss_key_value_set_desc store{1, &keytab};
    OM_uint32 minor = 0;
    EXPECT_EQ(gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, GSS_C_NO_OID_SET,
                                    GSS_C_ACCEPT, &store, credential_.Put(), nullptr, nullptr),
              GSS_S_COMPLETE);
  }

  HResult Take(std::string_view token, BindAnswer& answer) {
    gss_channel_bindings_struct channel{};
    channel.application_data = {binding_.size(), binding_.data()};
    gss_buffer_desc input{token.size(), const_cast<char*>(token.data())};
    GssBuffer output;
    OM_uint32 minor = 0;
    status_ = gss_accept_sec_context(&minor, context_.InOut(), credential_.get(), &input, &channel,
                                     nullptr, nullptr, output.Put(), nullptr, nullptr, nullptr);
    if (GSS_ERROR(status_)) return kLogonFailure;
    berval bytes{output.size(), static_cast<char*>(output.data())};
    *answer.token.Put() = ber_bvdup(&bytes);
    answer.complete = status_ == GSS_S_COMPLETE;
    return kOk;
  }
  OM_uint32 status() const { return status_; }

 private:
  std::string binding_;
  GssCredential credential_;
  GssContext context_;
  OM_uint32 status_ = GSS_S_FAILURE;
};

TEST(Tls, TokenOfTheProcessIsGoodInItsOwnTlsConnectionOnly) {
  const ReadersTickets tickets;
  ASSERT_TRUE(tickets.made());
  const TestDomain& domain = TestDomain::Get();
  const std::string here = "tls-server-end-point:" + std::string(32, 'h');
  const std::string elsewhere = "tls-server-end-point:" + std::string(32, 'e');
  for (const std::string& binding : {here, elsewhere}) {
    Acceptor acceptor(here);
    ExtendedError error;
    const SpnegoOutcome outcome = BindAsProcess(
        {"ldap/" + domain["host"]}, domain["realm"], MessageLayers::kNone, binding,
        [&](std::string_view token, BindAnswer& answer, ExtendedError&) {
          return acceptor.Take(token, answer);
        },
        error);
    EXPECT_EQ(Succeeded(outcome.result), binding == here) << ToUtf8(error.text);
    EXPECT_EQ(GSS_ERROR(acceptor.status()),
              binding == here ? GSS_S_COMPLETE : static_cast<OM_uint32>(GSS_S_BAD_BINDINGS));
  }
}

}  // namespace
}  // namespace zorvan::platform::posix
