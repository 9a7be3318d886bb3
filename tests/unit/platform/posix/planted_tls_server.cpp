#include "unit/platform/posix/planted_tls_server.h"

#include <ldap.h>

#include <chrono>
#include <stdexcept>

#include "unit/platform/posix/ber.h"

namespace zorvan::platform::posix {
namespace {

std::string Result(int id, char tag) {
  return ber::Element(
      '\x30', ber::Integer(id) + ber::Element(tag, std::string("\x0A\x01\x00\x04\x00\x04\x00", 7)));
}

// An empty root and the end of a search, or a bind that succeeds.
std::string AnswerTo(const std::string& message) {
  // The id is one byte long, for so few messages are sent; the length of the message may be longer.
  const std::size_t head = message.size() > 0x80 ? 3 : 2;
  if (message.size() < head + 4) return {};
  const int id = message[head + 2];
  const auto operation = static_cast<unsigned char>(message[head + 3]);
  if (operation == LDAP_REQ_BIND) return Result(id, '\x61');
  if (operation != LDAP_REQ_SEARCH) return {};
  const std::string root = ber::Element('\x64', ber::Octets("") + ber::Element('\x30', ""));
  return ber::Element('\x30', ber::Integer(id) + root) + Result(id, '\x65');
}

}  // namespace

struct PlantedTlsServer::Client {
  int descriptor;
  std::string raw;
  std::string later;
  bool answered = false;
};

PlantedTlsServer::PlantedTlsServer(const Identity& identity, const char* priority)
    : priority_(priority) {
  std::vector<gnutls_x509_crt_t> chain = identity.chain();
  if (gnutls_certificate_allocate_credentials(credentials_.Put()) < 0 ||
      gnutls_certificate_set_x509_key(credentials_.get(), chain.data(),
                                      static_cast<int>(chain.size()), identity.key()) < 0) {
    throw std::runtime_error("no server with this certificate");
  }
  thread_ = std::thread([this] { Run(); });
}

PlantedTlsServer::~PlantedTlsServer() {
  listener_.Shutdown();
  thread_.join();
}

PlantedTlsServer::Heard PlantedTlsServer::AfterClients(int count) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::chrono::seconds(5), [&] { return heard_.clients >= count; });
  return heard_;
}

void PlantedTlsServer::Run() {
  while (const FileDescriptor client = listener_.Accept()) {
    const timeval limit{5, 0};
    setsockopt(client.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    Serve(client.get());
    changed_.notify_all();
  }
}

void PlantedTlsServer::Serve(int descriptor) {
  Client client{descriptor, {}, {}, false};
  TlsHandle session;
  gnutls_init(session.Put(), GNUTLS_SERVER);
  gnutls_priority_set_direct(session.get(), priority_.c_str(), nullptr);
  gnutls_credentials_set(session.get(), GNUTLS_CRD_CERTIFICATE, credentials_.get());
  gnutls_certificate_server_set_request(session.get(), GNUTLS_CERT_REQUEST);
  gnutls_transport_set_ptr(session.get(), &client);
  gnutls_transport_set_pull_function(session.get(), Pull);
  gnutls_transport_set_push_function(session.get(), Push);
  Heard heard;
  int result = 0;
  do {
    result = gnutls_handshake(session.get());
  } while (result < 0 && gnutls_error_is_fatal(result) == 0);
  if (result == 0) {
    heard.version = gnutls_protocol_get_name(gnutls_protocol_get_version(session.get()));
    heard.clientCertificate = gnutls_certificate_get_peers(session.get(), nullptr) != nullptr;
  }
  char bytes[4096];
  for (ssize_t count = 0;
       result == 0 && (count = gnutls_record_recv(session.get(), bytes, sizeof bytes)) > 0;) {
    const std::string message(bytes, static_cast<std::size_t>(count));
    heard.plain += message;
    const std::string answer = AnswerTo(message);
    if (!answer.empty()) gnutls_record_send(session.get(), answer.data(), answer.size());
  }
  // What TLS did not read any more, up to the client's leaving.
  while (Pull(&client, bytes, sizeof bytes) > 0) {
  }
  const std::lock_guard lock(mutex_);
  heard_.raw += client.raw;
  heard_.later += client.later;
  heard_.plain += heard.plain;
  if (!heard.version.empty()) heard_.version = heard.version;
  heard_.clientCertificate = heard.clientCertificate;
  ++heard_.clients;
}

ssize_t PlantedTlsServer::Pull(gnutls_transport_ptr_t transport, void* buffer, std::size_t size) {
  auto& client = *static_cast<Client*>(transport);
  const ssize_t count = recv(client.descriptor, buffer, size, 0);
  if (count <= 0) return count;
  const std::string_view bytes(static_cast<const char*>(buffer), static_cast<std::size_t>(count));
  client.raw += bytes;
  if (client.answered) client.later += bytes;
  return count;
}

ssize_t PlantedTlsServer::Push(gnutls_transport_ptr_t transport, const void* bytes,
                               std::size_t size) {
  auto& client = *static_cast<Client*>(transport);
  client.answered = true;
  return send(client.descriptor, bytes, size, MSG_NOSIGNAL);
}

}  // namespace zorvan::platform::posix
