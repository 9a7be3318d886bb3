#include "platform/posix/sealed_transport.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kReadSize = 128 * 1024;
// A token longer than this is no token of ours; the directory's own limit is far below.
constexpr std::size_t kLongestToken = 16 * 1024 * 1024;
// How much is wrapped into one token.
constexpr std::size_t kMostWrapped = 64 * 1024;

// Bytes that are appended at the end and taken from the front, without moving what is left for each piece taken.
class ByteQueue {
 public:
  std::size_t size() const { return bytes_.size() - begin_; }
  bool empty() const { return size() == 0; }
  const std::uint8_t* data() const { return bytes_.data() + begin_; }

  // Room for count more bytes at the end; Commit tells how many were filled.
  std::uint8_t* Reserve(std::size_t count) {
    if (begin_ == bytes_.size()) {
      bytes_.clear();
      begin_ = 0;
    } else if (begin_ > kReadSize) {
      bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin_));
      begin_ = 0;
    }
    reserved_ = bytes_.size();
    bytes_.resize(reserved_ + count);
    return bytes_.data() + reserved_;
  }
  void Commit(std::size_t count) { bytes_.resize(reserved_ + count); }
  void Append(const void* bytes, std::size_t count) {
    std::memcpy(Reserve(count), bytes, count);
    Commit(count);
  }
  void Consume(std::size_t count) { begin_ += count; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t begin_ = 0;
  std::size_t reserved_ = 0;
};

class SealedTransport {
 public:
  SealedTransport(GssContext context, bool seal) : context_(std::move(context)), seal_(seal) {}

  ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, std::size_t size) {
    while (plainLeft_.empty()) {
      switch (Unwrap()) {
        case Step::kDone:
          continue;
        case Step::kBroken:
          errno = EPROTO;
          return -1;
        case Step::kNeedsMore:
          break;
      }
      std::uint8_t* room = received_.Reserve(kReadSize);
      const ber_slen_t count = LBER_SBIOD_READ_NEXT(layer, room, kReadSize);
      received_.Commit(count > 0 ? static_cast<std::size_t>(count) : 0);
      if (count <= 0) return count;
    }
    const std::size_t count = std::min(size, plainLeft_.size());
    std::memcpy(buffer, plainLeft_.data(), count);
    plainLeft_.remove_prefix(count);
    return static_cast<ber_slen_t>(count);
  }

  // Takes what was given as soon as it is wrapped. When the socket does not take all of a token, the rest goes out first at the next
  // call, which libldap makes because it is told EAGAIN until then.
  ber_slen_t Write(Sockbuf_IO_Desc* layer, const void* buffer, std::size_t size) {
    if (toSend_.empty()) {
      accepted_ = std::min(size, kMostWrapped);
      if (!Wrap(buffer, accepted_)) {
        errno = EPROTO;
        return -1;
      }
    }
    while (!toSend_.empty()) {
      const ber_slen_t count =
          LBER_SBIOD_WRITE_NEXT(layer, const_cast<std::uint8_t*>(toSend_.data()), toSend_.size());
      if (count <= 0) return count;
      toSend_.Consume(static_cast<std::size_t>(count));
    }
    return static_cast<ber_slen_t>(accepted_);
  }

  bool HasDataReady() const { return !plainLeft_.empty() || TokenSize() != 0; }

 private:
  enum class Step { kDone, kNeedsMore, kBroken };

  std::size_t DeclaredLength() const {
    std::size_t length = 0;
    for (std::size_t i = 0; i < kLengthSize; ++i) length = length << 8 | received_.data()[i];
    return length;
  }

  // The size of the token at the front of what was received, without its length; zero while it is not complete.
  std::size_t TokenSize() const {
    if (received_.size() < kLengthSize) return 0;
    const std::size_t length = DeclaredLength();
    return received_.size() - kLengthSize >= length ? length : 0;
  }

  Step Unwrap() {
    if (received_.size() >= kLengthSize) {
      const std::size_t length = DeclaredLength();
      if (length == 0 || length > kLongestToken) return Step::kBroken;
    }
    const std::size_t length = TokenSize();
    if (length == 0) return Step::kNeedsMore;
    gss_buffer_desc token = {length, const_cast<std::uint8_t*>(received_.data() + kLengthSize)};
    OM_uint32 minor = 0;
    int sealed = 0;
    const OM_uint32 major =
        gss_unwrap(&minor, context_.get(), &token, plain_.out(), &sealed, nullptr);
    // What was agreed to be sealed must not arrive in the clear.
    if (GSS_ERROR(major) || (seal_ && sealed == 0)) return Step::kBroken;
    received_.Consume(kLengthSize + length);
    plainLeft_ = {static_cast<const char*>(plain_.data()), plain_.size()};
    return Step::kDone;
  }

  bool Wrap(const void* buffer, std::size_t size) {
    gss_buffer_desc plain = {size, const_cast<void*>(buffer)};
    OM_uint32 minor = 0;
    int sealed = 0;
    GssBuffer token;
    const OM_uint32 major = gss_wrap(&minor, context_.get(), seal_ ? 1 : 0, GSS_C_QOP_DEFAULT,
                                     &plain, &sealed, token.out());
    if (GSS_ERROR(major) || (seal_ && sealed == 0)) return false;
    std::uint8_t length[kLengthSize];
    for (std::size_t i = 0; i < kLengthSize; ++i) {
      length[i] = static_cast<std::uint8_t>(token.size() >> (8 * (kLengthSize - 1 - i)));
    }
    toSend_.Append(length, kLengthSize);
    toSend_.Append(token.data(), token.size());
    return true;
  }

  GssContext context_;
  bool seal_;
  ByteQueue received_;
  ByteQueue toSend_;
  std::size_t accepted_ = 0;  // bytes of the caller's that are in toSend_
  GssBuffer plain_;           // the token unwrapped last
  std::string_view plainLeft_;
};

SealedTransport& Of(Sockbuf_IO_Desc* layer) {
  return *static_cast<SealedTransport*>(layer->sbiod_pvt);
}

// libldap calls these; what it hands to the first as argument is the transport, which the second takes down.
int SetUp(Sockbuf_IO_Desc* layer, void* transport) {
  layer->sbiod_pvt = transport;
  return 0;
}

int Remove(Sockbuf_IO_Desc* layer) {
  const std::unique_ptr<SealedTransport> transport(&Of(layer));
  layer->sbiod_pvt = nullptr;
  return 0;
}

int Control(Sockbuf_IO_Desc* layer, int option, void* argument) {
  if (option == LBER_SB_OPT_DATA_READY && Of(layer).HasDataReady()) return 1;
  return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  return Of(layer).Read(layer, buffer, size);
}

ber_slen_t Write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
  return Of(layer).Write(layer, buffer, size);
}

int Close(Sockbuf_IO_Desc*) { return 0; }

Sockbuf_IO theLayer = {SetUp, Remove, Control, Read, Write, Close};

}  // namespace

bool InstallSealedTransport(Sockbuf* socket, GssContext context, bool seal) {
  auto transport = std::make_unique<SealedTransport>(std::move(context), seal);
  if (ber_sockbuf_add_io(socket, &theLayer, LBER_SBIOD_LEVEL_APPLICATION, transport.get()) != 0) {
    return false;
  }
  [[maybe_unused]] const auto* ownedByTheLayer = transport.release();
  return true;
}

}  // namespace zorvan::platform::posix
