// The TLS layer of an LDAP connection.
//
// libldap has one too, but takes the context of the whole process wherever it cannot make one of
// its own, and keeps to itself why it refuses a certificate. This one shares nothing with anybody.
// It judges the certificate in the middle of the handshake, before anything that depends on the
// server is sent, and stays in place after a refusal, so that nothing leaves in the clear.
//
// It sits on top of a layer that reads without blocking and takes whatever is written
// (SocketTransport).
#pragma once

#include <lber.h>

#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/patience.h"
#include "platform/posix/tls_settings.h"

namespace zorvan::platform::posix {

class TlsTransport {
 public:
  // For a server whose certificate is to be one for host; by the authorities that the credentials
  // trust.
  TlsTransport(TlsCredentials credentials, std::string host)
      : credentials_(std::move(credentials)), host_(std::move(host)) {}
  TlsTransport(const TlsTransport&) = delete;
  TlsTransport& operator=(const TlsTransport&) = delete;

  // Puts this on top of the LDAP connection's layers; it must outlive the connection's handle.
  // False with the reason when TLS cannot be set up as it must be.
  bool Attach(Sockbuf* connection, const TlsSettings& settings, std::string& reason);

  // The layer below must wait for data with the same patience. False with the reason when there is
  // no TLS with the right server; nothing can be sent then.
  bool Handshake(Patience& patience, std::string& reason);

  // True once TLS has failed in reading or in sending; nothing more passes.
  bool failed() const { return failed_; }

  // The server's certificate in DER; empty before the handshake.
  std::string ServerCertificate() const;

 private:
  struct Layer;

  static int JudgeCertificate(gnutls_session_t session);
  std::string ReasonsForRefusal() const;
  std::string ReasonOf(int failure) const;
  ssize_t Pull(void* buffer, std::size_t size);
  ber_slen_t Read(void* buffer, std::size_t size);
  ber_slen_t Write(const void* bytes, std::size_t size);
  ber_slen_t Fail(ssize_t failure);

  TlsCredentials credentials_;  // outlives the session
  TlsHandle session_;
  std::string host_;
  Sockbuf_IO_Desc* layer_ = nullptr;
  Patience* patience_ = nullptr;  // of the handshake
  std::string refusal_;
  bool timedOut_ = false;
  bool accepted_ = false;     // the certificate was found good
  bool established_ = false;  // the handshake is complete
  bool failed_ = false;
};

}  // namespace zorvan::platform::posix
