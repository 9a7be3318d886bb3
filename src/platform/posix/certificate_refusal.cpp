#include "platform/posix/certificate_refusal.h"

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <array>
#include <vector>

#include "platform/posix/unicode.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kMaxNames = 8;
constexpr std::size_t kMaxNameSize = 256;

constexpr unsigned kUnknownIssuer = GNUTLS_CERT_SIGNER_NOT_FOUND;
constexpr unsigned kOutOfTime = GNUTLS_CERT_EXPIRED | GNUTLS_CERT_NOT_ACTIVATED;

// What verification finds beyond issuer, name and dates.
struct Finding {
  unsigned status;
  const char* words;
};
constexpr Finding kFindings[] = {
    {GNUTLS_CERT_SIGNER_NOT_CA, "it is signed by a certificate that may not sign others"},
    {GNUTLS_CERT_SIGNER_CONSTRAINTS_FAILURE, "its issuer may not issue it"},
    {GNUTLS_CERT_SIGNATURE_FAILURE, "its signature is wrong"},
    {GNUTLS_CERT_INSECURE_ALGORITHM, "it is signed with an algorithm that is not secure"},
    {GNUTLS_CERT_PURPOSE_MISMATCH, "it is not meant for servers"},
    {GNUTLS_CERT_REVOKED, "it was revoked"},
    {GNUTLS_CERT_REVOCATION_DATA_SUPERSEDED | GNUTLS_CERT_REVOCATION_DATA_ISSUED_IN_FUTURE,
     "the list of revoked certificates is not of this time"},
    {GNUTLS_CERT_INVALID_OCSP_STATUS | GNUTLS_CERT_MISSING_OCSP_STATUS,
     "the server does not show that it was not revoked"},
};

class Reasons {
 public:
  void Add(const std::string& reason) {
    if (!text_.empty()) text_ += "; ";
    text_ += reason;
  }
  bool empty() const { return text_.empty(); }
  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

std::string Printable(std::string_view foreign) {
  const std::u16string text = ToUtf16(foreign.substr(0, kMaxNameSize));
  std::u16string clean;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t first = i;
    UChar32 character = 0;
    U16_NEXT(text.data(), i, text.size(), character);
    clean += u_isprint(character) ? text.substr(first, i - first) : u"?";
  }
  return ToUtf8(clean) + (foreign.size() > kMaxNameSize ? "..." : "");
}

std::string TimeText(std::time_t time) {
  std::tm parts{};
  char text[32] = "";
  if (gmtime_r(&time, &parts) != nullptr) {
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &parts);
  }
  return text;
}

std::string DistinguishedName(gnutls_x509_crt_t certificate,
                              int (*get)(gnutls_x509_crt_t, gnutls_datum_t*, unsigned)) {
  gnutls_datum_t text{};
  if (get(certificate, &text, 0) < 0) return "?";
  std::string name = Printable({reinterpret_cast<const char*>(text.data), text.size});
  gnutls_free(text.data);
  return name;
}

std::string AddressText(std::string_view bytes) {
  char text[INET6_ADDRSTRLEN] = "";
  const int family = bytes.size() == sizeof(in_addr) ? AF_INET : AF_INET6;
  if (family == AF_INET || bytes.size() == sizeof(in6_addr)) {
    inet_ntop(family, bytes.data(), text, sizeof text);
  }
  return text;
}

// The hosts that a certificate is for; its common name counts only where it lists none.
std::vector<std::string> HostsOf(gnutls_x509_crt_t certificate) {
  std::vector<std::string> hosts;
  std::array<char, 4096> bytes;
  for (unsigned i = 0;; ++i) {
    std::size_t size = bytes.size();
    const int type =
        gnutls_x509_crt_get_subject_alt_name(certificate, i, bytes.data(), &size, nullptr);
    if (type == GNUTLS_E_SHORT_MEMORY_BUFFER) continue;
    if (type < 0) break;
    const std::string_view value(bytes.data(), size);
    if (type == GNUTLS_SAN_DNSNAME) hosts.push_back(Printable(value));
    if (type == GNUTLS_SAN_IPADDRESS) hosts.push_back(AddressText(value));
  }
  std::size_t size = bytes.size();
  if (hosts.empty() && gnutls_x509_crt_get_dn_by_oid(certificate, GNUTLS_OID_X520_COMMON_NAME, 0, 0,
                                                     bytes.data(), &size) == 0) {
    hosts.push_back(Printable({bytes.data(), size}));
  }
  return hosts;
}

std::string WrongName(gnutls_x509_crt_t certificate, const std::string& host) {
  const std::vector<std::string> hosts = HostsOf(certificate);
  if (hosts.empty()) return "it names no host, so not " + host;
  std::string text = "it is not for " + host + " but for ";
  for (std::size_t i = 0; i < hosts.size() && i < kMaxNames; ++i) {
    text += (i == 0 ? "" : ", ") + hosts[i];
  }
  if (hosts.size() > kMaxNames) {
    text += " and " + std::to_string(hosts.size() - kMaxNames) + " more";
  }
  return text;
}

std::string UnknownIssuer(gnutls_x509_crt_t certificate) {
  if (gnutls_x509_crt_check_issuer(certificate, certificate) != 0) {
    return "its issuer is unknown: it is signed by itself and not trusted";
  }
  return "its issuer is unknown: \"" +
         DistinguishedName(certificate, gnutls_x509_crt_get_issuer_dn3) +
         "\" does not lead to a trusted authority";
}

// The dates of the certificate itself; else those of a certificate that vouches for it.
void AddDates(gnutls_x509_crt_t certificate, unsigned status, std::time_t now, Reasons& reasons) {
  const std::time_t end = gnutls_x509_crt_get_expiration_time(certificate);
  const std::time_t begin = gnutls_x509_crt_get_activation_time(certificate);
  constexpr auto kUnreadable = static_cast<std::time_t>(-1);
  if (end == kUnreadable || begin == kUnreadable) return reasons.Add("its dates cannot be read");
  const bool expired = end < now;
  const bool early = begin > now;
  if (expired) reasons.Add("it expired on " + TimeText(end));
  if (early) {
    reasons.Add("it is not yet valid: not before " + TimeText(begin) + ", and here it is " +
                TimeText(now));
  }
  if (!expired && (status & GNUTLS_CERT_EXPIRED) != 0) {
    reasons.Add("the certificate of one of its issuers expired");
  }
  if (!early && (status & GNUTLS_CERT_NOT_ACTIVATED) != 0) {
    reasons.Add("the certificate of one of its issuers is not yet valid");
  }
}

}  // namespace

std::string ReasonsAgainst(gnutls_x509_crt_t certificate, unsigned status, const std::string& host,
                           std::time_t now) {
  Reasons reasons;
  unsigned told = GNUTLS_CERT_INVALID | GNUTLS_CERT_UNEXPECTED_OWNER | kUnknownIssuer | kOutOfTime;
  if ((status & kUnknownIssuer) != 0) reasons.Add(UnknownIssuer(certificate));
  if (gnutls_x509_crt_check_hostname(certificate, host.c_str()) == 0) {
    reasons.Add(WrongName(certificate, host));
  }
  AddDates(certificate, status, now, reasons);
  for (const Finding& finding : kFindings) {
    if ((status & finding.status) != 0) reasons.Add(finding.words);
    told |= finding.status;
  }
  if ((status & ~told) != 0 || (status != 0 && reasons.empty())) {
    reasons.Add("it failed its verification");
  }
  return reasons.Take();
}

}  // namespace zorvan::platform::posix
