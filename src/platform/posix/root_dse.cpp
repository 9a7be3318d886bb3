#include "platform/posix/root_dse.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>

namespace zorvan::platform::posix {
namespace {

std::string FirstValue(LDAP* handle, LDAPMessage* entry, const char* attribute) {
  const BerValues values(ldap_get_values_len(handle, entry, attribute));
  if (!values || values.get()[0] == nullptr) return {};
  return {values.get()[0]->bv_val, values.get()[0]->bv_len};
}

// "example.test:dc1$@EXAMPLE.TEST" names the realm behind the "@".
std::string RealmOf(const std::string& serviceName) {
  const std::size_t at = serviceName.rfind('@');
  return at == std::string::npos ? std::string() : serviceName.substr(at + 1);
}

}  // namespace

HResult NoAnswer(HResult awaited, ExtendedError& error) {
  return ServerDown(awaited == kTimedOut
                        ? "the server accepts connections but does not answer"
                        : "the server closed the connection or speaks another protocol",
                    error);
}

// The first answer of the server; it belongs to reaching it, and is given no more time.
HResult ReadServerNames(ConnectionState& connection, ExtendedError& error) {
  LDAP* handle = connection.handle.get();
  constexpr std::array kAttributes{"dnsHostName",
                                   "ldapServiceName",
                                   "defaultNamingContext",
                                   "rootDomainNamingContext",
                                   "schemaNamingContext",
                                   "configurationNamingContext",
                                   static_cast<const char*>(nullptr)};
  int messageId = 0;
  int result = ldap_search_ext(handle, "", LDAP_SCOPE_BASE, "(objectClass=*)",
                               const_cast<char**>(kAttributes.data()), 0, nullptr, nullptr, nullptr,
                               LDAP_NO_LIMIT, &messageId);
  if (result != LDAP_SUCCESS) return ServerDown("the connection was closed", error);
  LdapMessage answer;
  const HResult awaited = connection.Await(messageId, LDAP_MSG_ALL, *answer.Put());
  if (Failed(awaited)) return NoAnswer(awaited, error);
  ServerNames& names = connection.names;
  names = {};
  LDAPMessage* entry = ldap_first_entry(handle, answer.get());
  if (entry == nullptr) return kOk;  // a server that keeps its root to itself

  names.dnsHostName = FirstValue(handle, entry, "dnsHostName");
  names.realm = RealmOf(FirstValue(handle, entry, "ldapServiceName"));
  names.defaultNamingContext = FirstValue(handle, entry, "defaultNamingContext");
  names.rootDomainNamingContext = FirstValue(handle, entry, "rootDomainNamingContext");
  names.schemaNamingContext = FirstValue(handle, entry, "schemaNamingContext");
  names.configurationNamingContext = FirstValue(handle, entry, "configurationNamingContext");
  return kOk;
}

void NameForest(ConnectionState& connection) {
  if (connection.provenBy.empty()) {
    static std::atomic<std::uint64_t> count = 0;
    connection.forestKey = "connection " + std::to_string(++count);
    return;
  }
  const ServerNames& names = connection.names;
  std::string key = connection.provenBy;
  for (const std::string* name : {&names.rootDomainNamingContext, &names.schemaNamingContext}) {
    key += '\n';
    std::ranges::transform(*name, std::back_inserter(key), [](char character) {
      return character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
    });
  }
  connection.forestKey = std::move(key);
}

}  // namespace zorvan::platform::posix
