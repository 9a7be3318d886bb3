#include "platform/posix/value_decoding.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>

#include "platform/posix/unicode.h"
#include "platform/ranged_name.h"

namespace zorvan::platform::posix {
namespace {

// ---- BER, as far as search entries use it: definite lengths, tags of one byte.

constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kSet = 0x31;

class BerReader {
 public:
  explicit BerReader(std::span<const std::byte> bytes) : rest_(bytes) {}

  bool AtEnd() const { return rest_.empty(); }

  // Steps over the next element, which must have that tag, and gives its contents.
  bool Next(std::uint8_t tag, std::span<const std::byte>& contents) {
    if (rest_.size() < 2 || std::to_integer<std::uint8_t>(rest_[0]) != tag) return false;
    std::size_t length = std::to_integer<std::size_t>(rest_[1]);
    std::size_t header = 2;
    if (length >= 0x80) {
      const std::size_t octets = length & 0x7F;
      if (octets == 0 || octets > 4 || rest_.size() < header + octets) return false;
      length = 0;
      for (std::size_t i = 0; i < octets; ++i) {
        length = length << 8 | std::to_integer<std::size_t>(rest_[header + i]);
      }
      header += octets;
    }
    if (length > rest_.size() - header) return false;
    contents = rest_.subspan(header, length);
    rest_ = rest_.subspan(header + length);
    return true;
  }

 private:
  std::span<const std::byte> rest_;
};

std::string_view AsText(std::span<const std::byte> octets) {
  return {reinterpret_cast<const char*>(octets.data()), octets.size()};
}

// ---- Texts of the directory's syntaxes.

constexpr char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
  return left.size() == right.size() &&
         std::equal(left.begin(), left.end(), right.begin(),
                    [](char a, char b) { return a == b || Lower(a) == Lower(b); });
}

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes a number of exactly that many digits off the front.
bool TakeDigits(std::string_view& text, std::size_t digits, int& value) {
  if (text.size() < digits || !std::ranges::all_of(text.substr(0, digits), IsDigit)) return false;
  value = 0;
  for (char digit : text.substr(0, digits)) value = value * 10 + (digit - '0');
  text.remove_prefix(digits);
  return true;
}

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

struct Moment {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

bool IsInCalendar(const Moment& moment) {
  return moment.year >= 1 && moment.month >= 1 && moment.month <= 12 && moment.day >= 1 &&
         moment.day <= DaysInMonth(moment.year, moment.month) && moment.hour <= 23 &&
         moment.minute <= 59 && moment.second <= 59;
}

void AddDays(Moment& moment, int days) {
  moment.day += days;
  if (moment.day < 1) {
    if (--moment.month < 1) {
      moment.month = 12;
      --moment.year;
    }
    moment.day += DaysInMonth(moment.year, moment.month);
  } else if (moment.day > DaysInMonth(moment.year, moment.month)) {
    moment.day -= DaysInMonth(moment.year, moment.month);
    if (++moment.month > 12) {
      moment.month = 1;
      ++moment.year;
    }
  }
}

// Moves by less than a day.
void AddMinutes(Moment& moment, int minutes) {
  constexpr int kDay = 24 * 60;
  int total = moment.hour * 60 + moment.minute + minutes;
  if (total < 0 || total >= kDay) AddDays(moment, total < 0 ? -1 : 1);
  total = (total + kDay) % kDay;
  moment.hour = total / 60;
  moment.minute = total % 60;
}

bool TakeFraction(std::string_view& text, int& millisecond) {
  if (text.empty() || (text.front() != '.' && text.front() != ',')) return true;
  text.remove_prefix(1);
  int weight = 100;
  std::size_t digits = 0;
  for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1), ++digits) {
    millisecond += (text.front() - '0') * weight;
    weight /= 10;
  }
  return digits > 0;
}

// "Z" or "+hhmm" or "-hhmm", to the end of the text.
bool TakeZone(std::string_view text, int& minutesEast) {
  if (text == "Z") return true;
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return false;
  const int sign = text[0] == '+' ? 1 : -1;
  int hours = 0;
  int minutes = 0;
  text.remove_prefix(1);
  if (!TakeDigits(text, 2, hours) || !TakeDigits(text, 2, minutes) || hours > 23 || minutes > 59) {
    return false;
  }
  minutesEast = sign * (hours * 60 + minutes);
  return true;
}

bool IsText(AdsType type) {
  switch (type) {
    case AdsType::kDnString:
    case AdsType::kCaseExactString:
    case AdsType::kCaseIgnoreString:
    case AdsType::kPrintableString:
    case AdsType::kNumericString:
    case AdsType::kObjectClass:
    case AdsType::kPath:
    case AdsType::kTypedName:
    case AdsType::kFaxNumber:
    case AdsType::kDnWithBinary:
    case AdsType::kDnWithString:
      return true;
    default:
      return false;
  }
}

}  // namespace

bool ParseDirectoryTime(std::string_view text, UtcTime& time) {
  const std::size_t digits =
      static_cast<std::size_t>(std::ranges::find_if_not(text, IsDigit) - text.begin());
  Moment moment;
  if (digits == 10 || digits == 12) {
    // UTC time has two digits for the years from 1950 to 2049.
    if (!TakeDigits(text, 2, moment.year)) return false;
    moment.year += moment.year < 50 ? 2000 : 1900;
  } else if (!TakeDigits(text, 4, moment.year)) {
    return false;
  }
  if (!TakeDigits(text, 2, moment.month) || !TakeDigits(text, 2, moment.day) ||
      !TakeDigits(text, 2, moment.hour) || !TakeDigits(text, 2, moment.minute)) {
    return false;
  }
  if (!text.empty() && IsDigit(text.front()) && !TakeDigits(text, 2, moment.second)) return false;
  int minutesEast = 0;
  if (!TakeFraction(text, moment.millisecond) || !TakeZone(text, minutesEast) ||
      !IsInCalendar(moment)) {
    return false;
  }
  AddMinutes(moment, -minutesEast);
  if (moment.year < 1) return false;
  time.year = static_cast<std::uint16_t>(moment.year);
  time.month = static_cast<std::uint16_t>(moment.month);
  time.day = static_cast<std::uint16_t>(moment.day);
  time.hour = static_cast<std::uint16_t>(moment.hour);
  time.minute = static_cast<std::uint16_t>(moment.minute);
  time.second = static_cast<std::uint16_t>(moment.second);
  time.millisecond = static_cast<std::uint16_t>(moment.millisecond);
  return true;
}

bool ParseLargeInteger(std::string_view text, std::int64_t& value) {
  if (text.starts_with('+')) text.remove_prefix(1);
  const bool negative = text.starts_with('-');
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (end != text.data() + text.size()) return false;
  if (error == std::errc::result_out_of_range) {
    value = negative ? std::numeric_limits<std::int64_t>::min()
                     : std::numeric_limits<std::int64_t>::max();
    return true;
  }
  return error == std::errc();
}

bool ParseInteger(std::string_view text, std::int64_t& value) {
  std::int64_t wide = 0;
  if (!ParseLargeInteger(text, wide)) return false;
  if (wide >= 0 && wide <= std::numeric_limits<std::uint32_t>::max()) {
    value = static_cast<std::int32_t>(static_cast<std::uint32_t>(wide));
  } else {
    value = std::clamp<std::int64_t>(wide, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max());
  }
  return true;
}

bool ParseBoolean(std::string_view text, std::int64_t& value) {
  value = EqualsIgnoringCase(text, "TRUE") ? 1 : 0;
  return value == 1 || EqualsIgnoringCase(text, "FALSE");
}

std::u16string_view TextArena::Add(std::string_view utf8) {
  constexpr std::size_t kBlock = 4096;
  // UTF-16 never takes more units than UTF-8 takes bytes, so a block with that much room does not
  // move.
  while (current_ < blocks_.size() &&
         blocks_[current_].capacity() - blocks_[current_].size() < utf8.size()) {
    ++current_;
  }
  if (current_ == blocks_.size()) {
    blocks_.emplace_back().reserve(std::max(kBlock, utf8.size()));
  }
  std::u16string& block = blocks_[current_];
  const std::size_t start = block.size();
  AppendUtf16(block, utf8);
  return std::u16string_view(block).substr(start);
}

void TextArena::Clear() {
  constexpr std::size_t kKeptBlocks = 16;
  constexpr std::size_t kKeptCapacity = 65536;
  if (blocks_.size() > kKeptBlocks) blocks_.resize(kKeptBlocks);
  std::erase_if(blocks_,
                [](const std::u16string& block) { return block.capacity() > kKeptCapacity; });
  for (std::u16string& block : blocks_) block.clear();
  current_ = 0;
}

bool EntryDecoder::Reset(LDAP* handle, LDAPMessage* entry) {
  BerElement* ber = nullptr;
  berval name{};
  const int result = ldap_get_dn_ber(handle, entry, &ber, &name);
  const std::unique_ptr<BerElement, decltype([](BerElement* b) { ber_free(b, 0); })> owned(ber);
  ber_len_t length = 0;
  if (result != LDAP_SUCCESS ||
      ber_get_option(ber, LBER_OPT_BER_REMAINING_BYTES, &length) != LBER_OPT_SUCCESS) {
    ResetTo({}, {});
    return false;
  }
  // The list follows the name directly. The library has read its header and checked that its
  // contents are all there.
  const auto* list = reinterpret_cast<const std::byte*>(name.bv_val) + name.bv_len;
  const auto lengthByte = std::to_integer<std::size_t>(list[1]);
  const std::size_t header = lengthByte < 0x80 ? 2 : 2 + (lengthByte & 0x7F);
  return ResetTo({name.bv_val, name.bv_len}, {list + header, length});
}

bool EntryDecoder::ResetTo(std::string_view dn, std::span<const std::byte> attributes) {
  dn_ = dn;
  count_ = 0;
  hasOptions_ = false;
  texts_.Clear();
  BerReader list(attributes);
  while (!list.AtEnd()) {
    std::span<const std::byte> contents;
    std::span<const std::byte> name;
    std::span<const std::byte> values;
    bool whole = list.Next(kSequence, contents);
    BerReader attribute(contents);
    whole = whole && attribute.Next(kOctetString, name) && attribute.Next(kSet, values);
    if (!whole) {
      dn_ = {};
      count_ = 0;
      return false;
    }
    if (count_ == attributes_.size()) attributes_.emplace_back();
    Attribute& slot = attributes_[count_++];
    slot.name = AsText(name);
    hasOptions_ = hasOptions_ || slot.name.find(';') != slot.name.npos;
    slot.encoded = values;
    slot.type = AdsType::kInvalid;
  }
  return true;
}

std::optional<std::size_t> EntryDecoder::Find(std::string_view attribute, std::size_t hint) const {
  const auto matches = [&](std::size_t index) {
    return EqualsIgnoringCase(attributes_[index].name, attribute);
  };
  std::size_t index = hint;
  if (hint >= count_ || !matches(hint)) {
    index = 0;
    while (index < count_ && !matches(index)) ++index;
  }
  // An attribute that comes without values stands for one whose values were asked for otherwise (in
  // ranges).
  if (index >= count_ || attributes_[index].encoded.empty()) return std::nullopt;
  return index;
}

std::optional<std::size_t> EntryDecoder::FindOrPiece(std::string_view attribute,
                                                     std::size_t hint) const {
  if (const auto found = Find(attribute, hint)) return found;
  if (!hasOptions_) return std::nullopt;
  const auto isPiece = [&](std::size_t index) {
    return !attributes_[index].encoded.empty() && IsPieceOf(attributes_[index].name, attribute);
  };
  std::size_t index = hint < count_ && isPiece(hint) ? hint : 0;
  while (index < count_ && !isPiece(index)) ++index;
  return index < count_ ? std::optional(index) : std::nullopt;
}

HResult EntryDecoder::Decode(std::size_t index, AdsType type, Column& column) {
  Attribute& attribute = attributes_[index];
  if (attribute.type != type) {
    attribute.type = AdsType::kInvalid;
    const HResult result = DecodeValues(attribute, type);
    if (Failed(result)) return result;
    attribute.type = type;
  }
  column.type = type;
  column.values = attribute.values;
  const auto range = hasOptions_ ? RangeOf(attribute.name) : std::nullopt;
  column.ranged = range.has_value();
  column.cut = range && !range->last;
  return kOk;
}

HResult EntryDecoder::DecodeValues(Attribute& attribute, AdsType type) {
  constexpr std::size_t kKeptValues = 4096;
  attribute.values.clear();
  if (attribute.values.capacity() > kKeptValues) attribute.values.shrink_to_fit();
  BerReader reader(attribute.encoded);
  while (!reader.AtEnd()) {
    std::span<const std::byte> octets;
    if (!reader.Next(kOctetString, octets)) return kCannotConvert;
    if (!DecodeValue(octets, type, attribute.values.emplace_back())) return kCannotConvert;
  }
  return kOk;
}

bool EntryDecoder::DecodeValue(std::span<const std::byte> octets, AdsType type, Value& value) {
  if (IsText(type)) {
    value.text = texts_.Add(AsText(octets));
    return true;
  }
  switch (type) {
    case AdsType::kBoolean:
      return ParseBoolean(AsText(octets), value.number);
    case AdsType::kInteger:
      return ParseInteger(AsText(octets), value.number);
    case AdsType::kLargeInteger:
      return ParseLargeInteger(AsText(octets), value.number);
    case AdsType::kUtcTime:
      return ParseDirectoryTime(AsText(octets), value.time);
    default:
      value.octets = octets;
      return true;
  }
}

}  // namespace zorvan::platform::posix
