#include "platform/posix/message_gate.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kRation = 0x100000;
// What libldap and the allocator need for a message beyond its own bytes; without it a flood of
// tiny messages would take many times what it seems to.
constexpr std::size_t kOverhead = 512;

constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kUnbindRequest = 0x42;
constexpr std::uint8_t kAbandonRequest = 0x50;
constexpr int kUnsolicited = 0;

// SEQUENCE with a length, INTEGER, tag.
constexpr std::size_t kMaxLengthBytes = 8;
constexpr std::size_t kMaxIdBytes = 4;
constexpr std::size_t kMaxHeader = 2 + kMaxLengthBytes + 2 + kMaxIdBytes + 1;

bool IsLastAnswer(std::uint8_t operation) {
  return operation != LDAP_RES_SEARCH_ENTRY && operation != LDAP_RES_SEARCH_REFERENCE &&
         operation != LDAP_RES_INTERMEDIATE;
}

std::size_t Number(std::string_view bytes) {
  std::size_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<std::uint8_t>(byte);
  return number;
}

}  // namespace

// How a message begins: SEQUENCE, length, message id, tag of the operation.
struct MessageGate::Header {
  enum class State { kPartial, kComplete, kMalformed };

  State state = State::kPartial;
  bool lengthKnown = false;
  std::size_t size = 0;    // of the bytes before the contents
  std::size_t length = 0;  // of the contents
  std::size_t end = 0;     // of what was looked at, once complete
  int id = 0;
  std::uint8_t operation = 0;

  static Header Parse(std::string_view bytes) {
    Header header;
    const auto at = [&](std::size_t index) { return static_cast<std::uint8_t>(bytes[index]); };
    if (!bytes.empty() && at(0) != kSequence) return header.Malformed();
    if (bytes.size() < 2) return header;
    const bool isShort = at(1) < 0x80;
    const std::size_t lengthBytes = isShort ? 0 : at(1) & 0x7FU;
    if (!isShort && (lengthBytes == 0 || lengthBytes > kMaxLengthBytes)) return header.Malformed();
    header.size = 2 + lengthBytes;
    if (bytes.size() < header.size) return header;
    header.length = isShort ? at(1) : Number(bytes.substr(2, lengthBytes));
    header.lengthKnown = true;
    if (bytes.size() < header.size + 2) return header;
    const std::size_t idBytes = at(header.size + 1);
    if (at(header.size) != kInteger || idBytes == 0 || idBytes > kMaxIdBytes) {
      return header.Malformed();
    }
    if (bytes.size() < header.size + 2 + idBytes + 1) return header;
    header.id = static_cast<int>(Number(bytes.substr(header.size + 2, idBytes)));
    header.operation = at(header.size + 2 + idBytes);
    header.end = header.size + 2 + idBytes + 1;
    header.state = State::kComplete;
    return header;
  }

  Header& Malformed() {
    state = State::kMalformed;
    return *this;
  }
};

// What libldap calls.
struct MessageGate::Layer {
  static MessageGate& Of(Sockbuf_IO_Desc* layer) {
    return *static_cast<MessageGate*>(layer->sbiod_pvt);
  }
  static int SetUp(Sockbuf_IO_Desc* layer, void* gate) {
    layer->sbiod_pvt = gate;
    return 0;
  }
  static int Control(Sockbuf_IO_Desc* layer, int option, void* argument) {
    if (option == LBER_SB_OPT_DATA_READY && Of(layer).usedUp()) return 0;
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

bool MessageGate::Attach(Sockbuf* connection) {
  static Sockbuf_IO functions = {Layer::SetUp, Layer::LeaveToOwner, Layer::Control,
                                 Layer::Read,  Layer::Write,        Layer::LeaveToOwner};
  constexpr int kAboveAllOthers = LBER_SBIOD_LEVEL_APPLICATION + 10;
  return ber_sockbuf_add_io(connection, &functions, kAboveAllOthers, this) == 0;
}

void MessageGate::Ration() { ration_ = kRation; }

ber_slen_t MessageGate::Read(Sockbuf_IO_Desc* layer, void* buffer, std::size_t size) {
  if (refused_) {
    errno = EPROTO;
    return -1;
  }
  if (ration_ == 0) {
    errno = EAGAIN;
    return -1;
  }
  const ber_slen_t count = LBER_SBIOD_READ_NEXT(layer, buffer, std::min(size, ration_));
  if (count <= 0) return count;
  ration_ -= static_cast<std::size_t>(count);
  if (Pass({static_cast<const char*>(buffer), static_cast<std::size_t>(count)})) return count;
  refused_ = true;
  errno = EPROTO;
  return -1;
}

// The layers below take whatever is written, so a request comes in one piece.
ber_slen_t MessageGate::Write(Sockbuf_IO_Desc* layer, void* bytes, std::size_t size) {
  const Header header = Header::Parse({static_cast<const char*>(bytes), size});
  if (header.state == Header::State::kComplete && header.operation != kUnbindRequest &&
      header.operation != kAbandonRequest) {
    requests_[header.id] = {};
  }
  return LBER_SBIOD_WRITE_NEXT(layer, bytes, size);
}

bool MessageGate::Pass(std::string_view bytes) {
  while (!bytes.empty()) {
    if (left_ > 0) {
      const std::size_t passing = std::min(left_, bytes.size());
      bytes.remove_prefix(passing);
      left_ -= passing;
      if (left_ == 0 && !End()) return false;
      continue;
    }
    const std::size_t known = start_.size();
    start_.append(bytes.substr(0, kMaxHeader - known));
    const Header header = Header::Parse(start_);
    if (header.state == Header::State::kMalformed || !Begin(header)) return false;
    if (header.state == Header::State::kPartial) return true;
    bytes.remove_prefix(header.end - known);
    start_.clear();
    if (left_ == 0 && !End()) return false;
  }
  return true;
}

// Judges the beginning of a message as far as it is known.
bool MessageGate::Begin(const Header& header) {
  if (!header.lengthKnown) return true;
  if (header.length > limits_.message) {
    return Refuse("The server sends a message of " + std::to_string(header.length) +
                  " bytes; the limit is " + std::to_string(limits_.message) + ".");
  }
  if (header.state == Header::State::kPartial) return start_.size() - header.size < header.length;
  const std::size_t here = header.end - header.size;
  if (here > header.length) return false;
  length_ = header.length;
  left_ = header.length - here;
  id_ = header.id;
  operation_ = header.operation;
  return true;
}

// libldap keeps a message for a request under way, and one for nobody in particular; others it
// drops.
bool MessageGate::End() {
  const auto request = id_ == kUnsolicited ? requests_.try_emplace(id_).first : requests_.find(id_);
  if (request == requests_.end() || request->second.finished) return true;
  if (id_ != kUnsolicited) {
    ++answers_;
    request->second.finished = IsLastAnswer(operation_);
  }
  request->second.kept.push_back(length_ + kOverhead);
  kept_ += length_ + kOverhead;
  return kept_ <= limits_.kept || Refuse("The server sends more than was asked for: over " +
                                         std::to_string(limits_.kept) + " bytes wait to be read.");
}

bool MessageGate::Refuse(std::string words) {
  excess_ = std::move(words);
  return false;
}

std::size_t MessageGate::Fetched(LDAP* handle, LDAPMessage* chain) {
  const std::size_t before = kept_;
  for (LDAPMessage* message = ldap_first_message(handle, chain); message != nullptr;
       message = ldap_next_message(handle, message)) {
    const auto found = requests_.find(ldap_msgid(message));
    if (found == requests_.end()) continue;
    Request& request = found->second;
    if (request.fetched < request.kept.size()) kept_ -= request.kept[request.fetched++];
    if (request.fetched == request.kept.size()) {
      request.kept.clear();
      request.fetched = 0;
      if (request.finished) requests_.erase(found);
    }
  }
  return before - kept_;
}

void MessageGate::Forget(int messageId) {
  const auto request = requests_.find(messageId);
  if (request == requests_.end()) return;
  const Request& forgotten = request->second;
  for (std::size_t i = forgotten.fetched; i < forgotten.kept.size(); ++i) {
    kept_ -= forgotten.kept[i];
  }
  requests_.erase(request);
}

}  // namespace zorvan::platform::posix
