// The signed and sealed layer of an LDAP connection: everything travels in tokens, each behind its
// length in four bytes, most significant first.
//
// It sits on top of a layer that reads without blocking and takes whatever is written
// (SocketTransport). A token that fails its check ends the connection: every later call fails.
#pragma once

#include <lber.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/handles.h"

namespace zorvan::platform::posix {

// Turns plain bytes into tokens and back. False when a token is not genuine or the mechanism fails.
class MessageProtection {
 public:
  virtual ~MessageProtection() = default;
  // Both replace what they write.
  virtual bool Wrap(std::string_view plain, std::string& token) = 0;
  virtual bool Unwrap(std::string_view token, std::string& plain) = 0;
};

// Signing and sealing by an established GSSAPI context.
class GssProtection : public MessageProtection {
 public:
  explicit GssProtection(GssContext context) : context_(std::move(context)) {}
  bool Wrap(std::string_view plain, std::string& token) override;
  bool Unwrap(std::string_view token, std::string& plain) override;

 private:
  GssContext context_;
};

class SealedTransport {
 public:
  explicit SealedTransport(std::unique_ptr<MessageProtection> protection)
      : protection_(std::move(protection)) {}

  // Puts this on top of the LDAP connection's layers; it must outlive the connection's handle.
  bool Attach(Sockbuf* connection);

  // True once a token could not be made, sent or read; nothing more passes.
  bool failed() const { return broken_; }

 private:
  struct Layer;
  enum class Frame { kComplete, kPartial, kMalformed };

  ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, std::size_t size);
  ber_slen_t Write(Sockbuf_IO_Desc* layer, const void* bytes, std::size_t size);
  bool hasInput() const;
  Frame FrontFrame(std::string_view& token) const;
  bool UnwrapFront(std::string_view token);
  ber_slen_t Receive(Sockbuf_IO_Desc* layer);

  std::unique_ptr<MessageProtection> protection_;
  std::vector<char> input_;  // bytes from begin_ to end_ were received and not unwrapped
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::string plain_;  // unwrapped; from plainBegin_ on still to be read
  std::size_t plainBegin_ = 0;
  std::string token_;
  std::string frames_;
  bool broken_ = false;
};

}  // namespace zorvan::platform::posix
