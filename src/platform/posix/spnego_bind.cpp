#include "platform/posix/spnego_bind.h"

#include <gssapi/gssapi_krb5.h>
#include <ldap.h>

#include <memory>
#include <utility>

#include "platform/posix/ldap_result.h"
#include "platform/posix/sealed_transport.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr const char* kSaslMechanism = "GSS-SPNEGO";
constexpr int kMostLegs = 10;
constexpr OM_uint32 kMutual = GSS_C_MUTUAL_FLAG | GSS_C_REPLAY_FLAG | GSS_C_SEQUENCE_FLAG;
constexpr OM_uint32 kProtection = GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG;
constexpr HResult kNoCredentials = MakeHResult(0x8009030EU);  // SEC_E_NO_CREDENTIALS

struct FreeBerval {
  void operator()(berval* value) const { ber_bvfree(value); }
};
using ServerToken = std::unique_ptr<berval, FreeBerval>;

struct FreeMessage {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};

GssName ImportTarget(const SpnegoRequest& request) {
  GssName name;
  gss_buffer_desc text = {request.target.size(), const_cast<char*>(request.target.data())};
  OM_uint32 minor = 0;
  gss_OID const type = request.targetIsPrincipal ? const_cast<gss_OID>(GSS_KRB5_NT_PRINCIPAL_NAME)
                                                 : GSS_C_NT_HOSTBASED_SERVICE;
  gss_import_name(&minor, &text, type, name.out());
  return name;
}

// Sends one token and waits for the answer: LDAP_SUCCESS, LDAP_SASL_BIND_IN_PROGRESS, or why not.
HResult ExchangeToken(LdapConnection& connection, const GssBuffer& token, int& state,
                      ServerToken& answer, ExtendedError& error) {
  berval sent = {token.size(), static_cast<char*>(token.data())};
  int messageId = 0;
  state = ldap_sasl_bind(connection.handle(), "", kSaslMechanism, &sent, nullptr, nullptr, &messageId);
  if (state != LDAP_SUCCESS) return ResultOf(connection.handle(), nullptr, error);
  LDAPMessage* received = nullptr;
  const HResult waited = connection.AwaitMessage(messageId, LDAP_MSG_ALL, received);
  const std::unique_ptr<LDAPMessage, FreeMessage> message(received);
  if (Failed(waited)) {
    error = {0, u"the server does not answer the bind"};
    return waited;
  }
  berval* credentials = nullptr;
  ldap_parse_sasl_bind_result(connection.handle(), received, &credentials, 0);
  answer.reset(credentials);
  ldap_parse_result(connection.handle(), received, &state, nullptr, nullptr, nullptr, nullptr, 0);
  if (state == LDAP_SUCCESS || state == LDAP_SASL_BIND_IN_PROGRESS) return kOk;
  return ResultOf(connection.handle(), received, error);
}

}  // namespace

HResult SpnegoBind(LdapConnection& connection, const SpnegoRequest& request, ExtendedError& error) {
  const GssName target = ImportTarget(request);
  const OM_uint32 wanted = kMutual | (request.protect ? kProtection : 0U);
  GssContext context;
  ServerToken answer;
  OM_uint32 agreed = 0;
  OM_uint32 major = GSS_S_CONTINUE_NEEDED;
  int state = LDAP_SASL_BIND_IN_PROGRESS;
  for (int leg = 0; leg < kMostLegs; ++leg) {
    gss_buffer_desc input = {answer ? answer->bv_len : 0, answer ? answer->bv_val : nullptr};
    GssBuffer output;
    OM_uint32 minor = 0;
    if (major == GSS_S_CONTINUE_NEEDED) {
      major = gss_init_sec_context(&minor, request.credential, context.out(), target.get(),
                                   request.mechanism, wanted, 0, GSS_C_NO_CHANNEL_BINDINGS, &input,
                                   nullptr, output.out(), &agreed, nullptr);
    }
    if (GSS_ERROR(major)) {
      error = {0, ToUtf16(GssText(major, minor, request.mechanism))};
      return GSS_ROUTINE_ERROR(major) == GSS_S_NO_CRED ? kNoCredentials : kLogonFailure;
    }
    if (state == LDAP_SUCCESS) break;
    const HResult result = ExchangeToken(connection, output, state, answer, error);
    if (Failed(result)) return result;
    const bool hasAnswer = answer != nullptr && answer->bv_len > 0;
    if (state == LDAP_SUCCESS && (major == GSS_S_COMPLETE || !hasAnswer)) break;
  }

  if (state != LDAP_SUCCESS || major != GSS_S_COMPLETE) {
    error = {0, u"the server ended the bind before the two sides were done"};
    return kLogonFailure;
  }
  if (!request.protect) return kOk;
  if ((agreed & kProtection) != kProtection) {
    error = {0, u"signing and sealing could not be agreed on"};
    return HResultFromLdap(LDAP_CONFIDENTIALITY_REQUIRED, {});
  }
  Sockbuf* socket = nullptr;
  ldap_get_option(connection.handle(), LDAP_OPT_SOCKBUF, &socket);
  return InstallSealedTransport(socket, std::move(context), true) ? kOk : kUnexpected;
}

}  // namespace zorvan::platform::posix
