#include "provider/attribute_types.h"

#include <array>
#include <map>
#include <mutex>
#include <string_view>

namespace zorvan::windows_test {
namespace {

struct Syntax {
  std::string_view number;
  ADSTYPE type;
};

constexpr std::array kSyntaxes{
    Syntax{"2.5.5.1", ADSTYPE_DN_STRING},
    Syntax{"2.5.5.2", ADSTYPE_CASE_IGNORE_STRING},
    Syntax{"2.5.5.3", ADSTYPE_CASE_EXACT_STRING},
    Syntax{"2.5.5.4", ADSTYPE_CASE_IGNORE_STRING},
    Syntax{"2.5.5.5", ADSTYPE_PRINTABLE_STRING},
    Syntax{"2.5.5.6", ADSTYPE_NUMERIC_STRING},
    Syntax{"2.5.5.7", ADSTYPE_DN_WITH_BINARY},
    Syntax{"2.5.5.8", ADSTYPE_BOOLEAN},
    Syntax{"2.5.5.9", ADSTYPE_INTEGER},
    Syntax{"2.5.5.10", ADSTYPE_OCTET_STRING},
    Syntax{"2.5.5.11", ADSTYPE_UTC_TIME},
    Syntax{"2.5.5.12", ADSTYPE_CASE_IGNORE_STRING},
    Syntax{"2.5.5.14", ADSTYPE_DN_WITH_STRING},
    Syntax{"2.5.5.15", ADSTYPE_NT_SECURITY_DESCRIPTOR},
    Syntax{"2.5.5.16", ADSTYPE_LARGE_INTEGER},
    Syntax{"2.5.5.17", ADSTYPE_OCTET_STRING},
};

std::wstring Widen(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

ADSTYPE AskSchema(LdapSession& session, const std::wstring& name) {
  RawEntry root;
  if (FAILED(session.Read(L"", {L"schemaNamingContext"}, root))) return ADSTYPE_PROV_SPECIFIC;
  const RawAttribute* schema = root.Find(L"schemaNamingContext");
  if (schema == nullptr || schema->values.empty()) return ADSTYPE_PROV_SPECIFIC;

  LdapRequest request;
  request.base = Widen(schema->values.front());
  request.scope = LDAP_SCOPE_ONELEVEL;
  request.filter = L"(lDAPDisplayName=" + name.substr(0, name.find(L';')) + L")";
  request.attributes = {L"attributeSyntax"};
  RawEntry entry;
  if (LdapSearch(session, std::move(request)).Next(entry) != S_OK) return ADSTYPE_PROV_SPECIFIC;
  const RawAttribute* syntax = entry.Find(L"attributeSyntax");
  for (const Syntax& known : kSyntaxes) {
    if (syntax != nullptr && known.number == syntax->values.front()) return known.type;
  }
  return ADSTYPE_PROV_SPECIFIC;
}

}  // namespace

ADSTYPE AttributeType(LdapSession& session, const std::wstring& name) {
  static std::mutex mutex;
  static std::map<std::wstring, ADSTYPE> known;
  {
    const std::lock_guard lock(mutex);
    if (const auto found = known.find(name); found != known.end()) return found->second;
  }
  const ADSTYPE type = AskSchema(session, name);
  const std::lock_guard lock(mutex);
  return known[name] = type;
}

}  // namespace zorvan::windows_test
