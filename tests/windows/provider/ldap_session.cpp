#include "provider/ldap_session.h"

#include <rpc.h>
#include <winber.h>

#include <array>
#include <map>
#include <mutex>

namespace zorvan::windows_test {
namespace {

constexpr wchar_t kShowDeleted[] = L"1.2.840.113556.1.4.417";
constexpr ULONG kConnectSeconds = 10;

struct CodePair {
  ULONG ldap;
  DWORD win32;
};

// As the system's documentation pairs them.
constexpr std::array kCodes{
    CodePair{LDAP_OPERATIONS_ERROR, 0x2020},
    CodePair{LDAP_PROTOCOL_ERROR, 0x2021},
    CodePair{LDAP_TIMELIMIT_EXCEEDED, 0x2022},
    CodePair{LDAP_SIZELIMIT_EXCEEDED, 0x2023},
    CodePair{LDAP_STRONG_AUTH_REQUIRED, 0x2028},
    CodePair{LDAP_REFERRAL, 0x202B},
    CodePair{LDAP_ADMIN_LIMIT_EXCEEDED, 0x2024},
    CodePair{LDAP_UNAVAILABLE_CRIT_EXTENSION, 0x202C},
    CodePair{LDAP_NO_SUCH_ATTRIBUTE, 0x200A},
    CodePair{LDAP_NO_SUCH_OBJECT, 0x2030},
    CodePair{LDAP_INVALID_DN_SYNTAX, 0x2032},
    CodePair{LDAP_INVALID_CREDENTIALS, ERROR_LOGON_FAILURE},
    CodePair{LDAP_INSUFFICIENT_RIGHTS, ERROR_ACCESS_DENIED},
    CodePair{LDAP_BUSY, 0x200E},
    CodePair{LDAP_UNAVAILABLE, 0x200F},
    CodePair{LDAP_UNWILLING_TO_PERFORM, 0x2035},
    CodePair{LDAP_SERVER_DOWN, 0x203A},
    CodePair{LDAP_LOCAL_ERROR, 0x203B},
    CodePair{LDAP_TIMEOUT, ERROR_TIMEOUT},
    CodePair{LDAP_FILTER_ERROR, 0x203E},
    CodePair{LDAP_CONNECT_ERROR, 0x203A},
};

// The name without a domain before it, which this platform's negotiation does not understand.
std::wstring BareName(const std::wstring& user) { return user.substr(user.find(L'\\') + 1); }

unsigned short* AuthText(std::wstring& text) {
  return reinterpret_cast<unsigned short*>(text.data());
}

ULONG Bind(LDAP* ldap, const SessionKey& key) {
  // The process has no identity at the directory.
  if (!key.user) return LDAP_LOCAL_ERROR;
  std::wstring domain;
  std::wstring user = BareName(*key.user);
  std::wstring password = key.password.value_or(L"");
  SEC_WINNT_AUTH_IDENTITY_W identity{};
  identity.User = AuthText(user);
  identity.UserLength = static_cast<ULONG>(user.size());
  identity.Domain = AuthText(domain);
  identity.Password = AuthText(password);
  identity.PasswordLength = static_cast<ULONG>(password.size());
  identity.Flags = SEC_WINNT_AUTH_IDENTITY_UNICODE;
  return ldap_bind_sW(ldap, nullptr, reinterpret_cast<wchar_t*>(&identity), LDAP_AUTH_NEGOTIATE);
}

std::vector<wchar_t*> AttributePointers(std::vector<std::wstring>& names) {
  std::vector<wchar_t*> pointers;
  for (std::wstring& name : names) pointers.push_back(name.data());
  pointers.push_back(nullptr);
  return pointers;
}

struct Pool {
  std::mutex mutex;
  std::multimap<SessionKey, std::unique_ptr<LdapSession>> idle;
};

// Never destroyed: at the end of the process there is nobody left to say goodbye to.
Pool& IdleSessions() {
  static Pool& pool = *new Pool;
  return pool;
}

}  // namespace

const RawAttribute* RawEntry::Find(const std::wstring& name) const {
  for (const RawAttribute& attribute : attributes) {
    if (_wcsicmp(attribute.name.c_str(), name.c_str()) == 0) return &attribute;
  }
  return nullptr;
}

HRESULT ResultFromLdap(ULONG code) {
  if (code == LDAP_SUCCESS) return S_OK;
  for (const CodePair& pair : kCodes) {
    if (pair.ldap == code) return HRESULT_FROM_WIN32(pair.win32);
  }
  return E_FAIL;
}

HRESULT LdapSession::Open(const SessionKey& key, std::unique_ptr<LdapSession>& session) {
  std::unique_ptr<LdapSession> opened(new LdapSession);
  std::wstring host = key.host;
  opened->ldap_ = ldap_initW(host.data(), key.port);
  if (opened->ldap_ == nullptr) return ResultFromLdap(LDAP_SERVER_DOWN);
  ULONG version = LDAP_VERSION3;
  ldap_set_optionW(opened->ldap_, LDAP_OPT_PROTOCOL_VERSION, &version);
  ldap_set_optionW(opened->ldap_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
  l_timeval timeout{kConnectSeconds, 0};
  ULONG result = ldap_connect(opened->ldap_, &timeout);
  if (result == LDAP_SUCCESS) result = Bind(opened->ldap_, key);
  if (result == LDAP_SUCCESS) session = std::move(opened);
  return ResultFromLdap(result);
}

LdapSession::~LdapSession() {
  if (ldap_ != nullptr) ldap_unbind(ldap_);
}

HRESULT LdapSession::Search(const LdapRequest& request, std::string& cookie,
                            std::vector<RawEntry>& entries) {
  std::wstring base = request.base;
  std::wstring filter = request.filter;
  std::vector<std::wstring> names = request.attributes;
  std::vector<wchar_t*> pointers = AttributePointers(names);
  LDAPControlW showDeleted{const_cast<wchar_t*>(kShowDeleted), {0, nullptr}, TRUE};
  std::vector<LDAPControlW*> controls;
  if (request.tombstones) controls.push_back(&showDeleted);
  LDAPControlW* page = nullptr;
  if (request.pageSize != 0) {
    berval value{static_cast<ULONG>(cookie.size()), cookie.data()};
    const ULONG result = ldap_create_page_controlW(ldap_, request.pageSize, &value, TRUE, &page);
    if (result != LDAP_SUCCESS) return ResultFromLdap(result);
    controls.push_back(page);
  }
  controls.push_back(nullptr);

  LDAPMessage* message = nullptr;
  const ULONG result =
      ldap_search_ext_sW(ldap_, base.data(), request.scope, filter.data(), pointers.data(), 0,
                         controls.data(), nullptr, nullptr, 0, &message);
  if (page != nullptr) ldap_control_freeW(page);
  cookie.clear();
  if (result == LDAP_SUCCESS) {
    TakeEntries(message, entries);
    if (request.pageSize != 0) TakeCookie(message, cookie);
  }
  if (message != nullptr) ldap_msgfree(message);
  return ResultFromLdap(result);
}

HRESULT LdapSession::Read(const std::wstring& name, std::vector<std::wstring> attributes,
                          RawEntry& entry) {
  std::string cookie;
  std::vector<RawEntry> entries;
  LdapRequest request;
  request.base = name;
  request.attributes = std::move(attributes);
  const HRESULT result = Search(request, cookie, entries);
  if (FAILED(result)) return result;
  if (entries.empty()) return ResultFromLdap(LDAP_NO_SUCH_OBJECT);
  entry = std::move(entries.front());
  return S_OK;
}

void LdapSession::TakeEntries(LDAPMessage* result, std::vector<RawEntry>& entries) {
  for (LDAPMessage* message = ldap_first_entry(ldap_, result); message != nullptr;
       message = ldap_next_entry(ldap_, message)) {
    RawEntry& entry = entries.emplace_back();
    if (wchar_t* name = ldap_get_dnW(ldap_, message)) {
      entry.distinguishedName = name;
      ldap_memfreeW(name);
    }
    BerElement* position = nullptr;
    for (wchar_t* name = ldap_first_attributeW(ldap_, message, &position); name != nullptr;
         name = ldap_next_attributeW(ldap_, message, position)) {
      RawAttribute& attribute = entry.attributes.emplace_back();
      attribute.name = name;
      if (berval** values = ldap_get_values_lenW(ldap_, message, name)) {
        for (berval** value = values; *value != nullptr; ++value) {
          attribute.values.emplace_back((*value)->bv_val, (*value)->bv_len);
        }
        ldap_value_free_len(values);
      }
      ldap_memfreeW(name);
    }
    if (position != nullptr) ber_free(position, 0);
  }
}

void LdapSession::TakeCookie(LDAPMessage* result, std::string& cookie) {
  ULONG code = 0;
  LDAPControlW** controls = nullptr;
  if (ldap_parse_resultW(ldap_, result, &code, nullptr, nullptr, nullptr, &controls, FALSE) !=
          LDAP_SUCCESS ||
      controls == nullptr) {
    return;
  }
  ULONG total = 0;
  berval* value = nullptr;
  if (ldap_parse_page_controlW(ldap_, controls, &total, &value) == LDAP_SUCCESS &&
      value != nullptr) {
    if (value->bv_len != 0) cookie.assign(value->bv_val, value->bv_len);
    ber_bvfree(value);
  }
  ldap_controls_freeW(controls);
}

HRESULT SessionLease::Take(const SessionKey& key) {
  key_ = key;
  {
    Pool& pool = IdleSessions();
    const std::lock_guard lock(pool.mutex);
    if (const auto found = pool.idle.find(key); found != pool.idle.end()) {
      session_ = std::move(found->second);
      pool.idle.erase(found);
      reused_ = true;
      return S_OK;
    }
  }
  reused_ = false;
  return LdapSession::Open(key, session_);
}

void SessionLease::Discard() {
  session_.reset();
  Pool& pool = IdleSessions();
  const std::lock_guard lock(pool.mutex);
  pool.idle.erase(key_);
}

SessionLease::~SessionLease() {
  if (!session_) return;
  Pool& pool = IdleSessions();
  const std::lock_guard lock(pool.mutex);
  pool.idle.emplace(key_, std::move(session_));
}

}  // namespace zorvan::windows_test
