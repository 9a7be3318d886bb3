#include "platform/posix/spnego_bind.h"

#include <gssapi/gssapi_ext.h>
#include <gssapi/gssapi_krb5.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>

#include "platform/posix/kerberos_failure.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/ntlm_credentials.h"
#include "platform/posix/winbind_guard.h"

namespace zorvan::platform::posix {
namespace {

// More legs than any mechanism takes.
constexpr int kMaxLegs = 10;

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

// Failures of Kerberos have codes of their own; what cannot be told apart is no judgement on a
// password either.
HResult FailureOf(OM_uint32 major, OM_uint32 minor, gss_OID mechanism, ExtendedError& error) {
  error = GssError(major, minor, mechanism);
  if (mechanism == &ntlmMechanism) return kLogonFailure;
  return KerberosBindFailure(static_cast<krb5_error_code>(minor), error);
}

SpnegoOutcome FailedHere(OM_uint32 major, OM_uint32 minor, gss_OID mechanism,
                         ExtendedError& error) {
  const HResult result = FailureOf(major, minor, mechanism, error);
  return {.result = result, .nothingSent = true, .context = {}};
}

struct FirstLeg;

// The two ends of a security context in the making.
struct Negotiation {
  gss_cred_id_t credential;
  gss_OID mechanism;
  const GssName& target;
  MessageLayers layers;
  std::string_view channelBinding = {};
  FirstLeg* taken = nullptr;  // when the first leg has been taken already
};

OM_uint32 RequiredFlags(MessageLayers layers) {
  constexpr OM_uint32 kProtection =
      GSS_C_CONF_FLAG | GSS_C_INTEG_FLAG | GSS_C_REPLAY_FLAG | GSS_C_SEQUENCE_FLAG;
  return GSS_C_MUTUAL_FLAG | (layers == MessageLayers::kSignedAndSealed ? kProtection : 0U);
}

// The first leg of NTLM, which nobody may be waiting for any more when it ends.
struct FirstLeg {
  void Take() {
    major = gss_init_sec_context(&minor, credential->get(), context.InOut(), target.get(),
                                 &ntlmMechanism, RequiredFlags(MessageLayers::kSignedAndSealed), 0,
                                 GSS_C_NO_CHANNEL_BINDINGS, GSS_C_NO_BUFFER, nullptr, token.Put(),
                                 &agreed, nullptr);
  }

  SharedGssCredential credential;
  GssName target;
  GssContext context;
  GssBuffer token;
  OM_uint32 major = GSS_S_FAILURE;
  OM_uint32 minor = 0;
  OM_uint32 agreed = 0;
};

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
  if (with.taken != nullptr) {
    outcome.context = std::move(with.taken->context);
    const GssBuffer& token = with.taken->token;
    outcome.result =
        exchange({static_cast<const char*>(token.data()), token.size()}, answer, error);
    if (Failed(outcome.result)) return outcome;
  }
  for (int leg = with.taken == nullptr ? 0 : 1; leg < kMaxLegs; ++leg) {
    OM_uint32 minor = 0;
    GssBuffer token;
    if (major == GSS_S_CONTINUE_NEEDED) {
      const berval* received = answer.token.get();
      gss_buffer_desc input{received == nullptr ? 0 : received->bv_len,
                            received == nullptr ? nullptr : received->bv_val};
      major = gss_init_sec_context(
          &minor, with.credential, outcome.context.InOut(), with.target.get(), with.mechanism,
          required, 0, with.channelBinding.empty() ? GSS_C_NO_CHANNEL_BINDINGS : &channel, &input,
          nullptr, token.Put(), &agreed, nullptr);
      if (GSS_ERROR(major)) {
        const HResult result = FailureOf(major, minor, with.mechanism, error);
        return {.result = result, .nothingSent = leg == 0, .context = {}};
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
    error = {CodeOf(kLogonDenied),
             u"The server did not finish the secure bind as it was asked to."};
    outcome.result = kLogonDenied;
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
SpnegoOutcome BindWithTicket(const KerberosCredentials& credentials, MessageLayers layers,
                             const std::string& channelBinding, const BindExchange& exchange,
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
  return BindWithKerberos(credential, credentials.service(), layers, channelBinding, exchange,
                          error);
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
  if (GSS_ERROR(major)) outcome = FailedHere(major, minor, &kerberosMechanism, error);
  for (const std::string& service : services) {
    if (GSS_ERROR(major)) break;
    std::string name = service;
    if (!realm.empty()) name.append("@").append(realm);
    outcome = BindWithKerberos(credential, name, layers, channelBinding, exchange, error);
    if (outcome.result != kTargetUnknown || !outcome.nothingSent) break;
  }
  if (!outcome.nothingSent || outcome.result == kTargetUnknown) return outcome;
  // GSSAPI does not tell a missing ticket from one that has expired, nor both from a configuration
  // that cannot be read.
  ExtendedError identity;
  const HResult judged = JudgeProcessIdentity(identity);
  if (Failed(judged)) {
    outcome.result = judged;
    error = std::move(identity);
  }
  return outcome;
}

namespace {

// One that was accepted before, or a new one.
SharedGssCredential AcquireForNtlm(const std::string& account, const SecretText& password,
                                   OM_uint32& major, OM_uint32& minor) {
  if (SharedGssCredential kept = FindNtlmCredential(account, password)) return kept;
  gss_buffer_desc accountText = BufferOf(account);
  gss_buffer_desc passwordText = BufferOf({password.c_str(), password.size()});
  gss_OID_set_desc ntlm{1, &ntlmMechanism};
  GssName user;
  auto credential = std::make_shared<GssCredential>();
  major = gss_import_name(&minor, &accountText, GSS_C_NT_USER_NAME, user.Put());
  if (!GSS_ERROR(major)) {
    major =
        gss_acquire_cred_with_password(&minor, user.get(), &passwordText, GSS_C_INDEFINITE, &ntlm,
                                       GSS_C_INITIATE, credential->Put(), nullptr, nullptr);
  }
  return credential;
}

}  // namespace

SpnegoOutcome BindWithNtlm(const LogonName& name, const SecretText& password,
                           const std::string& host, Deadline deadline, CallObserver* observer,
                           const BindExchange& exchange, ExtendedError& error) {
  // The mechanism would split a principal name at its "@"; the server is to look it up whole.
  const std::string account = name.domain + "\\" + name.user;
  const auto first = std::make_shared<FirstLeg>();
  OM_uint32 major = GSS_S_COMPLETE;
  OM_uint32 minor = 0;
  first->credential = AcquireForNtlm(account, password, major, minor);
  const std::string service = "ldap@" + host;
  gss_buffer_desc serviceText = BufferOf(service);
  if (!GSS_ERROR(major)) {
    major = gss_import_name(&minor, &serviceText, GSS_C_NT_HOSTBASED_SERVICE, first->target.Put());
  }
  if (GSS_ERROR(major)) return FailedHere(major, minor, &ntlmMechanism, error);
  const Deadline patience = std::chrono::steady_clock::now() + kWinbindPatience;
  if (!RunBesideWinbind([first] { first->Take(); }, std::min(patience, deadline), observer)) {
    error = {CodeOf(kTimedOut),
             u"winbind, which is asked for the name of this computer, is silent."};
    return {.result = kTimedOut, .nothingSent = true, .context = {}};
  }
  if (GSS_ERROR(first->major)) return FailedHere(first->major, first->minor, &ntlmMechanism, error);
  SpnegoOutcome outcome = Negotiate({first->credential->get(),
                                     &ntlmMechanism,
                                     first->target,
                                     MessageLayers::kSignedAndSealed,
                                     {},
                                     first.get()},
                                    exchange, error);
  if (Succeeded(outcome.result)) KeepNtlmCredential(account, password, first->credential);
  return outcome;
}

}  // namespace zorvan::platform::posix
