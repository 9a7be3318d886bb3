#include "platform/posix/tls_transport.h"

#include <arpa/inet.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <exception>

#include "platform/posix/certificate_refusal.h"

namespace zorvan::platform::posix {
namespace {

bool IsAddress(const std::string& host) {
  in6_addr bytes{};
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &bytes) == 1;
}

bool ImportServerCertificate(gnutls_session_t session, Certificate& certificate) {
  unsigned count = 0;
  const gnutls_datum_t* chain = gnutls_certificate_get_peers(session, &count);
  return chain != nullptr && count > 0 && gnutls_x509_crt_init(certificate.Put()) == 0 &&
         gnutls_x509_crt_import(certificate.get(), chain, GNUTLS_X509_FMT_DER) == 0;
}

}  // namespace

// What libldap calls, and what GnuTLS calls to reach the layer below.
struct TlsTransport::Layer {
  static TlsTransport& Of(Sockbuf_IO_Desc* layer) {
    return *static_cast<TlsTransport*>(layer->sbiod_pvt);
  }
  static int SetUp(Sockbuf_IO_Desc* layer, void* transport) {
    layer->sbiod_pvt = transport;
    Of(layer).layer_ = layer;
    return 0;
  }
  static int Control(Sockbuf_IO_Desc* layer, int option, void* argument) {
    if (option == LBER_SB_OPT_DATA_READY &&
        gnutls_record_check_pending(Of(layer).session_.get()) > 0) {
      return 1;
    }
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
  }
  static ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
    return Of(layer).Read(buffer, size);
  }
  static ber_slen_t Write(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) {
    return Of(layer).Write(bytes, size);
  }
  static int Close(Sockbuf_IO_Desc* layer) {
    if (Of(layer).established_) gnutls_bye(Of(layer).session_.get(), GNUTLS_SHUT_WR);
    return 0;
  }
  static int LeaveToOwner(Sockbuf_IO_Desc*) { return 0; }

  static ssize_t Pull(gnutls_transport_ptr_t transport, void* buffer, std::size_t size) {
    return static_cast<TlsTransport*>(transport)->Pull(buffer, size);
  }
  static ssize_t Push(gnutls_transport_ptr_t transport, const void* bytes, std::size_t size) {
    Sockbuf_IO_Desc* layer = static_cast<TlsTransport*>(transport)->layer_;
    return LBER_SBIOD_WRITE_NEXT(layer, const_cast<void*>(bytes), size);
  }
};

bool TlsTransport::Attach(Sockbuf* connection, const TlsSettings& settings, std::string& reason) {
  // Only transport functions of our own wait, so GnuTLS need not be able to.
  int result = gnutls_init(session_.Put(), GNUTLS_CLIENT | GNUTLS_NONBLOCK);
  gnutls_session_t session = session_.get();
  if (result == 0) {
    result = gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials_.get());
  }
  if (result == 0 && !IsAddress(host_)) {
    result = gnutls_server_name_set(session, GNUTLS_NAME_DNS, host_.data(), host_.size());
  }
  if (result < 0) {
    reason = gnutls_strerror(result);
    return false;
  }
  if (!RestrictAlgorithms(settings, session, reason)) return false;
  gnutls_session_set_ptr(session, this);
  gnutls_session_set_verify_function(session, JudgeCertificate);
  gnutls_transport_set_ptr(session, this);
  gnutls_transport_set_pull_function(session, Layer::Pull);
  gnutls_transport_set_push_function(session, Layer::Push);
  static Sockbuf_IO functions = {Layer::SetUp, Layer::LeaveToOwner, Layer::Control,
                                 Layer::Read,  Layer::Write,        Layer::Close};
  if (ber_sockbuf_add_io(connection, &functions, LBER_SBIOD_LEVEL_TRANSPORT, this) == 0)
    return true;
  reason = "there is no memory for it";
  return false;
}

bool TlsTransport::Handshake(Patience& patience, std::string& reason) {
  patience_ = &patience;
  int result = 0;
  do {
    result = gnutls_handshake(session_.get());
  } while (result < 0 && gnutls_error_is_fatal(result) == 0 && Succeeded(patience.Check()));
  patience_ = nullptr;
  established_ = result == 0 && accepted_;
  if (!established_) reason = ReasonOf(result);
  return established_;
}

std::string TlsTransport::ReasonOf(int failure) const {
  if (!refusal_.empty()) return "the server's certificate was refused: " + refusal_;
  if (failure == 0) return "the server showed no certificate";
  if (gnutls_error_is_fatal(failure) == 0 || timedOut_) {
    return "the server did not answer within the time limit";
  }
  if (failure == GNUTLS_E_FATAL_ALERT_RECEIVED) {
    const char* alert = gnutls_alert_get_name(gnutls_alert_get(session_.get()));
    return std::string("the server refused: ") + (alert == nullptr ? "unknown alert" : alert);
  }
  if (failure == GNUTLS_E_PREMATURE_TERMINATION || failure == GNUTLS_E_PULL_ERROR) {
    return "the server closed the connection";
  }
  return gnutls_strerror(failure);
}

// GnuTLS calls it once the server's certificates have arrived. Memory may run out in it, and no
// exception may pass through a library in C.
int TlsTransport::JudgeCertificate(gnutls_session_t session) {
  auto& transport = *static_cast<TlsTransport*>(gnutls_session_get_ptr(session));
  transport.accepted_ = false;
  try {
    transport.refusal_ = transport.ReasonsForRefusal();
    transport.accepted_ = transport.refusal_.empty();
  } catch (const std::exception&) {
  }
  return transport.accepted_ ? 0 : GNUTLS_E_CERTIFICATE_ERROR;
}

std::string TlsTransport::ReasonsForRefusal() const {
  Certificate certificate;
  if (!ImportServerCertificate(session_.get(), certificate)) return "it cannot be read";
  // GnuTLS declares them as changeable and does not change them.
  std::array<gnutls_typed_vdata_st, 2> expected{};
  expected[0].type = GNUTLS_DT_DNS_HOSTNAME;
  expected[0].data = reinterpret_cast<unsigned char*>(const_cast<char*>(host_.c_str()));
  expected[1].type = GNUTLS_DT_KEY_PURPOSE_OID;
  expected[1].data = reinterpret_cast<unsigned char*>(const_cast<char*>(GNUTLS_KP_TLS_WWW_SERVER));
  unsigned status = GNUTLS_CERT_INVALID;
  const int result =
      gnutls_certificate_verify_peers(session_.get(), expected.data(), expected.size(), &status);
  if (result < 0) return gnutls_strerror(result);
  return ReasonsAgainst(certificate.get(), status, host_, std::time(nullptr));
}

std::string TlsTransport::ServerCertificate() const {
  unsigned count = 0;
  const gnutls_datum_t* chain =
      session_ ? gnutls_certificate_get_peers(session_.get(), &count) : nullptr;
  if (chain == nullptr || count == 0) return {};
  return {reinterpret_cast<const char*>(chain->data), chain->size};
}

// A server that always has something to say must not prolong the handshake.
ssize_t TlsTransport::Pull(void* buffer, std::size_t size) {
  const bool late = patience_ != nullptr && Failed(patience_->Check());
  if (late) errno = ETIMEDOUT;
  const ssize_t count = late ? -1 : LBER_SBIOD_READ_NEXT(layer_, buffer, size);
  if (count < 0 && errno == ETIMEDOUT) timedOut_ = true;
  return count;
}

ber_slen_t TlsTransport::Read(void* buffer, std::size_t size) {
  const ssize_t count =
      established_ ? gnutls_record_recv(session_.get(), buffer, size) : GNUTLS_E_INVALID_SESSION;
  if (count >= 0) return count;
  // The server may ask for another handshake. The client need not agree, and then has nothing to
  // judge again.
  if (count == GNUTLS_E_REHANDSHAKE) {
    gnutls_alert_send(session_.get(), GNUTLS_AL_WARNING, GNUTLS_A_NO_RENEGOTIATION);
  }
  return Fail(count);
}

ber_slen_t TlsTransport::Write(const void* bytes, std::size_t size) {
  const ssize_t count =
      established_ ? gnutls_record_send(session_.get(), bytes, size) : GNUTLS_E_INVALID_SESSION;
  return count >= 0 ? count : Fail(count);
}

ber_slen_t TlsTransport::Fail(ssize_t failure) {
  const bool fatal = gnutls_error_is_fatal(static_cast<int>(failure)) != 0;
  failed_ |= fatal;
  errno = fatal ? EPROTO : EAGAIN;
  return -1;
}

}  // namespace zorvan::platform::posix
