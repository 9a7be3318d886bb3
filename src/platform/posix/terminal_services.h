// Terminal-services settings as the directory keeps them: inside the text attribute userParameters.
//
// The attribute is UTF-16 whose units are data: 48 units that belong to others (dial-in), the
// signature "P", a count, and that many properties, each a name, a type and a value written as
// hexadecimal digits, two to a unit. Everything that is not understood is kept as it came, so that
// a setting can be changed without touching its neighbours.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/accounts.h"

namespace zorvan::platform::posix {

class TerminalServicesSettings {
 public:
  // False when the text is damaged; there are no properties then. An empty text, or one that ends
  // before the signature, is a user for whom nothing was ever set.
  bool Decode(std::u16string_view userParameters);

  // The text to store. Of what Decode understood nothing changes. Empty when there is nothing to
  // keep.
  std::u16string Encode() const;

  // A setting, or the system's default where it was never made.
  TerminalServicesValue Get(TerminalServicesClass setting) const;

  // False when the value does not have the setting's type or is too long for the format.
  bool Set(TerminalServicesClass setting, const TerminalServicesValue& value);

 private:
  struct Property {
    std::u16string name;
    char16_t type = 0;
    std::u16string digits;  // two hexadecimal digits to a unit
  };

  const Property* Find(std::u16string_view name) const;
  Property& FindOrAdd(std::u16string_view name);
  void Remove(std::u16string_view name);
  bool ConfigurationPresent() const;

  std::optional<std::uint32_t> Number(std::u16string_view name) const;
  void SetNumber(std::u16string_view name, std::uint32_t value);
  std::u16string Text(std::u16string_view name) const;
  bool SetText(std::u16string_view name, std::u16string_view value);

  std::u16string reserved_;
  bool signed_ = false;
  std::vector<Property> properties_;
  std::u16string rest_;  // what follows the last property
};

}  // namespace zorvan::platform::posix
