// A directory server inside TLS, in a thread of the test: it lets everybody in who accepts its
// certificate, and tells what it was sent.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "platform/posix/ldap_connection.h"
#include "support/loopback.h"
#include "unit/platform/posix/certificates.h"

namespace zorvan::platform::posix {

class PlantedTlsServer {
 public:
  explicit PlantedTlsServer(const Identity& identity, const char* priority = "NORMAL");
  ~PlantedTlsServer();
  PlantedTlsServer(const PlantedTlsServer&) = delete;
  PlantedTlsServer& operator=(const PlantedTlsServer&) = delete;

  Endpoint endpoint() const { return {"127.0.0.1", listener_.port()}; }

  // What the clients so far have sent, each until it left.
  struct Heard {
    std::string raw;      // all of it, as it came
    std::string later;    // of that, what came after the server's certificate had been sent
    std::string plain;    // what was inside TLS
    std::string version;  // of TLS, where a handshake was completed
    int clients = 0;
    bool clientCertificate = false;
  };
  // Waits until as many clients have left.
  Heard AfterClients(int count);

 private:
  struct Client;

  void Run();
  void Serve(int descriptor);
  static ssize_t Pull(gnutls_transport_ptr_t client, void* buffer, std::size_t size);
  static ssize_t Push(gnutls_transport_ptr_t client, const void* bytes, std::size_t size);

  TlsCredentials credentials_;
  std::string priority_;
  support::Listener listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  Heard heard_;
  std::thread thread_;
};

}  // namespace zorvan::platform::posix
