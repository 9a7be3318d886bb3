#include "platform/posix/kerberos_failure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

struct Cause {
  krb5_error_code code;
  HResult result;
  std::u16string_view sentence;
};

constexpr std::u16string_view kClocks =
    u"The clocks of this computer and the server differ too much.";
constexpr std::u16string_view kNoAesKeys =
    u"The account or the server has no AES keys (its password is very old, or was never set), and "
    u"RC4 is not allowed.";
constexpr std::u16string_view kUnreadable =
    u"The Kerberos configuration of this computer cannot be read.";
constexpr std::u16string_view kNoTicket = u"This process has no Kerberos ticket.";
constexpr std::u16string_view kExpired = u"The Kerberos ticket of this process has expired.";

constexpr std::array kCauses{
    Cause{KRB5KRB_AP_ERR_SKEW, kTimeSkew, kClocks},
    Cause{KRB5KRB_AP_ERR_TKT_NYV, kTimeSkew, kClocks},
    Cause{KRB5_KDCREP_SKEW, kTimeSkew, kClocks},
    Cause{KRB5KDC_ERR_S_PRINCIPAL_UNKNOWN, kTargetUnknown,
          u"The domain knows no directory server of the name that was given."},
    Cause{KRB5KDC_ERR_ETYPE_NOSUPP, kAlgorithmMismatch, kNoAesKeys},
    Cause{KRB5_PROG_ETYPE_NOSUPP, kAlgorithmMismatch, kNoAesKeys},
    Cause{KRB5_CONFIG_ETYPE_NOSUPP, kAlgorithmMismatch, kNoAesKeys},
    Cause{KRB5_REALM_UNKNOWN, kNoLogonServers,
          u"The account belongs to another domain, whose logon servers are not known here."},
    Cause{KRB5KDC_ERR_WRONG_REALM, kNoLogonServers,
          u"The account belongs to another domain, whose logon servers are not known here."},
    Cause{KRB5KRB_AP_ERR_TKT_EXPIRED, kTicketExpired, kExpired},
    Cause{KRB5_CONFIG_CANTOPEN, kBadConfiguration, kUnreadable},
    Cause{KRB5_CONFIG_BADFORMAT, kBadConfiguration, kUnreadable},
    Cause{KRB5_FCC_NOFILE, kNoLogonSession, kNoTicket},
    Cause{KRB5_CC_NOTFOUND, kNoLogonSession, kNoTicket},
    Cause{KRB5_CC_END, kNoLogonSession, kNoTicket},
    Cause{KRB5_KDC_UNREACH, kServerDown, u"The server's key distribution centre cannot be used."},
};

constexpr Cause kUnknownCause{0, kServerDown,
                              u"The server's key distribution centre gave no ticket."};

constexpr Cause kNoAgreement{0, kLogonDenied, u"No agreement on a log-on by Kerberos."};

std::string MessageOf(krb5_context context, krb5_error_code code) {
  KerberosMessage message(context);
  *message.Put() = krb5_get_error_message(context, code);
  return message.get() == nullptr ? std::string() : message.get();
}

void Fill(const Cause& cause, std::string_view said, std::string_view detail,
          ExtendedError& error) {
  error.code = CodeOf(cause.result);
  error.text = cause.sentence;
  error.text += u" (Kerberos: " + ToUtf16(said);
  if (!detail.empty()) error.text += u"; " + ToUtf16(detail);
  error.text += u")";
}

// The end of the newest ticket-granting ticket; zero without one.
std::time_t EndOfTicket(krb5_context context, krb5_ccache cache) {
  std::time_t end = 0;
  krb5_cc_cursor cursor{};
  if (krb5_cc_start_seq_get(context, cache, &cursor) != 0) return 0;
  for (;;) {
    KerberosTicket ticket(context);
    if (krb5_cc_next_cred(context, cache, &cursor, ticket.get()) != 0) break;
    if (krb5_is_config_principal(context, ticket->server) != 0) continue;
    // Kerberos counts seconds without a sign.
    end = std::max<std::time_t>(end, static_cast<std::uint32_t>(ticket->times.endtime));
  }
  krb5_cc_end_seq_get(context, cache, &cursor);
  return end;
}

}  // namespace

Win32Code CodeOf(HResult result) {
  constexpr std::uint32_t kWin32Facility = 0x80070000U;
  const std::uint32_t bits = Bits(result);
  return (bits & 0xFFFF0000U) == kWin32Facility ? bits & 0xFFFFU : bits;
}

HResult KerberosFailure(krb5_context context, krb5_error_code code, std::string_view detail,
                        ExtendedError& error) {
  const auto* found = std::ranges::find(kCauses, code, &Cause::code);
  const Cause& cause = found == kCauses.end() ? kUnknownCause : *found;
  Fill(cause, MessageOf(context, code), detail, error);
  return cause.result;
}

HResult KerberosBindFailure(krb5_error_code code, ExtendedError& error) {
  const std::string said = ToUtf8(error.text);
  KerberosContext context;
  const krb5_error_code configured = krb5_init_context(context.Put());
  if (configured != 0) {
    Fill({configured, kBadConfiguration, kUnreadable}, MessageOf(nullptr, configured), said, error);
    return kBadConfiguration;
  }
  const auto* found = std::ranges::find(kCauses, code, &Cause::code);
  const Cause& cause = found == kCauses.end() ? kNoAgreement : *found;
  Fill(cause, said, {}, error);
  return cause.result;
}

HResult JudgeProcessIdentity(ExtendedError& error) {
  KerberosContext context;
  krb5_error_code code = krb5_init_context(context.Put());
  if (code != 0) {
    Fill({code, kBadConfiguration, kUnreadable}, MessageOf(nullptr, code), {}, error);
    return kBadConfiguration;
  }
  OpenKerberosCache cache(context.get());
  KerberosPrincipal client(context.get());
  code = krb5_cc_default(context.get(), cache.Put());
  if (code == 0) code = krb5_cc_get_principal(context.get(), cache.get(), client.Put());
  const std::time_t end = code == 0 ? EndOfTicket(context.get(), cache.get()) : 0;
  if (end == 0) {
    if (code == 0) code = KRB5_CC_NOTFOUND;
    Fill({code, kNoLogonSession, kNoTicket}, MessageOf(context.get(), code), {}, error);
    return kNoLogonSession;
  }
  if (end > std::time(nullptr)) return kOk;
  return KerberosFailure(context.get(), KRB5KRB_AP_ERR_TKT_EXPIRED, {}, error);
}

}  // namespace zorvan::platform::posix
