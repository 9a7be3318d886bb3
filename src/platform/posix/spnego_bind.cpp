#include "platform/posix/spnego_bind.h"

#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>

#include <mutex>

#include "platform/posix/logon_failure.h"

namespace zorvan::platform::posix {
namespace {

// More legs than any mechanism takes.
constexpr int kMostLegs = 10;

gss_OID_desc spnegoMechanism{6, const_cast<char*>("\x2b\x06\x01\x05\x05\x02")};
gss_OID_desc kerberosMechanism{9, const_cast<char*>("\x2a\x86\x48\x86\xf7\x12\x01\x02\x02")};
gss_OID_desc ntlmMechanism{10, const_cast<char*>("\x2b\x06\x01\x04\x01\x82\x37\x02\x02\x0a")};

gss_buffer_desc BufferOf(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

void AppendStatus(std::string& text, OM_uint32 status, int kind, gss_OID mechanism) {
  OM_uint32 more = 0;
  do {
    OM_uint32 minor = 0;
    GssBuffer message;
    if (GSS_ERROR(gss_display_status(&minor, status, kind, mechanism, &more, message.Put())))
      return;
    if (!text.empty()) text += "; ";
    std::string_view words(static_cast<const char*>(message.data()), message.size());
    while (words.ends_with('\0')) words.remove_suffix(1);  // some mechanisms count their terminator
    text.append(words);
  } while (more != 0);
}

ExtendedError GssError(OM_uint32 major, OM_uint32 minor, gss_OID mechanism) {
  std::string text;
  AppendStatus(text, major, GSS_C_GSS_CODE, GSS_C_NO_OID);
  if (minor != 0) AppendStatus(text, minor, GSS_C_MECH_CODE, mechanism);
  return {kLogonFailureCode, ToUtf16(text)};
}

SpnegoOutcome FailedHere(OM_uint32 major, OM_uint32 minor, gss_OID mechanism,
                         ExtendedError& error) {
  error = GssError(major, minor, mechanism);
  return {.result = kLogonFailure, .nothingSent = true, .context = {}};
}

// The two ends of a security context in the making.
struct Negotiation {
  gss_cred_id_t credential;
  gss_OID mechanism;
  const GssName& target;
  MessageLayers layers;
  std::string_view channelBinding = {};
};

OM_uint32 RequiredFlags(MessageLayers layers) {
  constexpr OM_uint32 kProtection =
      GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_REPLAY_FLAG | GSS_C_SEQUENCE_FLAG;
  return GSS_C_MUTUAL_FLAG | (layers == MessageLayers::kSignedAndSealed ? kProtection : 0U);
}

// NTLM begins by asking winbind for the name of this computer, through a library that keeps its
// state without a lock.
std::unique_lock<std::mutex> GuardFirstLeg(const Negotiation& with, int leg) {
  static std::mutex winbind;
  return leg == 0 && with.mechanism == &ntlmMechanism ? std::unique_lock(winbind)
                                                      : std::unique_lock<std::mutex>();
}

// Takes turns with the server until both are content. The server must have proved itself and agreed
// to the layers.
SpnegoOutcome Negotiate(const Negotiation& with, const BindExchange& exchange,
                        ExtendedError& error) {
  const OM_uint32 required = RequiredFlags(with.layers);
  gss_channel_bindings_struct channel{};
  channel.application_data = BufferOf(with.channelBinding);
  SpnegoOutcome outcome;
  BindAnswer answer;
  OM_uint32 agreed = 0;
  OM_uint32 major = GSS_S_CONTINUE_NEEDED;
  for (int leg = 0; leg < kMostLegs; ++leg) {
    OM_uint32 minor = 0;
    GssBuffer token;
    if (major == GSS_S_CONTINUE_NEEDED) {
      const berval* received = answer.token.get();
      gss_buffer_desc input{received == nullptr ? 0 : received->bv_len,
                            received == nullptr ? nullptr : received->bv_val};
      const std::unique_lock<std::mutex> alone = GuardFirstLeg(with, leg);
      major = gss_init_sec_context(
          &minor, with.credential, outcome.context.InOut(), with.target.get(), with.mechanism,
          required, 0, with.channelBinding.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &channel, &input,
          nullptr, token.Put(), &agreed, nullptr);
      if (GSS_ERROR(major)) {
        error = GssError(major, minor, with.mechanism);
        return {.result = kLogonFailure, .nothingSent = leg == 0, .context = {}};
      }
    }
    if (answer.complete) break;
    outcome.result =
        exchange({static_cast<const char*>(token.data()), token.size()}, answer, error);
    if (Failed(outcome.result)) return outcome;
    if (answer.complete && major == GSS_S_COMPLETE) break;
  }
  constexpr OM_uint32 kMustHave = GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG;
  const bool agreedOnLayers =
      with.layers == MessageLayers::kNone || (agreed & kMustHave) == kMustHave;
  if (!answer.complete || major != GSS_S_COMPLETE || !agreedOnLayers) {
    error = {kLogonFailureCode, u"The server did not finish the secure bind as it was asked to."};
    outcome.result = kLogonFailure;
  }
  return outcome;
}

// SPNEGO shall offer Kerberos and nothing else; without layers it must not ask for integrity on its
// own.
OM_uint32 RestrictToKerberos(GssCredential& credential, MessageLayers layers, OM_uint32& minor) {
  gss_OID_set_desc kerberosOnly{1, &kerberosMechanism};
  const OM_uint32 major = gss_set_neg_mechs(&minor, credential.get(), &kerberosOnly);
  if (GSS_ERROR(major) || layers == MessageLayers::kSignedAndSealed) return major;
  gss_buffer_desc nothing = GSS_C_EMPTY_BUFFER;
  return gss_set_cred_option(&minor, credential.InOut(),
                             const_cast<gss_OID>(GSS_KRB5_CRED_NO_CI_FLAGS_X), &nothing);
}

SpnegoOutcome BindWithKerberos(GssCredential& credential, const std::string& service,
                               MessageLayers layers, const std::string& channelBinding,
                               const BindExchange& exchange, ExtendedError& error) {
  OM_uint32 minor = 0;
  OM_uint32 major = RestrictToKerberos(credential, layers, minor);
  GssName target;
  gss_buffer_desc name = BufferOf(service);
  if (!GSS_ERROR(major)) {
    major = gss_import_name(&minor, &name, const_cast<gss_OID>(GSS_KRB5_NT_PRINCIPAL_NAME),
                            target.Put());
  }
  if (GSS_ERROR(major)) return FailedHere(major, minor, &kerberosMechanism, error);
  return Negotiate({credential.get(), &spnegoMechanism, target, layers, channelBinding}, exchange,
                   error);
}

}  // namespace

// GSSAPI makes a Kerberos context of its own, by the configuration of the process. With the ticket
// at hand it needs nothing from there; where the configuration cannot be read it fails.
SpnegoOutcome BindWithTicket(const KerberosCredentials& credentials, const BindExchange& exchange,
                             ExtendedError& error) {
  gss_key_value_element_desc cache{"ccache", credentials.cacheName().c_str()};
  const gss_key_value_set_desc store{1, &cache};
  gss_OID_set_desc spnego{1, &spnegoMechanism};
  GssCredential credential;
  OM_uint32 minor = 0;
  const OM_uint32 major =
      gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &spnego, GSS_C_INITIATE,
                            &store, credential.Put(), nullptr, nullptr);
  if (GSS_ERROR(major)) return FailedHere(major, minor, &kerberosMechanism, error);
  return BindWithKerberos(credential, credentials.service(), MessageLayers::kSignedAndSealed, {},
                          exchange, error);
}

SpnegoOutcome BindAsProcess(const std::vector<std::string>& services, const std::string& realm,
                            MessageLayers layers, const std::string& channelBinding,
                            const BindExchange& exchange, ExtendedError& error) {
  gss_OID_set_desc spnego{1, &spnegoMechanism};
  GssCredential credential;
  OM_uint32 minor = 0;
  const OM_uint32 major = gss_acquire_cred(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &spnego,
                                           GSS_C_INITIATE, credential.Put(), nullptr, nullptr);
  SpnegoOutcome outcome;
  if (GSS_ERROR(major)) {
    outcome = FailedHere(major, minor, &kerberosMechanism, error);
  } else {
    for (const std::string& service : services) {
      std::string name = service;
      if (!realm.empty()) name.append("@").append(realm);
      outcome = BindWithKerberos(credential, name, layers, channelBinding, exchange, error);
      if (!outcome.nothingSent) return outcome;
    }
  }
  // Nobody gave a name or a password that could be wrong.
  outcome.result = kNoLogonSession;
  error.code = Bits(kNoLogonSession) & 0xFFFFU;
  error.text.insert(0, u"This process has no Kerberos identity for the server: ");
  return outcome;
}

SpnegoOutcome BindWithNtlm(const LogonName& name, const SecretText& password,
                           const std::string& host, const BindExchange& exchange,
                           ExtendedError& error) {
  // The mechanism would split a principal name at its "@"; the server is to look it up whole.
  const std::string account = name.domain + "\\" + name.user;
  gss_buffer_desc accountText = BufferOf(account);
  gss_buffer_desc passwordText = BufferOf({password.c_str(), password.size()});
  gss_OID_set_desc ntlm{1, &ntlmMechanism};
  GssName user;
  GssCredential credential;
  OM_uint32 minor = 0;
  OM_uint32 major = gss_import_name(&minor, &accountText, GSS_C_NT_USER_NAME, user.Put());
  if (!GSS_ERROR(major)) {
    major =
        gss_acquire_cred_with_password(&minor, user.get(), &passwordText, GSS_C_INDEFINITE, &ntlm,
                                       GSS_C_INITIATE, credential.Put(), nullptr, nullptr);
  }
  GssName target;
  const std::string service = "ldap@" + host;
  gss_buffer_desc serviceText = BufferOf(service);
  if (!GSS_ERROR(major)) {
    major = gss_import_name(&minor, &serviceText, GSS_C_NT_HOSTBASED_SERVICE, target.Put());
  }
  if (GSS_ERROR(major)) return FailedHere(major, minor, &ntlmMechanism, error);
  return Negotiate({credential.get(), &ntlmMechanism, target, MessageLayers::kSignedAndSealed},
                   exchange, error);
}

}  // namespace zorvan::platform::posix
