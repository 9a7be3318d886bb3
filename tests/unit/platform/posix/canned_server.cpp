#include "unit/platform/posix/canned_server.h"

#include <lber.h>
#include <ldap.h>

#include <memory>

#include "platform/posix/unicode.h"
#include "unit/platform/posix/ber.h"

namespace zorvan::platform::posix {
namespace {

using ber::Element;
using ber::Integer;
using ber::Octets;

struct FreeBer {
  void operator()(BerElement* element) const { ber_free(element, 1); }
};
using Ber = std::unique_ptr<BerElement, FreeBer>;

std::string Message(int id, const std::string& operation, const std::string& controls = {}) {
  return Element('\x30', Integer(id) + operation + controls);
}

std::string Result(char tag, int code) {
  return Element(
      tag, Element('\x0A', std::string(1, static_cast<char>(code))) + Octets("") + Octets(""));
}

// The contents of one whole message; nothing when the connection has ended.
std::string Receive(Sockbuf* socket) {
  const Ber message(ber_alloc_t(0));
  ber_len_t length = 0;
  if (ber_get_next(socket, &length, message.get()) != LBER_SEQUENCE) return {};
  std::string bytes(length, '\0');
  ber_read(message.get(), bytes.data(), length);
  return bytes;
}

bool Send(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

CannedServer::CannedServer(Answer answer) : answer_(std::move(answer)) {
  thread_ = std::thread([this] { Run(); });
}

CannedServer::~CannedServer() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
    listener_.Shutdown();
    if (current_ >= 0) shutdown(current_, SHUT_RDWR);
  }
  thread_.join();
}

std::u16string CannedServer::path() const {
  return ToUtf16("LDAP://127.0.0.1:" + std::to_string(listener_.port()) + "/");
}

void CannedServer::TellOfItself(const std::string& attributes) {
  const std::lock_guard lock(mutex_);
  ofItself_ = attributes;
}

bool CannedServer::Await(const std::size_t& counter, std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(5), [&] { return counter >= count; });
}

std::vector<ReceivedSearch> CannedServer::received() {
  const std::lock_guard lock(mutex_);
  return received_;
}

void CannedServer::Run() {
  for (int connection = -1; (connection = listener_.Accept().Release()) >= 0;) {
    Sockbuf* socket = ber_sockbuf_alloc();  // freeing it closes the connection
    ber_sockbuf_add_io(socket, &ber_sockbuf_io_tcp, LBER_SBIOD_LEVEL_PROVIDER, &connection);
    {
      const std::lock_guard lock(mutex_);
      current_ = connection;
      ++connections_;
      if (stopping_) shutdown(current_, SHUT_RDWR);
    }
    for (std::string message; !(message = Receive(socket)).empty() && Handle(message);) {
    }
    const std::lock_guard lock(mutex_);
    current_ = -1;
    ber_sockbuf_free(socket);
    ++closed_;
    changed_.notify_all();
  }
}

// False when the connection is to be closed.
bool CannedServer::Handle(const std::string& message) {
  ReceivedSearch search;
  search.bytes = message;
  berval bytes{search.bytes.size(), search.bytes.data()};
  berval base{};
  ber_len_t length = 0;
  const Ber reader(ber_init(&bytes));
  ber_scanf(reader.get(), "i", &search.id);
  const ber_tag_t tag = ber_peek_tag(reader.get(), &length);
  if (tag == LDAP_REQ_BIND) return Send(current_, Message(search.id, Result('\x61', 0)));
  {
    const std::lock_guard lock(mutex_);
    if (tag == LDAP_REQ_ABANDON) ++abandoned_;
    if (tag == LDAP_REQ_SEARCH) {
      ber_scanf(reader.get(), "{m", &base);
      search.base.assign(base.bv_val, base.bv_len);
      if (search.base.empty()) {  // who are you?
        const std::string answer = ofItself_.empty() ? "" : Entry(search.id, "", ofItself_);
        return Send(current_, answer + Done(search.id));
      }
      received_.push_back(search);
      searches_ = received_.size();
    }
  }
  changed_.notify_all();
  if (tag != LDAP_REQ_SEARCH) return tag == LDAP_REQ_ABANDON;
  return SendAsTold(answer_(search.id, searches_));
}

// False when the connection is to be closed.
bool CannedServer::SendAsTold(std::string answer) const {
  const auto told = [&](std::string_view word) {
    if (!answer.ends_with(word)) return false;
    answer.resize(answer.size() - word.size());
    return true;
  };
  if (told(kClose)) return Send(current_, answer) && false;
  if (told(kReset)) {
    const linger discard{1, 0};
    setsockopt(current_, SOL_SOCKET, SO_LINGER, &discard, sizeof discard);
    return Send(current_, answer) && false;
  }
  if (told(kForever)) {
    while (Send(current_, answer)) {
    }
    return false;
  }
  if (told(kSlowly)) {
    for (std::size_t i = 0; Send(current_, {i < answer.size() ? &answer[i] : "x", 1}); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
  return Send(current_, answer);
}

std::string CannedServer::Entry(int id, const std::string& dn, const std::string& attributes) {
  return Message(id, Element('\x64', Octets(dn) + Element('\x30', attributes)));
}

std::string CannedServer::Reference(int id) {
  return Message(id, Element('\x73', Octets("ldap://elsewhere.test/DC=x")));
}

std::string CannedServer::Done(int id, int code) { return Message(id, Result('\x65', code)); }

std::string CannedServer::Referral(int id, const std::vector<std::string>& urls) {
  std::string list;
  for (const std::string& url : urls) list += Octets(url);
  return Message(id, Element('\x65', Element('\x0A', "\x0A") + Octets("") + Octets("") +
                                         Element('\xA3', list)));
}

std::string CannedServer::DonePage(int id, const std::string& cookie) {
  return DoneWithControl(id, Element('\x30', Integer(0) + Octets(cookie)));
}

std::string CannedServer::DoneWithControl(int id, const std::string& value) {
  const std::string control = Element('\x30', Octets(LDAP_CONTROL_PAGEDRESULTS) + Octets(value));
  return Message(id, Result('\x65', 0), Element('\xA0', control));
}

}  // namespace zorvan::platform::posix
