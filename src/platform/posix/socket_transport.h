// The lowest layer of an LDAP connection: the socket, with reading ahead and a queue of what could
// not be sent yet.
//
// libldap's own layer reads eight bytes, then the rest of a message, and blocks when the other side
// does not read. This one reads what is there, never blocks and never raises SIGPIPE, so that a
// server that stops in mid-message is found out by the time limit of whoever waits, and requests
// can be sent while the server is busy sending. Whoever waits for an answer must do it with Await,
// which sends the queue on.
#pragma once

#include <lber.h>

#include <cstddef>
#include <vector>

#include "platform/posix/handles.h"
#include "platform/posix/tcp_connector.h"

namespace zorvan::platform::posix {

class SocketTransport {
 public:
  explicit SocketTransport(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  // Puts this under the LDAP connection; it must outlive the connection's handle.
  bool Attach(Sockbuf* connection);

  // While patience is given, reading waits for data as long as it lasts, as a TLS handshake needs
  // it.
  void ReadUntil(Patience* patience) { readPatience_ = patience; }

  // Sends what is queued and waits until something can be read: kOk, kTimedOut or kCancelled.
  HResult Await(Patience& patience);

  // True once the other side was found to have gone, in reading or in sending.
  bool failed() const { return failed_; }

  int descriptor() const { return descriptor_.get(); }
  bool hasInput() const { return begin_ < end_; }

 private:
  struct Layer;

  ber_slen_t Read(void* buffer, std::size_t size);
  ber_slen_t ReadSocket(void* buffer, std::size_t size);
  ber_slen_t Write(const void* bytes, std::size_t size);
  bool Flush();

  FileDescriptor descriptor_;
  Patience* readPatience_ = nullptr;
  std::vector<char> input_;  // bytes from begin_ to end_ are still to be read
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::vector<char> output_;  // bytes from sent_ on are still to be sent
  std::size_t sent_ = 0;
  bool failed_ = false;
};

}  // namespace zorvan::platform::posix
