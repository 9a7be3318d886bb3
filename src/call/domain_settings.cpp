#include "call/domain_settings.h"

namespace zorvan::call {

void Wipe(std::u16string& text) {
  text.resize(text.capacity());
  volatile char16_t* unit = text.data();
  for (std::size_t i = 0; i < text.size(); ++i) unit[i] = 0;
  text.clear();
}

DomainSettings::~DomainSettings() {
  if (password) Wipe(*password);
}

platform::Credentials DomainSettings::credentials() const {
  platform::Credentials result;
  if (logonName) result.userName = *logonName;
  if (password) result.password = *password;
  return result;
}

}  // namespace zorvan::call
