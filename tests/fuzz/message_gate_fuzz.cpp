// Any bytes can come from a server, cut anywhere: what passes the gate is what liblber reads
// without it, and nothing longer than the limit.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "platform/posix/message_gate.h"

namespace {

using zorvan::platform::posix::MessageGate;

constexpr std::size_t kLimit = 300;

// The lowest layer: a stream that arrives in pieces and then ends.
struct Stream {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t piece;

  static int SetUp(Sockbuf_IO_Desc* layer, void* stream) {
    layer->sbiod_pvt = stream;
    return 0;
  }
  static int Remove(Sockbuf_IO_Desc*) { return 0; }
  static int Control(Sockbuf_IO_Desc*, int, void*) { return 0; }
  static ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t wanted) {
    Stream& stream = *static_cast<Stream*>(layer->sbiod_pvt);
    const std::size_t count = std::min({wanted, stream.size, stream.piece});
    std::memcpy(buffer, stream.data, count);
    stream.data += count;
    stream.size -= count;
    return static_cast<ber_slen_t>(count);
  }
  static ber_slen_t Write(Sockbuf_IO_Desc*, void*, ber_len_t size) {
    return static_cast<ber_slen_t>(size);
  }
};

std::vector<std::string> ReadAll(Stream stream, MessageGate* gate) {
  static Sockbuf_IO functions = {Stream::SetUp, Stream::Remove, Stream::Control,
                                 Stream::Read,  Stream::Write,  Stream::Remove};
  Sockbuf* connection = ber_sockbuf_alloc();
  ber_len_t maxIncoming = 1 << 20;
  ber_sockbuf_ctrl(connection, LBER_SB_OPT_SET_MAX_INCOMING, &maxIncoming);
  ber_sockbuf_add_io(connection, &functions, LBER_SBIOD_LEVEL_PROVIDER, &stream);
  if (gate != nullptr) {
    gate->Attach(connection);
    gate->Ration();
  }
  std::vector<std::string> messages;
  for (bool more = true; more;) {
    BerElement* element = ber_alloc_t(0);
    ber_len_t length = 0;
    more = ber_get_next(connection, &length, element) != LBER_ERROR;
    if (more) {
      std::string& message = messages.emplace_back(length, '\0');
      ber_read(element, message.data(), length);
    }
    ber_free(element, 1);
  }
  ber_sockbuf_free(connection);
  return messages;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Stream stream{data + 1, size - 1, std::size_t{1} + data[0]};
  MessageGate gate;
  gate.SetLimits({kLimit, 100 * kLimit});
  const std::vector<std::string> passed = ReadAll(stream, &gate);
  const std::vector<std::string> plain = ReadAll(stream, nullptr);
  if (passed.size() > plain.size()) std::abort();
  for (std::size_t i = 0; i < passed.size(); ++i) {
    if (passed[i] != plain[i] || passed[i].size() > kLimit) std::abort();
  }
  return 0;
}
