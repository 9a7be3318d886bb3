#include "platform/posix/kerberos_credentials.h"

#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/posix/kdc_silence.h"
#include "platform/posix/kerberos_failure.h"
#include "platform/posix/kerberos_profile.h"
#include "platform/posix/kerberos_reply.h"
#include "platform/posix/logon_failure.h"
#include "platform/posix/logon_plan.h"

namespace zorvan::platform::posix {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxReply = 0x100000;
constexpr int kMaxExchanges = 16;

std::string_view ViewOf(const krb5_data& data) {
  return data.length == 0 ? std::string_view() : std::string_view(data.data, data.length);
}

krb5_data DataOf(const std::string& bytes) {
  krb5_data data{};
  data.magic = KV5M_DATA;
  data.length = static_cast<unsigned>(bytes.size());
  data.data = const_cast<char*>(bytes.data());
  return data;
}

bool SameName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

// A refusal is about the name, the password or the state of the account, and the KDC may have
// counted it. Whatever else goes wrong says nothing about them.
bool IsRefusal(krb5_error_code code) {
  switch (code) {
    case KRB5KDC_ERR_NAME_EXP:
    case KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN:
    case KRB5KDC_ERR_POLICY:
    case KRB5KDC_ERR_CLIENT_REVOKED:
    case KRB5KDC_ERR_CLIENT_NOTYET:
    case KRB5KDC_ERR_KEY_EXP:
    case KRB5KDC_ERR_PREAUTH_FAILED:
    case KRB5KRB_AP_ERR_BAD_INTEGRITY:
      return true;
    default:
      return false;
  }
}

Win32Code ReasonFor(krb5_error_code code, std::uint32_t status) {
  if (status != 0) return LogonFailureFromStatus(status);
  switch (code) {
    case KRB5KDC_ERR_CLIENT_REVOKED:
      return 1909;  // without a status it is a locked account
    case KRB5KDC_ERR_KEY_EXP:
      return 1330;
    case KRB5KDC_ERR_NAME_EXP:
      return 1793;
    case KRB5KDC_ERR_POLICY:
    case KRB5KDC_ERR_CLIENT_NOTYET:
      return 1327;
    default:
      return kLogonFailureCode;
  }
}

}  // namespace

class KerberosCredentials::Session {
 public:
  explicit Session(KerberosContext context)
      : owner_(std::move(context)), context_(owner_.get()), client_(context_), cache_(context_) {}

  krb5_error_code LogOn(const KerberosLogon& logon);
  krb5_error_code TakeOverCache(const std::string& realm, bool& elsewhere);
  krb5_error_code GetServiceTicket(const KerberosLogon& logon);

  HResult Describe(krb5_error_code code, const KerberosLogon& logon, ExtendedError& error) const;
  std::uint32_t status() const { return status_; }
  krb5_error_code kdcError() const { return kdcError_; }

  std::string cacheName;
  std::string service;

 private:
  krb5_error_code MakeClient(const KerberosLogon& logon);
  krb5_error_code GetTicketFor(const std::string& name, const KerberosLogon& logon);
  krb5_error_code NameCache();
  krb5_error_code Ask(const KerberosLogon& logon, const krb5_data& realm, const krb5_data& request,
                      std::string& reply);
  krb5_error_code JudgeReply(const KerberosLogon& logon, const std::string& reply);
  void NoteError(const std::string& reply);
  template <typename Step>
  krb5_error_code Converse(const KerberosLogon& logon, const Step& step);

  KerberosContext owner_;  // goes last
  krb5_context context_;
  KerberosPrincipal client_;
  KerberosCache cache_;
  krb5_error_code kdcError_ = 0;  // of the last reply
  std::uint32_t status_ = 0;
  std::string reason_;  // why the last reply could not be had or used
};

// A name with a domain before it belongs to that realm; the KDC knows its own by the flat name too.
// A principal name is looked up by the KDC.
krb5_error_code KerberosCredentials::Session::MakeClient(const KerberosLogon& logon) {
  const std::string& realm = logon.name.domain.empty() ? logon.realm : logon.name.domain;
  const krb5_error_code code =
      krb5_build_principal(context_, client_.Put(), static_cast<unsigned>(realm.size()),
                           realm.c_str(), logon.name.user.c_str(), nullptr);
  if (code != 0) return code;
  client_->type = logon.name.isPrincipalName ? KRB5_NT_ENTERPRISE_PRINCIPAL : KRB5_NT_PRINCIPAL;
  return 0;
}

krb5_error_code KerberosCredentials::Session::LogOn(const KerberosLogon& logon) {
  krb5_error_code code = krb5_set_default_realm(context_, logon.realm.c_str());
  if (code == 0) code = MakeClient(logon);
  KerberosOptions options(context_);
  if (code == 0) code = krb5_get_init_creds_opt_alloc(context_, options.Put());
  if (code != 0) return code;
  krb5_get_init_creds_opt_set_canonicalize(options.get(), 1);
  krb5_get_init_creds_opt_set_forwardable(options.get(), 0);
  krb5_get_init_creds_opt_set_proxiable(options.get(), 0);
  const auto types = KeyTypes(logon.allowRc4);
  krb5_get_init_creds_opt_set_etype_list(options.get(), const_cast<krb5_enctype*>(types.data()),
                                         static_cast<int>(types.size()));

  KerberosLogonState state(context_);
  code = krb5_init_creds_init(context_, client_.get(), nullptr, nullptr, 0, options.get(),
                              state.Put());
  if (code == 0) code = krb5_init_creds_set_password(context_, state.get(), logon.password.c_str());
  if (code != 0) return code;
  code = Converse(logon, [&](krb5_data* in, krb5_data* out, krb5_data* realm, unsigned* flags) {
    return krb5_init_creds_step(context_, state.get(), in, out, realm, flags);
  });
  KerberosTicket ticket(context_);
  if (code == 0) code = krb5_init_creds_get_creds(context_, state.get(), ticket.get());
  if (code == 0) code = krb5_cc_new_unique(context_, "MEMORY", nullptr, cache_.Put());
  if (code == 0) code = krb5_cc_initialize(context_, cache_.get(), ticket->client);
  if (code == 0) code = krb5_cc_store_cred(context_, cache_.get(), ticket.get());
  return code != 0 ? code : krb5_copy_principal(context_, ticket->client, client_.Put());
}

// A copy, because the process's own cache is not ours to fill.
krb5_error_code KerberosCredentials::Session::TakeOverCache(const std::string& realm,
                                                            bool& elsewhere) {
  OpenKerberosCache ofProcess(context_);
  krb5_error_code code = krb5_cc_default(context_, ofProcess.Put());
  if (code == 0) code = krb5_cc_get_principal(context_, ofProcess.get(), client_.Put());
  elsewhere = code != 0 || !SameName(ViewOf(client_->realm), realm);
  if (elsewhere) return code;
  code = krb5_cc_new_unique(context_, "MEMORY", nullptr, cache_.Put());
  if (code == 0) code = krb5_cc_initialize(context_, cache_.get(), client_.get());
  return code != 0 ? code : krb5_cc_copy_creds(context_, ofProcess.get(), cache_.get());
}

krb5_error_code KerberosCredentials::Session::GetServiceTicket(const KerberosLogon& logon) {
  krb5_error_code code = KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN;
  for (const std::string& name : logon.services) {
    code = GetTicketFor(name + "@" + logon.realm, logon);
    if (code != KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN) break;
  }
  return code != 0 ? code : NameCache();
}

krb5_error_code KerberosCredentials::Session::GetTicketFor(const std::string& name,
                                                           const KerberosLogon& logon) {
  KerberosPrincipal server(context_);
  krb5_error_code code = krb5_parse_name(context_, name.c_str(), server.Put());
  if (code != 0) return code;
  krb5_creds wanted{};
  wanted.client = client_.get();
  wanted.server = server.get();
  KerberosTicketState state(context_);
  code = krb5_tkt_creds_init(context_, cache_.get(), &wanted, 0, state.Put());
  if (code != 0) return code;
  code = Converse(logon, [&](krb5_data* in, krb5_data* out, krb5_data* realm, unsigned* flags) {
    return krb5_tkt_creds_step(context_, state.get(), in, out, realm, flags);
  });
  if (code == 0) service = name;
  return code;
}

krb5_error_code KerberosCredentials::Session::NameCache() {
  KerberosText name(context_);
  const krb5_error_code code = krb5_cc_get_full_name(context_, cache_.get(), name.Put());
  if (code == 0) cacheName = name.get();
  return code;
}

// Both kinds of request are conversations: the library says what to send until it is content.
template <typename Step>
krb5_error_code KerberosCredentials::Session::Converse(const KerberosLogon& logon,
                                                       const Step& step) {
  static_assert(KRB5_INIT_CREDS_STEP_FLAG_CONTINUE == KRB5_TKT_CREDS_STEP_FLAG_CONTINUE);
  std::string reply;
  for (int exchange = 0; exchange < kMaxExchanges; ++exchange) {
    krb5_data input = DataOf(reply);
    KerberosData request(context_);
    KerberosData realm(context_);
    unsigned flags = 0;
    krb5_error_code code = step(&input, request.get(), realm.get(), &flags);
    // "Too big" is about datagrams; the request is to be sent again over TCP, as it was before.
    if (code != 0 && code != KRB5KRB_ERR_RESPONSE_TOO_BIG) return code;
    if (code == 0 && (flags & KRB5_INIT_CREDS_STEP_FLAG_CONTINUE) == 0) return 0;
    code = Ask(logon, *realm.get(), *request.get(), reply);
    if (code != 0) return code;
    NoteError(reply);
  }
  return KRB5_GET_IN_TKT_LOOP;
}

// Only this server is asked. It is the KDC of its own realm, which the flat name of the domain
// stands for too; a referral elsewhere is not followed.
krb5_error_code KerberosCredentials::Session::Ask(const KerberosLogon& logon,
                                                  const krb5_data& realm, const krb5_data& request,
                                                  std::string& reply) {
  const std::string_view asked = ViewOf(realm);
  if (!SameName(asked, logon.realm) && !SameName(asked, logon.name.domain))
    return KRB5_REALM_UNKNOWN;
  if (logon.patience.Verdict() == kCancelled) {
    reason_ = "the caller gave up";
    return KRB5_KDC_UNREACH;
  }
  if (WasSilent(logon.kdc, Clock::now())) {
    reason_ = "it did not answer a short while ago";
    return KRB5_KDC_UNREACH;
  }
  const Deadline silent = Clock::now() + kKdcPatience;
  const bool brief = logon.hasAlternative || !HasAnswered(logon.kdc, Clock::now());
  const Patience patience = brief ? logon.patience.Until(silent) : logon.patience;
  reason_.clear();
  const FileDescriptor connection = ConnectTcp(logon.kdc, patience, reason_);
  const bool answered = connection && ExchangeFramed(connection.get(), request.data, request.length,
                                                     kMaxReply, patience, reply, reason_);
  if (!answered) {
    if (Clock::now() >= silent) RememberSilence(logon.kdc, Clock::now());
    return KRB5_KDC_UNREACH;
  }
  RememberAnswer(logon.kdc, Clock::now());
  return JudgeReply(logon, reply);
}

// The library cannot be interrupted, so it gets only what it can work on in no time.
krb5_error_code KerberosCredentials::Session::JudgeReply(const KerberosLogon& logon,
                                                         const std::string& reply) {
  const std::optional<KeyIterations> iterations = KeyIterationsIn(reply);
  if (!iterations) {
    reason_ = "its answer is of another protocol";
  } else if (iterations->most > kMaxKeyIterations) {
    reason_ = "it asks for " + std::to_string(iterations->most) +
              " iterations to make the password's key, more than the " +
              std::to_string(kMaxKeyIterations) + " allowed";
  } else if (iterations->most != 0 && iterations->least < kMinKeyIterations) {
    reason_ = "it asks for " + std::to_string(iterations->least) +
              " iterations to make the password's key, fewer than the " +
              std::to_string(kMinKeyIterations) + " needed";
  } else if (Failed(logon.patience.Verdict())) {
    reason_ = "no ticket within the time limit";
  } else {
    return 0;
  }
  return KRB5_KDC_UNREACH;
}

// libkrb5 keeps the typed data of errors to itself, so each reply is looked at as it comes.
void KerberosCredentials::Session::NoteError(const std::string& reply) {
  constexpr char kErrorTag = 0x7e;
  status_ = 0;
  kdcError_ = 0;
  const krb5_data data = DataOf(reply);
  KerberosError error(context_);
  if (reply.front() != kErrorTag || krb5_rd_error(context_, &data, error.Put()) != 0) return;
  kdcError_ = static_cast<krb5_error_code>(KRB5KDC_ERR_NONE + static_cast<long>(error->error));
  status_ = StatusInErrorData(ViewOf(error->e_data));
}

HResult KerberosCredentials::Session::Describe(krb5_error_code code, const KerberosLogon& logon,
                                               ExtendedError& error) const {
  std::string detail = reason_;
  if (code == KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN) {
    for (const std::string& name : logon.services) {
      if (!detail.empty()) detail += ", ";
      detail += name;
    }
  }
  return KerberosFailure(context_, code, detail, error);
}

KerberosCredentials::KerberosCredentials() = default;
KerberosCredentials::~KerberosCredentials() = default;

KerberosOutcome KerberosCredentials::Acquire(const KerberosLogon& logon, HResult& result,
                                             ExtendedError& error) {
  result = kUnexpected;
  KerberosContext context;
  if (MakeKerberosContext(logon.allowRc4, context) != 0) {
    error = {CodeOf(result), u"Kerberos cannot be used in this process."};
    return KerberosOutcome::kFailed;
  }
  session_ = std::make_unique<Session>(std::move(context));

  krb5_error_code code = session_->LogOn(logon);
  // The library has words of its own for some failures; what the KDC said counts.
  if (code != 0 && code != KRB5_KDC_UNREACH && session_->kdcError() != 0 &&
      session_->kdcError() != KRB5KDC_ERR_PREAUTH_REQUIRED) {
    code = session_->kdcError();
  }
  if (IsRefusal(code)) {
    result = kLogonFailure;
    error = LogonFailure(ReasonFor(code, session_->status()));
    const std::string foreign = ForeignDomain(logon.name, logon.realm);
    if (code == KRB5KDC_ERR_C_PRINCIPAL_UNKNOWN && !foreign.empty()) {
      error.text += u" " + ToUtf16(logon.realm) + u" knows no such account in the domain " +
                    ToUtf16(foreign) + u".";
    }
    return KerberosOutcome::kRefused;
  }
  if (code == 0) code = session_->GetServiceTicket(logon);
  if (code == 0) return KerberosOutcome::kReady;
  result = session_->Describe(code, logon, error);
  return KerberosOutcome::kFailed;
}

KerberosOutcome KerberosCredentials::AcquireAsProcess(const KerberosLogon& logon, HResult& result,
                                                      ExtendedError& error) {
  result = JudgeProcessIdentity(error);
  if (result == kNoLogonSession) return KerberosOutcome::kElsewhere;
  if (Failed(result)) return KerberosOutcome::kFailed;
  KerberosContext context;
  if (const krb5_error_code unusable = krb5_init_context(context.Put()); unusable != 0) {
    result = KerberosFailure(nullptr, unusable, {}, error);
    return KerberosOutcome::kFailed;
  }
  session_ = std::make_unique<Session>(std::move(context));
  bool elsewhere = false;
  krb5_error_code code = session_->TakeOverCache(logon.realm, elsewhere);
  if (elsewhere) return KerberosOutcome::kElsewhere;
  if (code == 0) code = session_->GetServiceTicket(logon);
  if (code == 0) return KerberosOutcome::kReady;
  result = session_->Describe(code, logon, error);
  return KerberosOutcome::kFailed;
}

const std::string& KerberosCredentials::cacheName() const { return session_->cacheName; }
const std::string& KerberosCredentials::service() const { return session_->service; }

}  // namespace zorvan::platform::posix
