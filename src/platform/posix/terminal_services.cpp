#include "platform/posix/terminal_services.h"

#include <algorithm>
#include <utility>

#include "platform/text.h"

namespace zorvan::platform::posix {
namespace {

constexpr std::size_t kReservedUnits = 48;
constexpr char16_t kSignature = u'P';
constexpr char16_t kItem = 1;
constexpr std::size_t kMaxLength = 0xFFFF;

constexpr std::u16string_view kPresentName = u"CtxCfgPresent";
constexpr std::uint32_t kPresentValue = 0xB00B1E55;
constexpr std::u16string_view kFlagsName = u"CtxCfgFlags1";

constexpr std::uint32_t kInheritInitialProgramFlag = 0x10000000;
constexpr std::uint32_t kResetBrokenFlag = 0x00040000;
constexpr std::uint32_t kReconnectSameFlag = 0x00020000;
constexpr std::uint32_t kLogonDisabledFlag = 0x00010000;
constexpr std::uint32_t kClientDrivesFlag = 0x00008000;
constexpr std::uint32_t kClientPrintersFlag = 0x00004000;
constexpr std::uint32_t kDefaultPrinterFlag = 0x00002000;

// What holds for a user for whom nothing was set: the client names the program, may log on, and
// brings drives and printers.
constexpr std::uint32_t kDefaultFlags =
    kInheritInitialProgramFlag | kClientDrivesFlag | kClientPrintersFlag | kDefaultPrinterFlag;
constexpr std::uint32_t kShadowWithInputAndNotice = 1;

enum class Kind { kText, kNumber, kFlag, kInvertedFlag, kRemoteHome };

struct Setting {
  TerminalServicesClass setting;
  Kind kind;
  std::u16string_view property;
  std::uint32_t value;  // of a flag its bit, of a number its default
};

using Class = TerminalServicesClass;
constexpr Setting kSettings[] = {
    {Class::kInitialProgram, Kind::kText, u"CtxInitialProgram", 0},
    {Class::kWorkingDirectory, Kind::kText, u"CtxWorkDirectory", 0},
    {Class::kInheritInitialProgram, Kind::kFlag, kFlagsName, kInheritInitialProgramFlag},
    {Class::kAllowLogon, Kind::kInvertedFlag, kFlagsName, kLogonDisabledFlag},
    {Class::kTimeoutConnections, Kind::kNumber, u"CtxMaxConnectionTime", 0},
    {Class::kTimeoutDisconnections, Kind::kNumber, u"CtxMaxDisconnectionTime", 0},
    {Class::kTimeoutIdle, Kind::kNumber, u"CtxMaxIdleTime", 0},
    {Class::kDeviceClientDrives, Kind::kFlag, kFlagsName, kClientDrivesFlag},
    {Class::kDeviceClientPrinters, Kind::kFlag, kFlagsName, kClientPrintersFlag},
    {Class::kDeviceClientDefaultPrinter, Kind::kFlag, kFlagsName, kDefaultPrinterFlag},
    {Class::kBrokenTimeout, Kind::kFlag, kFlagsName, kResetBrokenFlag},
    {Class::kReconnect, Kind::kFlag, kFlagsName, kReconnectSameFlag},
    {Class::kModemCallback, Kind::kNumber, u"CtxCallBack", 0},
    {Class::kModemCallbackNumber, Kind::kText, u"CtxCallbackNumber", 0},
    {Class::kShadowing, Kind::kNumber, u"CtxShadow", kShadowWithInputAndNotice},
    {Class::kProfilePath, Kind::kText, u"CtxWFProfilePath", 0},
    {Class::kHomeDirectory, Kind::kText, u"CtxWFHomeDir", 0},
    {Class::kHomeDirectoryDrive, Kind::kText, u"CtxWFHomeDirDrive", 0},
    // Not stored by itself: a home directory is on a share when it has a drive letter.
    {Class::kRemoteHomeDirectory, Kind::kRemoteHome, u"CtxWFHomeDirDrive", 0},
};

const Setting* FindSetting(TerminalServicesClass setting) {
  const auto* found = std::ranges::find(kSettings, setting, &Setting::setting);
  return found == std::end(kSettings) ? nullptr : found;
}

// ---- Values: bytes as hexadecimal digits, two digits (one byte) to a unit, the first digit in the
// unit's low half.

char16_t Digit(unsigned nibble) {
  return static_cast<char16_t>(nibble < 10 ? '0' + nibble : 'a' + nibble - 10);
}

std::optional<unsigned> Nibble(unsigned digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return std::nullopt;
}

std::u16string EncodeBytes(std::string_view bytes) {
  std::u16string digits;
  digits.reserve(bytes.size());
  for (char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    digits += static_cast<char16_t>(Digit(byte >> 4) | Digit(byte & 0xF) << 8);
  }
  return digits;
}

std::optional<std::string> DecodeBytes(std::u16string_view digits) {
  std::string bytes;
  bytes.reserve(digits.size());
  for (char16_t unit : digits) {
    const std::optional<unsigned> high = Nibble(unit & 0xFF);
    const std::optional<unsigned> low = Nibble(unit >> 8);
    if (!high || !low) return std::nullopt;
    bytes += static_cast<char>(*high << 4 | *low);
  }
  return bytes;
}

std::u16string WideFromBytes(std::string_view bytes) {
  std::u16string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    text += static_cast<char16_t>(static_cast<std::uint8_t>(bytes[at]) |
                                  static_cast<std::uint8_t>(bytes[at + 1]) << 8);
  }
  return text;
}

std::string BytesFromWide(std::u16string_view text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes += static_cast<char>(unit & 0xFF);
    bytes += static_cast<char>(unit >> 8);
  }
  return bytes;
}

// Text without the wide form is in the code page of the writer's system; where that was not
// western, it cannot be known.
constexpr char16_t kCodePage1252[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::u16string FromCodePage(std::string_view bytes) {
  std::u16string text;
  for (char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    text += byte >= 0x80 && byte < 0xA0 ? kCodePage1252[byte - 0x80] : char16_t{byte};
  }
  return text;
}

// What the code page does not have becomes "?".
std::string ToCodePage(std::u16string_view text) {
  std::string bytes;
  for (char16_t unit : text) {
    const auto* special = std::ranges::find(kCodePage1252, unit);
    if (special != std::end(kCodePage1252)) {
      bytes += static_cast<char>(0x80 + (special - std::begin(kCodePage1252)));
    } else {
      bytes += unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF) ? static_cast<char>(unit) : '?';
    }
  }
  return bytes;
}

bool IsAscii(std::u16string_view text) {
  return std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
}

// A property for text that the eight-bit one cannot hold.
std::u16string WideName(std::u16string_view name) { return std::u16string(name) + u"W"; }

class UnitReader {
 public:
  explicit UnitReader(std::u16string_view text) : rest_(text) {}

  bool Take(std::size_t units, std::u16string_view& taken) {
    if (units > rest_.size()) return false;
    taken = rest_.substr(0, units);
    rest_.remove_prefix(units);
    return true;
  }
  bool Take(char16_t& unit) {
    std::u16string_view taken;
    if (!Take(1, taken)) return false;
    unit = taken.front();
    return true;
  }
  std::u16string_view rest() const { return rest_; }

 private:
  std::u16string_view rest_;
};

}  // namespace

bool TerminalServicesSettings::Decode(std::u16string_view userParameters) {
  properties_.clear();
  rest_.clear();
  signed_ = false;
  reserved_ = userParameters.substr(0, kReservedUnits);
  UnitReader reader(userParameters.substr(reserved_.size()));
  char16_t signature = 0;
  if (!reader.Take(signature)) return true;
  char16_t count = 0;
  if (signature != kSignature || !reader.Take(count)) return false;

  std::vector<Property> properties;
  for (unsigned i = 0; i < count; ++i) {
    Property property;
    char16_t nameLength = 0;
    char16_t valueLength = 0;
    std::u16string_view name;
    std::u16string_view digits;
    // Lengths are in bytes, and both parts are whole units.
    if (!reader.Take(nameLength) || !reader.Take(valueLength) || !reader.Take(property.type) ||
        nameLength % 2 != 0 || valueLength % 2 != 0 || !reader.Take(nameLength / 2U, name) ||
        !reader.Take(valueLength / 2U, digits)) {
      return false;
    }
    property.name = name;
    property.digits = digits;
    properties.push_back(std::move(property));
  }
  signed_ = true;
  properties_ = std::move(properties);
  rest_ = reader.rest();
  return true;
}

std::u16string TerminalServicesSettings::Encode() const {
  std::u16string text = reserved_;
  if (!signed_) return text;
  text.resize(kReservedUnits, u' ');
  text += kSignature;
  text += static_cast<char16_t>(properties_.size());
  for (const Property& property : properties_) {
    text += static_cast<char16_t>(property.name.size() * 2);
    text += static_cast<char16_t>(property.digits.size() * 2);
    text += property.type;
    text += property.name;
    text += property.digits;
  }
  return text + rest_;
}

const TerminalServicesSettings::Property* TerminalServicesSettings::Find(
    std::u16string_view name) const {
  const auto found = std::ranges::find_if(properties_, [&](const Property& property) {
    return EqualsIgnoringCase(property.name, name);
  });
  return found == properties_.end() ? nullptr : &*found;
}

TerminalServicesSettings::Property& TerminalServicesSettings::FindOrAdd(std::u16string_view name) {
  if (const Property* found = Find(name)) return const_cast<Property&>(*found);
  return properties_.emplace_back(Property{std::u16string(name), kItem, {}});
}

void TerminalServicesSettings::Remove(std::u16string_view name) {
  std::erase_if(properties_,
                [&](const Property& property) { return EqualsIgnoringCase(property.name, name); });
}

// Without this mark the other properties do not count.
bool TerminalServicesSettings::ConfigurationPresent() const {
  return Number(kPresentName) == kPresentValue;
}

std::optional<std::uint32_t> TerminalServicesSettings::Number(std::u16string_view name) const {
  const Property* property = Find(name);
  if (property == nullptr) return std::nullopt;
  const std::optional<std::string> bytes = DecodeBytes(property->digits);
  if (!bytes || bytes->size() != sizeof(std::uint32_t)) return std::nullopt;
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < bytes->size(); ++i) {
    value |= static_cast<std::uint32_t>(static_cast<std::uint8_t>((*bytes)[i])) << (8 * i);
  }
  return value;
}

void TerminalServicesSettings::SetNumber(std::u16string_view name, std::uint32_t value) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift & 0xFF);
  FindOrAdd(name).digits = EncodeBytes(bytes);
}

std::u16string TerminalServicesSettings::Text(std::u16string_view name) const {
  const Property* wide = Find(WideName(name));
  const Property* narrow = Find(name);
  const Property* property = wide != nullptr ? wide : narrow;
  if (property == nullptr) return {};
  const std::optional<std::string> bytes = DecodeBytes(property->digits);
  if (!bytes) return {};
  const std::u16string text = wide != nullptr ? WideFromBytes(*bytes) : FromCodePage(*bytes);
  return text.substr(0, text.find(u'\0'));
}

bool TerminalServicesSettings::SetText(std::u16string_view name, std::u16string_view value) {
  const std::u16string text = std::u16string(value.substr(0, value.find(u'\0'))) + u'\0';
  // Each byte takes two digits, and lengths are 16 bits.
  if (text.size() * 4 > kMaxLength) return false;
  const bool hadWide = Find(WideName(name)) != nullptr;
  Remove(WideName(name));
  Remove(name);
  if (text.size() == 1) return true;
  FindOrAdd(name).digits = EncodeBytes(ToCodePage(text));
  if (!IsAscii(text) || hadWide)
    FindOrAdd(WideName(name)).digits = EncodeBytes(BytesFromWide(text));
  return true;
}

TerminalServicesValue TerminalServicesSettings::Get(TerminalServicesClass setting) const {
  const Setting* found = FindSetting(setting);
  if (found == nullptr) return std::uint32_t{0};
  const bool present = ConfigurationPresent();
  const std::uint32_t flags = present ? Number(kFlagsName).value_or(kDefaultFlags) : kDefaultFlags;
  switch (found->kind) {
    case Kind::kText:
      return present ? Text(found->property) : std::u16string();
    case Kind::kNumber:
      return present ? Number(found->property).value_or(found->value) : found->value;
    case Kind::kFlag:
      return (flags & found->value) != 0 ? 1U : 0U;
    case Kind::kInvertedFlag:
      return (flags & found->value) != 0 ? 0U : 1U;
    case Kind::kRemoteHome:
      break;
  }
  return present && !Text(found->property).empty() ? 1U : 0U;
}

bool TerminalServicesSettings::Set(TerminalServicesClass setting,
                                   const TerminalServicesValue& value) {
  const Setting* found = FindSetting(setting);
  if (found == nullptr) return false;
  const auto* text = std::get_if<std::u16string>(&value);
  const auto* number = std::get_if<std::uint32_t>(&value);
  if ((found->kind == Kind::kText) != (text != nullptr)) return false;
  if (!ConfigurationPresent()) {
    // What was stored without the mark did not count, and must not come to life with it.
    std::erase_if(properties_, [](const Property& property) {
      return StartsWithIgnoringCase(property.name, u"Ctx");
    });
    signed_ = true;
    SetNumber(kPresentName, kPresentValue);
    SetNumber(kFlagsName, kDefaultFlags);
  }
  const bool raise = number != nullptr && (*number != 0) == (found->kind == Kind::kFlag);
  const std::uint32_t flags = Number(kFlagsName).value_or(kDefaultFlags);
  switch (found->kind) {
    case Kind::kText:
      return SetText(found->property, *text);
    case Kind::kNumber:
      SetNumber(found->property, *number);
      return true;
    case Kind::kFlag:
    case Kind::kInvertedFlag:
      SetNumber(kFlagsName, raise ? flags | found->value : flags & ~found->value);
      return true;
    case Kind::kRemoteHome:
      // A local home directory has no drive letter; a remote one gets its letter by the setting of
      // that name.
      return *number != 0 || SetText(found->property, {});
  }
  return false;
}

}  // namespace zorvan::platform::posix
