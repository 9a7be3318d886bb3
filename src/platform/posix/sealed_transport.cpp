#include "platform/posix/sealed_transport.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kLengthSize = 4;
constexpr std::size_t kReadSize = 0x40000;
// Longer than any token that a directory server sends.
constexpr std::size_t kMaxToken = 0x1000000;
// How much goes into one token; servers need not accept longer ones than 64 KiB.
constexpr std::size_t kPlainPerToken = 0x8000;

std::size_t ReadLength(const char* bytes) {
  std::size_t length = 0;
  for (std::size_t i = 0; i < kLengthSize; ++i) {
    length = length << 8 | static_cast<std::uint8_t>(bytes[i]);
  }
  return length;
}

void AppendLength(std::string& out, std::size_t length) {
  for (std::size_t i = kLengthSize; i-- > 0;) out.push_back(static_cast<char>(length >> 8 * i));
}

gss_buffer_desc BufferOf(std::string_view bytes) {
  return {bytes.size(), const_cast<char*>(bytes.data())};
}

}  // namespace

bool GssProtection::Wrap(std::string_view plain, std::string& token) {
  gss_buffer_desc input = BufferOf(plain);
  GssBuffer output;
  OM_uint32 minor = 0;
  int sealed = 0;
  const OM_uint32 major =
      gss_wrap(&minor, context_.get(), 1, GSS_C_QOP_DEFAULT, &input, &sealed, output.Put());
  if (GSS_ERROR(major) || sealed == 0) return false;
  token.assign(static_cast<const char*>(output.data()), output.size());
  return true;
}

bool GssProtection::Unwrap(std::string_view token, std::string& plain) {
  gss_buffer_desc input = BufferOf(token);
  GssBuffer output;
  OM_uint32 minor = 0;
  int sealed = 0;
  const OM_uint32 major =
      gss_unwrap(&minor, context_.get(), &input, output.Put(), &sealed, nullptr);
  // A token that is only signed, repeated or out of turn is not what was agreed on.
  if (major != GSS_S_COMPLETE || sealed == 0) return false;
  plain.assign(static_cast<const char*>(output.data()), output.size());
  return true;
}

// What libldap calls.
struct SealedTransport::Layer {
  static SealedTransport& Of(Sockbuf_IO_Desc* layer) {
    return *static_cast<SealedTransport*>(layer->sbiod_pvt);
  }
  static int SetUp(Sockbuf_IO_Desc* layer, void* transport) {
    layer->sbiod_pvt = transport;
    return 0;
  }
  // Ready means a whole token: with less, libldap must wait for the socket.
  static int Control(Sockbuf_IO_Desc* layer, int option, void* argument) {
    if (option == LBER_SB_OPT_DATA_READY) return Of(layer).hasInput() ? 1 : 0;
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
  }
  static ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
    return Of(layer).Read(layer, buffer, size);
  }
  static ber_slen_t Write(Sockbuf_IO_Desc* layer, void* bytes, ber_len_t size) {
    return Of(layer).Write(layer, bytes, size);
  }
  static int LeaveToOwner(Sockbuf_IO_Desc*) { return 0; }
};

bool SealedTransport::Attach(Sockbuf* connection) {
  static Sockbuf_IO functions = {Layer::SetUp, Layer::LeaveToOwner, Layer::Control,
                                 Layer::Read,  Layer::Write,        Layer::LeaveToOwner};
  return ber_sockbuf_add_io(connection, &functions, LBER_SBIOD_LEVEL_APPLICATION, this) == 0;
}

bool SealedTransport::hasInput() const {
  std::string_view token;
  return plainBegin_ < plain_.size() || FrontFrame(token) != Frame::kPartial;
}

ber_slen_t SealedTransport::Read(Sockbuf_IO_Desc* layer, void* buffer, std::size_t size) {
  while (plainBegin_ == plain_.size()) {
    std::string_view token;
    const Frame frame = broken_ ? Frame::kMalformed : FrontFrame(token);
    if (frame == Frame::kPartial) {
      const ber_slen_t count = Receive(layer);
      if (count <= 0) return count;
    } else if (frame == Frame::kMalformed || !UnwrapFront(token)) {
      broken_ = true;
      errno = EPROTO;
      return -1;
    }
  }
  const std::size_t count = std::min(size, plain_.size() - plainBegin_);
  std::memcpy(buffer, plain_.data() + plainBegin_, count);
  plainBegin_ += count;
  return static_cast<ber_slen_t>(count);
}

SealedTransport::Frame SealedTransport::FrontFrame(std::string_view& token) const {
  if (end_ - begin_ < kLengthSize) return Frame::kPartial;
  const std::size_t length = ReadLength(input_.data() + begin_);
  if (length == 0 || length > kMaxToken) return Frame::kMalformed;
  if (end_ - begin_ - kLengthSize < length) return Frame::kPartial;
  token = {input_.data() + begin_ + kLengthSize, length};
  return Frame::kComplete;
}

bool SealedTransport::UnwrapFront(std::string_view token) {
  plainBegin_ = 0;
  plain_.clear();
  if (!protection_->Unwrap(token, plain_)) return false;
  begin_ += kLengthSize + token.size();
  return true;
}

// Reads as much as there is, behind what is there already. What is left of a token is moved to the
// front once at most for each read, so a byte is not moved more often than it is read.
ber_slen_t SealedTransport::Receive(Sockbuf_IO_Desc* layer) {
  if (begin_ > 0) {
    std::memmove(input_.data(), input_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  // A token is given room as it arrives: anybody can claim that it is long.
  const std::size_t wanted = std::max(kReadSize, end_);
  if (input_.size() < end_ + wanted) input_.resize(end_ + wanted);
  const ber_slen_t count = LBER_SBIOD_READ_NEXT(layer, input_.data() + end_, wanted);
  if (count > 0) end_ += static_cast<std::size_t>(count);
  return count;
}

// All tokens of a request go down in one piece, and the layer below takes it whole.
ber_slen_t SealedTransport::Write(Sockbuf_IO_Desc* layer, const void* bytes, std::size_t size) {
  std::string_view plain(static_cast<const char*>(bytes), size);
  frames_.clear();
  while (!plain.empty() && !broken_) {
    const std::string_view piece = plain.substr(0, kPlainPerToken);
    plain.remove_prefix(piece.size());
    broken_ = !protection_->Wrap(piece, token_);
    AppendLength(frames_, token_.size());
    frames_ += token_;
  }
  if (!broken_) {
    broken_ = LBER_SBIOD_WRITE_NEXT(layer, frames_.data(), frames_.size()) !=
              static_cast<ber_slen_t>(frames_.size());
  }
  if (!broken_) return static_cast<ber_slen_t>(size);
  errno = EPROTO;
  return -1;
}

}  // namespace zorvan::platform::posix
