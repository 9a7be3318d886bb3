#include "unit/platform/posix/canned_server.h"

#include <arpa/inet.h>
#include <lber.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "platform/posix/unicode.h"
#include "unit/platform/posix/ber.h"

namespace zorvan::platform::posix {
namespace {

using ber::Element;
using ber::Integer;
using ber::Octets;

constexpr char kBindRequest = '\x60';
constexpr char kSearchRequest = '\x63';
constexpr char kAbandonRequest = '\x50';
constexpr char kPagedResults[] = "1.2.840.113556.1.4.319";

struct FreeBer {
  void operator()(BerElement* element) const { ber_free(element, 1); }
};
using Ber = std::unique_ptr<BerElement, FreeBer>;

Ber Reader(const std::string& bytes) {
  berval value{bytes.size(), const_cast<char*>(bytes.data())};
  return Ber(ber_init(&value));
}

std::string Message(int id, const std::string& operation, const std::string& controls = {}) {
  return Element('\x30', Integer(id) + operation + controls);
}

std::string Result(char tag, int code) {
  return Element(
      tag, Element('\x0A', std::string(1, static_cast<char>(code))) + Octets("") + Octets(""));
}

// Receives one whole message; its length must be written in one to four bytes.
bool Receive(int connection, std::string& message) {
  const auto take = [&](std::size_t size) {
    const std::size_t before = message.size();
    message.resize(before + size);
    return size == 0 || recv(connection, message.data() + before, size, MSG_WAITALL) ==
                            static_cast<ssize_t>(size);
  };
  message.clear();
  if (!take(2)) return false;
  std::size_t length = static_cast<unsigned char>(message[1]);
  if (length >= 0x80) {
    const std::size_t bytes = length & 0x7F;
    if (!take(bytes)) return false;
    length = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      length = length << 8 | static_cast<unsigned char>(message[2 + i]);
    }
  }
  return take(length);
}

bool Send(int connection, const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t count = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

void ReadPaging(BerElement* reader, ReceivedSearch& search) {
  ber_len_t length = 0;
  char* last = nullptr;
  for (ber_tag_t tag = ber_first_element(reader, &length, &last); tag != LBER_DEFAULT;
       tag = ber_next_element(reader, &length, last)) {
    berval oid{};
    berval value{};
    ber_scanf(reader, "{m", &oid);
    if (std::string(oid.bv_val, oid.bv_len) != kPagedResults) {
      ber_skip_tag(reader, &length);
      continue;
    }
    search.paged = true;
    ber_scanf(reader, "m}", &value);
    const Ber inner = Reader(std::string(value.bv_val, value.bv_len));
    ber_int_t size = 0;
    berval cookie{};
    ber_scanf(inner.get(), "{im}", &size, &cookie);
    search.cookie.assign(cookie.bv_val, cookie.bv_len);
  }
}

ReceivedSearch ReadSearch(const std::string& message) {
  ReceivedSearch search;
  berval base{};
  const Ber operation = Reader(message);
  ber_scanf(operation.get(), "{i{m", &search.id, &base);
  search.base.assign(base.bv_val, base.bv_len);
  const Ber controls = Reader(message);
  ber_scanf(controls.get(), "{ix", &search.id);
  ber_len_t length = 0;
  if (ber_peek_tag(controls.get(), &length) == 0xA0U) ReadPaging(controls.get(), search);
  return search;
}

}  // namespace

CannedServer::CannedServer(Answer answer) : answer_(std::move(answer)) {
  listener_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      listen(listener_, 5) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw std::runtime_error("no port on loopback");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { Run(); });
}

CannedServer::~CannedServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    shutdown(listener_, SHUT_RDWR);
    if (current_ >= 0) shutdown(current_, SHUT_RDWR);
  }
  changed_.notify_all();
  thread_.join();
  close(listener_);
}

std::u16string CannedServer::path() const {
  return ToUtf16("LDAP://127.0.0.1:" + std::to_string(port_) + "/");
}

bool CannedServer::Await(const std::function<bool()>& reached) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(5), reached);
}

bool CannedServer::AwaitSearches(std::size_t count) {
  return Await([&] { return searches_.size() >= count; });
}

bool CannedServer::AwaitAbandoned(std::size_t count) {
  return Await([&] { return abandoned_ >= count; });
}

int CannedServer::connections() {
  const std::lock_guard lock(mutex_);
  return connections_;
}

void CannedServer::Run() {
  for (;;) {
    const int connection = accept(listener_, nullptr, nullptr);
    {
      const std::lock_guard lock(mutex_);
      if (connection < 0 || stopping_) {
        if (connection >= 0) close(connection);
        return;
      }
      current_ = connection;
      ++connections_;
    }
    Serve(connection);
    const std::lock_guard lock(mutex_);
    current_ = -1;
    close(connection);
  }
}

void CannedServer::Serve(int connection) {
  std::string message;
  while (Receive(connection, message) && Handle(connection, message)) {
  }
}

// False when the connection is to be closed.
bool CannedServer::Handle(int connection, const std::string& message) {
  ber_int_t id = 0;
  ber_len_t length = 0;
  const Ber reader = Reader(message);
  ber_scanf(reader.get(), "{i", &id);
  const char tag = static_cast<char>(ber_peek_tag(reader.get(), &length));
  if (tag == kBindRequest) return Send(connection, Message(id, Result('\x61', 0)));
  if (tag == kAbandonRequest) {
    const std::lock_guard lock(mutex_);
    ++abandoned_;
    changed_.notify_all();
    return true;
  }
  if (tag != kSearchRequest) return false;
  ReceivedSearch search = ReadSearch(message);
  if (search.base.empty()) return Send(connection, Done(id));  // who are you?
  std::vector<ReceivedSearch> received;
  {
    const std::lock_guard lock(mutex_);
    searches_.push_back(std::move(search));
    received = searches_;
  }
  changed_.notify_all();
  std::string answer = answer_(received);
  const bool closes = answer.ends_with(kClose);
  if (closes) answer.resize(answer.size() - std::string_view(kClose).size());
  return Send(connection, answer) && !closes;
}

std::string CannedServer::Entry(int id, const std::string& dn, const std::string& attributes) {
  return Message(id, Element('\x64', Octets(dn) + Element('\x30', attributes)));
}

std::string CannedServer::Reference(int id) {
  return Message(id, Element('\x73', Octets("ldap://elsewhere.test/DC=x")));
}

std::string CannedServer::Done(int id, int code) { return Message(id, Result('\x65', code)); }

std::string CannedServer::DonePage(int id, const std::string& cookie) {
  const std::string value = Element('\x30', Integer(0) + Octets(cookie));
  const std::string control = Element('\x30', Octets(kPagedResults) + Octets(value));
  return Message(id, Result('\x65', 0), Element('\xA0', control));
}

}  // namespace zorvan::platform::posix
