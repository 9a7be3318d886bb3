// The topmost layer of an LDAP connection: sees every message that passes and lets in no more than
// was agreed on.
//
// libldap takes memory for a message as soon as it has read how long it is, keeps every answer
// until somebody fetches it, and reads on as long as there is something to read. Here lengths are
// checked before libldap sees them, what it keeps is added up, and it is given the stream in
// rations, so that whoever waits can look at the time even while a server never stops sending.
#pragma once

#include <lber.h>
#include <ldap.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zorvan::platform::posix {

class MessageGate {
 public:
  // In bytes: of one message, and of all answers that were received and not fetched yet.
  struct Limits {
    std::size_t message;
    std::size_t kept;
  };
  // Before the log-on anybody may be the sender.
  static constexpr Limits kBeforeLogOn{0x100000, 0x100000};

  // Puts this on top of the connection's layers; it must outlive the connection's handle.
  bool Attach(Sockbuf* connection);

  void SetLimits(const Limits& limits) { limits_ = limits; }

  // Lets the library read the next ration, and says whether the last one was used up.
  void Ration();
  bool usedUp() const { return ration_ == 0; }

  // Counts the complete messages that answered a request under way. Answers to requests that nobody
  // sent, and what libldap drops for that, are not among them.
  std::uint64_t answers() const { return answers_; }

  // What libldap does not keep any more: messages that it handed out, a request that was abandoned.
  // Fetched gives the size of the messages.
  std::size_t Fetched(LDAP* handle, LDAPMessage* chain);
  void Forget(int messageId);

  // Which limit the server went beyond, in words; empty while it has not.
  const std::string& excess() const { return excess_; }

 private:
  struct Layer;
  struct Header;
  struct Request {
    std::vector<std::size_t> kept;  // sizes of answers; those before fetched are gone
    std::size_t fetched = 0;
    bool finished = false;  // the last answer has arrived
  };

  ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, std::size_t size);
  ber_slen_t Write(Sockbuf_IO_Desc* layer, void* bytes, std::size_t size);
  // False when a message is not LDAP or too long.
  bool Pass(std::string_view bytes);
  bool Begin(const Header& header);
  bool End();
  bool Refuse(std::string words);

  Limits limits_ = kBeforeLogOn;
  std::size_t ration_ = 0;
  std::uint64_t answers_ = 0;
  std::map<int, Request> requests_;
  std::size_t kept_ = 0;
  std::string excess_;
  bool refused_ = false;

  // The message that is coming in.
  std::string start_;       // its first bytes, until they say what it is
  std::size_t length_ = 0;  // without tag and length
  std::size_t left_ = 0;    // of it
  int id_ = 0;
  std::uint8_t operation_ = 0;
};

}  // namespace zorvan::platform::posix
