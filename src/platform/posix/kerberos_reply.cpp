#include "platform/posix/kerberos_reply.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace zorvan::platform::posix {
namespace {

constexpr unsigned char kInteger = 0x02;
constexpr unsigned char kOctetString = 0x04;
constexpr unsigned char kSequence = 0x30;
constexpr unsigned char kAsReply = 0x6b;             // [APPLICATION 11]
constexpr unsigned char kTicketReply = 0x6d;         // [APPLICATION 13]
constexpr unsigned char kErrorReply = 0x7e;          // [APPLICATION 30]
constexpr unsigned char kPaDataOfReply = 0xa2;       // field 2
constexpr unsigned char kMethodOfError = 0xac;       // field 12
constexpr unsigned char kPaType = 0xa1;              // field 1 of PA-DATA
constexpr unsigned char kPaValue = 0xa2;             // field 2
constexpr unsigned char kTypedType = 0xa0;           // field 0 of TYPED-DATA
constexpr unsigned char kTypedValue = 0xa1;          // field 1
constexpr unsigned char kStringToKeyOfEntry = 0xa2;  // field 2 of ETYPE-INFO2-ENTRY
constexpr std::uint64_t kPaEtypeInfo2 = 19;

// Goes through the elements of a reply. What is repeated or out of order is looked at all the same:
// better to find too much than less than libkrb5 does.
class IterationSearch {
 public:
  std::optional<KeyIterations> In(std::string_view reply) {
    ForEach(reply, [&](unsigned char tag, std::string_view message) {
      if (tag == kTicketReply) return;
      if (tag != kAsReply && tag != kErrorReply) sound_ = false;
      ForEachIn(message, kSequence, [&](std::string_view fields) {
        if (tag == kAsReply) ForEachIn(fields, kPaDataOfReply, [&](auto data) { Methods(data); });
        if (tag == kErrorReply) {
          ForEachIn(fields, kMethodOfError, [&](std::string_view data) {
            ForEachIn(data, kOctetString, [&](auto octets) { Methods(octets); });
          });
        }
      });
    });
    if (!sound_ || reply.empty()) return std::nullopt;
    return found_;
  }

 private:
  // METHOD-DATA: a sequence of PA-DATA. libkrb5 also reads a sequence of TYPED-DATA there, whose
  // fields mean the same under other numbers.
  void Methods(std::string_view data) {
    ForEachIn(data, kSequence, [&](std::string_view items) {
      ForEachIn(items, kSequence, [&](std::string_view item) {
        Method(item, kPaType, kPaValue);
        Method(item, kTypedType, kTypedValue);
      });
    });
  }

  void Method(std::string_view item, unsigned char typeField, unsigned char valueField) {
    bool hasKeyInfo = false;
    ForEachIn(item, typeField, [&](std::string_view type) {
      ForEachIn(type, kInteger,
                [&](auto number) { hasKeyInfo = hasKeyInfo || Number(number) == kPaEtypeInfo2; });
    });
    if (!hasKeyInfo) return;
    ForEachIn(item, valueField, [&](std::string_view value) {
      ForEachIn(value, kOctetString, [&](auto info) { KeyInfo(info); });
    });
  }

  void KeyInfo(std::string_view info) {
    ForEachIn(info, kSequence, [&](std::string_view entries) {
      ForEachIn(entries, kSequence, [&](std::string_view entry) {
        ForEachIn(entry, kStringToKeyOfEntry, [&](std::string_view parameters) {
          ForEachIn(parameters, kOctetString, [&](std::string_view count) {
            if (count.size() != 4) return;  // libkrb5 does not take it either
            constexpr std::uint32_t kNoLimit = std::numeric_limits<std::uint32_t>::max();
            const auto asked = static_cast<std::uint32_t>(Number(count));
            const std::uint32_t wanted = asked == 0 ? kNoLimit : asked;
            found_.least = found_.most == 0 ? wanted : std::min(found_.least, wanted);
            found_.most = std::max(found_.most, wanted);
          });
        });
      });
    });
  }

  static std::uint64_t Number(std::string_view bytes) {
    std::uint64_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
    return value;
  }

  template <typename Visit>
  void ForEachIn(std::string_view bytes, unsigned char wanted, const Visit& visit) {
    ForEach(bytes, [&](unsigned char tag, std::string_view contents) {
      if (tag == wanted) visit(contents);
    });
  }

  template <typename Visit>
  void ForEach(std::string_view bytes, const Visit& visit) {
    while (sound_ && !bytes.empty()) {
      std::size_t size = 0;
      const auto tag = static_cast<unsigned char>(bytes[0]);
      const std::size_t header = Header(bytes, size);
      sound_ = header != 0 && size <= bytes.size() - header;
      if (!sound_) return;
      visit(tag, bytes.substr(header, size));
      bytes.remove_prefix(header + size);
    }
  }

  // The size of tag and length, with the size of what follows; zero for a tag of several bytes and
  // for a length that is left open or has more than four digits.
  static std::size_t Header(std::string_view bytes, std::size_t& size) {
    constexpr unsigned kLongTag = 0x1f;
    if (bytes.size() < 2 || (static_cast<unsigned char>(bytes[0]) & kLongTag) == kLongTag) return 0;
    size = static_cast<unsigned char>(bytes[1]);
    if (size < 0x80) return 2;
    const std::size_t digits = size & 0x7fU;
    if (digits == 0 || digits > 4 || bytes.size() < 2 + digits) return 0;
    size = Number(bytes.substr(2, digits));
    return 2 + digits;
  }

  bool sound_ = true;
  KeyIterations found_;
};

}  // namespace

std::optional<KeyIterations> KeyIterationsIn(std::string_view reply) {
  return IterationSearch().In(reply);
}

std::uint32_t StatusInErrorData(std::string_view errorData) {
  constexpr std::string_view kExtendedError("\xa1\x03\x02\x01\x03\xa2\x0e\x04\x0c", 9);
  const std::size_t place = errorData.find(kExtendedError);
  if (place == std::string_view::npos) return 0;
  const std::string_view status = errorData.substr(place + kExtendedError.size());
  if (status.size() < 12) return 0;
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<std::uint8_t>(status[i]);
  return value;
}

}  // namespace zorvan::platform::posix
