// What the caller of one native call allows and expects, and how an adapter asks and reports while
// it works on that call.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zorvan::platform {

// Terms that the caller may set; the defaults hold for whatever it leaves out. An adapter whose
// operating system decides one of them itself ignores it.
struct CallTerms {
  std::u16string domainName;  // DNS name of the domain as the caller gave it; empty: not given
  // How many controllers the caller gave. A slow one is given up early only for another.
  std::size_t controllers = 1;
  // The names of the controllers were found in the DNS rather than given, and DNS answers can be
  // forged: a server must prove that it is a controller of the domain.
  bool controllersFromDns = false;
  // NTLM for a secure bind also where Kerberos could be used but failed.
  bool allowNtlm = false;
  // Tickets and session keys of the type RC4-HMAC.
  bool allowRc4 = false;
  // A PEM file, or a folder of them, with the authorities to trust for TLS; empty: the system's.
  std::u16string trustedAuthorities;
  // For one connection, from looking up its name to the end of its log-on.
  std::chrono::milliseconds connect{10'000};
  // For each wait, counted from the last complete message.
  std::chrono::milliseconds idle{120'000};
  // For the whole call; zero: no limit.
  std::chrono::milliseconds call{0};
  // The largest message, and so the largest value, that is accepted after the log-on.
  std::size_t maxMessageBytes = std::size_t{64} << 20U;
};

// What the caller must learn beyond rows and errors. The words for each kind stand in one table
// (call/notice.cpp).
enum class NoticeKind : std::uint8_t {
  kNtlmUsed,               // subject: server; detail: why not Kerberos
  kServiceNameFromServer,  // subject: server; detail: service name that the ticket was asked for
  kListCut,                // subject: object; detail: attribute; count: values delivered
  kTypesUnknown,           // subject: server; detail: attribute left empty, its type being unknown
  // The failure that ended the call, told once. detail: what the directory said, with the code of
  // that in parentheses; empty when it said nothing. count: the result, as 32 bits.
  kControllerFailed,  // no controller could be used; subject: the one that was asked last
  kOpenFailed,        // subject: path of the container that the call begins at
  kSearchFailed,      // subject: filter
  kReferralFollowed,  // subject: object; detail: host that was asked instead
  kSchemaNotRead,     // for the log only; subject: server; detail: why
  kLoggedOn,          // for the log only; subject: server; detail: mechanism and service
};

struct Notice {
  NoticeKind kind{};
  std::u16string_view subject;
  std::u16string_view detail;
  std::uint64_t count = 0;
};

// The caller's side of a call. Used on the thread of the call only.
class CallObserver {
 public:
  virtual ~CallObserver() = default;

  // Whether the caller wants no more. Asked at least five times a second while an adapter waits,
  // and between pages; once true it stays true.
  virtual bool IsCancelled() = 0;

  virtual void Notify(const Notice& notice) = 0;
};

}  // namespace zorvan::platform
