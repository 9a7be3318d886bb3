#include "platform/posix/kerberos_credentials.h"

#include <arpa/inet.h>
#include <gssapi/gssapi_ext.h>
#include <profile.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/posix/ldap_connection.h"
#include "platform/posix/tcp_connector.h"
#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::uint16_t kKerberosPort = 88;
constexpr std::uint32_t kLongestReply = 1024 * 1024;

// The centre's own codes, as libkrb5 numbers them.
bool JudgesThePassword(krb5_error_code code) {
  return code == KRB5KDC_ERR_PREAUTH_FAILED || code == KRB5KDC_ERR_CLIENT_REVOKED ||
         code == KRB5KDC_ERR_KEY_EXP || code == KRB5KDC_ERR_NAME_EXP ||
         code == KRB5KRB_AP_ERR_BAD_INTEGRITY;
}

// An NTSTATUS that the centre gives as the reason, as the Win32 code and sentence for it.
struct Reason {
  std::uint32_t status;
  Win32Code code;
  std::u16string_view text;
};

constexpr std::u16string_view kWrongPasswordText = u"the user name or the password is wrong";
constexpr std::array kReasons{
    Reason{0xC000006F, 1328, u"the account may not log on at this hour"},
    Reason{0xC0000070, 1329, u"the account may not log on at this workstation"},
    Reason{0xC0000071, 1330, u"the password has expired"},
    Reason{0xC0000072, 1331, u"the account is disabled"},
    Reason{0xC0000193, 1793, u"the account has expired"},
    Reason{0xC0000224, 1907, u"the password must be changed before the first logon"},
    Reason{0xC0000234, 1909, u"the account is locked"},
};

ExtendedError ReasonOf(krb5_error_code code, std::uint32_t status) {
  for (const Reason& reason : kReasons) {
    if (reason.status == status) return {reason.code, std::u16string(reason.text)};
  }
  // A revoked client without a status was only ever seen of locked accounts.
  if (code == KRB5KDC_ERR_CLIENT_REVOKED) return {1909, u"the account is locked"};
  if (code == KRB5KDC_ERR_KEY_EXP) return {1330, u"the password has expired"};
  return {1326, std::u16string(kWrongPasswordText)};
}

// What the centre's transport and profile need to know, and what they learn.
struct Centre {
  std::string host;
  std::uint32_t status = 0;  // NTSTATUS of the last error reply
};

// ---- The profile: what a configuration file would say.

long GetProfileValues(void* data, const char* const* names, char*** values) {
  const auto* centre = static_cast<const Centre*>(data);
  std::vector<std::string_view> path;
  for (; *names != nullptr; ++names) path.emplace_back(*names);
  std::string value;
  if (path.size() == 3 && path[0] == "realms" && path[2] == "kdc") {
    value = centre->host;
  } else if (path.size() == 2 && path[0] == "libdefaults" &&
             (path[1] == "dns_lookup_kdc" || path[1] == "dns_lookup_realm" || path[1] == "rdns" ||
              path[1] == "dns_canonicalize_hostname")) {
    value = "false";
  } else {
    return PROF_NO_RELATION;
  }
  // The library frees what it is given one by one through FreeProfileValues.
  *values = static_cast<char**>(std::calloc(2, sizeof(char*)));  // NOLINT(cppcoreguidelines-no-malloc)
  if (*values == nullptr) return ENOMEM;
  (*values)[0] = strdup(value.c_str());
  return (*values)[0] == nullptr ? ENOMEM : 0;
}

void FreeProfileValues(void*, char** values) {
  for (char** value = values; value != nullptr && *value != nullptr; ++value) {
    std::free(*value);  // NOLINT(cppcoreguidelines-no-malloc)
  }
  std::free(values);  // NOLINT(cppcoreguidelines-no-malloc)
}

// ---- The transport: one request and its reply over TCP, with time limits.

void SetTimeLimits(int descriptor) {
  timeval limit{};
  limit.tv_sec = kConnectTimeout.count();
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool SendAll(int descriptor, const void* bytes, std::size_t size) {
  const auto* next = static_cast<const std::uint8_t*>(bytes);
  while (size > 0) {
    const ssize_t sent = send(descriptor, next, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    next += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

bool ReceiveAll(int descriptor, void* bytes, std::size_t size) {
  return recv(descriptor, bytes, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// The reply to a request; empty when there is none.
std::vector<std::uint8_t> Exchange(const std::string& host, const krb5_data& request) {
  std::string reason;
  const Socket socket = ConnectTcp(host, kKerberosPort, kConnectTimeout, reason);
  if (!socket) return {};
  SetTimeLimits(socket.get());
  std::uint32_t length = htonl(request.length);
  if (!SendAll(socket.get(), &length, sizeof length)) return {};
  if (!SendAll(socket.get(), request.data, request.length)) return {};
  if (!ReceiveAll(socket.get(), &length, sizeof length)) return {};
  length = ntohl(length);
  if (length == 0 || length > kLongestReply) return {};
  std::vector<std::uint8_t> reply(length);
  if (!ReceiveAll(socket.get(), reply.data(), reply.size())) return {};
  return reply;
}

// The NTSTATUS in an error reply's typed data: behind the bytes 04 0c of a pre-authentication value of type 3. Zero when the reply is
// no error or has none.
std::uint32_t StatusIn(krb5_context context, const std::vector<std::uint8_t>& reply) {
  krb5_data data{};
  data.length = static_cast<unsigned>(reply.size());
  data.data = const_cast<char*>(reinterpret_cast<const char*>(reply.data()));
  krb5_error* error = nullptr;
  if (krb5_rd_error(context, &data, &error) != 0) return 0;
  const std::string_view typed(error->e_data.data == nullptr ? "" : error->e_data.data,
                               error->e_data.length);
  std::uint32_t status = 0;
  const std::size_t place = typed.find("\x04\x0c");
  if (place != std::string_view::npos && typed.size() - place >= 6) {
    for (std::size_t i = 0; i < 4; ++i) {
      status |= static_cast<std::uint32_t>(static_cast<unsigned char>(typed[place + 2 + i])) << 8 * i;
    }
  }
  krb5_free_error(context, error);
  return status;
}

// Replaces the library's own transport. A request that gets no reply must be answered with an error: a silent zero makes the library
// abort the process.
krb5_error_code SendToCentre(krb5_context context, void* data, const krb5_data* /*realm*/,
                             const krb5_data* message, krb5_data** newMessage, krb5_data** reply) {
  auto* centre = static_cast<Centre*>(data);
  *newMessage = nullptr;
  *reply = nullptr;
  const std::vector<std::uint8_t> answer = Exchange(centre->host, *message);
  if (answer.empty()) return KRB5_KDC_UNREACH;
  centre->status = StatusIn(context, answer);
  krb5_data copy{};
  copy.length = static_cast<unsigned>(answer.size());
  copy.data = const_cast<char*>(reinterpret_cast<const char*>(answer.data()));
  return krb5_copy_data(context, &copy, reply);
}

// ---- Names

// The principal of a user name in any of its forms. A domain in front is taken for the realm as it is: the centre knows its flat name
// as well as its DNS name.
krb5_error_code ParseUser(krb5_context context, const KerberosRequest& request,
                          krb5_principal* principal) {
  const std::size_t backslash = request.user.find('\\');
  if (backslash != std::string::npos) {
    const std::string domain = request.user.substr(0, backslash);
    const std::string name = request.user.substr(backslash + 1);
    const std::string& realm = domain.empty() || domain == "." ? request.realm : domain;
    return krb5_build_principal(context, principal, static_cast<unsigned>(realm.size()),
                                realm.c_str(), name.c_str(), nullptr);
  }
  if (request.user.find('@') != std::string::npos) {
    return krb5_parse_name_flags(context, request.user.c_str(), KRB5_PRINCIPAL_PARSE_ENTERPRISE,
                                 principal);
  }
  return krb5_build_principal(context, principal, static_cast<unsigned>(request.realm.size()),
                              request.realm.c_str(), request.user.c_str(), nullptr);
}

}  // namespace

// The library's context and what was made in it, taken down in the opposite order.
struct KerberosCredentials::Session {
  ~Session() {
    if (options != nullptr) krb5_get_init_creds_opt_free(context, options);
    krb5_free_principal(context, user);
    krb5_free_principal(context, service);
    if (tickets != nullptr) krb5_cc_destroy(context, tickets);
    if (context != nullptr) krb5_free_context(context);
  }

  krb5_error_code Start(const KerberosRequest& request);
  krb5_error_code GetTickets(const KerberosRequest& request);

  Centre centre;
  krb5_context context = nullptr;
  krb5_get_init_creds_opt* options = nullptr;
  krb5_principal user = nullptr;
  krb5_principal service = nullptr;
  krb5_ccache tickets = nullptr;
};

krb5_error_code KerberosCredentials::Session::Start(const KerberosRequest& request) {
  centre.host = request.server;
  profile_vtable functions{};
  functions.minor_ver = 1;  // the library refuses the table of a version that it does not know
  functions.get_values = GetProfileValues;
  functions.free_values = FreeProfileValues;
  profile_t profile = nullptr;
  auto code = static_cast<krb5_error_code>(profile_init_vtable(&functions, &centre, &profile));
  if (code != 0) return code;
  code = krb5_init_context_profile(profile, 0, &context);
  profile_release(profile);
  if (code != 0) return code;
  krb5_set_kdc_send_hook(context, SendToCentre, &centre);
  return krb5_set_default_realm(context, request.realm.c_str());
}

krb5_error_code KerberosCredentials::Session::GetTickets(const KerberosRequest& request) {
  krb5_error_code code = ParseUser(context, request, &user);
  if (code == 0) code = krb5_get_init_creds_opt_alloc(context, &options);
  if (code != 0) return code;
  krb5_get_init_creds_opt_set_canonicalize(options, 1);
  krb5_creds ticket{};
  code = krb5_get_init_creds_password(context, &ticket, user, request.password.c_str(), nullptr,
                                      nullptr, 0, nullptr, options);
  if (code != 0) return code;

  code = krb5_cc_new_unique(context, "MEMORY", nullptr, &tickets);
  if (code == 0) code = krb5_cc_initialize(context, tickets, ticket.client);
  if (code == 0) code = krb5_cc_store_cred(context, tickets, &ticket);
  if (code == 0) {
    code = krb5_parse_name(context, (request.service + "@" + request.realm).c_str(), &service);
  }
  if (code == 0) {
    krb5_creds wanted{};
    wanted.client = ticket.client;
    wanted.server = service;
    krb5_creds* got = nullptr;
    code = krb5_get_credentials(context, 0, tickets, &wanted, &got);
    if (code == 0) krb5_free_creds(context, got);
  }
  krb5_free_cred_contents(context, &ticket);
  return code;
}

KerberosCredentials::KerberosCredentials() = default;
KerberosCredentials::~KerberosCredentials() = default;

KerberosOutcome KerberosCredentials::Acquire(const KerberosRequest& request, ExtendedError& error) {
  session_ = std::make_unique<Session>();
  krb5_error_code code = session_->Start(request);
  if (code == 0) code = session_->GetTickets(request);
  if (JudgesThePassword(code)) {
    error = ReasonOf(code, session_->centre.status);
    return KerberosOutcome::kRefused;
  }
  if (code != 0) {
    const char* text = krb5_get_error_message(session_->context, code);
    error = {0, u"Kerberos: " + ToUtf16(text)};
    krb5_free_error_message(session_->context, text);
    return KerberosOutcome::kNotSpoken;
  }

  char* name = nullptr;
  if (krb5_cc_get_full_name(session_->context, session_->tickets, &name) != 0) {
    return KerberosOutcome::kNotSpoken;
  }
  gss_key_value_element_desc element = {"ccache", name};
  gss_key_value_set_desc store = {1, &element};
  gss_OID_set_desc mechanisms = {1, kSpnegoMechanism};
  OM_uint32 minor = 0;
  const OM_uint32 major =
      gss_acquire_cred_from(&minor, GSS_C_NO_NAME, GSS_C_INDEFINITE, &mechanisms, GSS_C_INITIATE,
                            &store, credential_.out(), nullptr, nullptr);
  krb5_free_string(session_->context, name);
  if (!GSS_ERROR(major)) return KerberosOutcome::kAcquired;
  error = {0, ToUtf16(GssText(major, minor, kKerberosMechanism))};
  return KerberosOutcome::kNotSpoken;
}

}  // namespace zorvan::platform::posix
