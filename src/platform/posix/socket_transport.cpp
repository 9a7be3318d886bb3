#include "platform/posix/socket_transport.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kReadAhead = 0x4000;

}  // namespace

// What libldap calls.
struct SocketTransport::Layer {
  static SocketTransport& Of(Sockbuf_IO_Desc* layer) {
    return *static_cast<SocketTransport*>(layer->sbiod_pvt);
  }
  static int SetUp(Sockbuf_IO_Desc* layer, void* transport) {
    layer->sbiod_pvt = transport;
    return 0;
  }
  static int Control(Sockbuf_IO_Desc* layer, int option, void*) {
    return option == LBER_SB_OPT_DATA_READY && Of(layer).hasInput() ? 1 : 0;
  }
  static ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
    return Of(layer).Read(buffer, size);
  }
  static ber_slen_t Write(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) {
    return Of(layer).Write(bytes, size);
  }
  static int LeaveToOwner(Sockbuf_IO_Desc*) { return 0; }
};

bool SocketTransport::Attach(Sockbuf* connection) {
  static Sockbuf_IO functions = {Layer::SetUp, Layer::LeaveToOwner, Layer::Control,
                                 Layer::Read,  Layer::Write,        Layer::LeaveToOwner};
  return ber_sockbuf_add_io(connection, &functions, LBER_SBIOD_LEVEL_PROVIDER, this) == 0;
}

ber_slen_t SocketTransport::Read(void* buffer, std::size_t size) {
  if (!hasInput()) {
    // A layer above that asks for much has a buffer of its own.
    if (size >= kReadAhead) return ReadSocket(buffer, size);
    input_.resize(kReadAhead);
    const ber_slen_t count = ReadSocket(input_.data(), input_.size());
    if (count <= 0) return count;
    begin_ = 0;
    end_ = static_cast<std::size_t>(count);
  }
  const std::size_t count = std::min(size, end_ - begin_);
  std::memcpy(buffer, input_.data() + begin_, count);
  begin_ += count;
  return static_cast<ber_slen_t>(count);
}

ber_slen_t SocketTransport::ReadSocket(void* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = recv(descriptor_.get(), buffer, size, MSG_DONTWAIT);
    failed_ |= count == 0 && size > 0;
    if (count >= 0) return count;
    if (errno == EINTR) continue;
    failed_ |= errno != EAGAIN;
    if (failed_ || readPatience_ == nullptr) return -1;
    const HResult ended = Await(*readPatience_);
    if (Failed(ended)) {
      errno = ended == kCancelled ? ECANCELED : ETIMEDOUT;
      return -1;
    }
  }
}

// Everything is taken; what the socket has no room for goes out while the answer is awaited.
ber_slen_t SocketTransport::Write(const void* bytes, std::size_t size) {
  const auto* first = static_cast<const char*>(bytes);
  output_.insert(output_.end(), first, first + size);
  return Flush() ? static_cast<ber_slen_t>(size) : -1;
}

bool SocketTransport::Flush() {
  while (sent_ < output_.size()) {
    const ssize_t count = send(descriptor_.get(), output_.data() + sent_, output_.size() - sent_,
                               MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count >= 0) {
      sent_ += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      return true;
    } else if (errno != EINTR) {
      failed_ = true;
      return false;
    }
  }
  output_.clear();
  sent_ = 0;
  return true;
}

HResult SocketTransport::Await(Patience& patience) {
  for (;;) {
    const bool sending = sent_ < output_.size();
    pollfd waiting{descriptor_.get(), static_cast<short>(sending ? POLLIN | POLLOUT : POLLIN), 0};
    const HResult ended = patience.Await(std::span(&waiting, 1));
    if (Failed(ended)) return ended;
    if ((waiting.revents & ~POLLOUT) != 0) return kOk;
    if (!Flush()) return kOk;  // reading will tell why
  }
}

}  // namespace zorvan::platform::posix
