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
// What a domain controller gives at most to who does not ask for pages; this one's gives all.
constexpr ULONG kMostWithoutPages = 1000;

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
  // A server that says nothing is one that does not operate.
  if (result == LDAP_TIMEOUT) result = LDAP_SERVER_DOWN;
  if (result == LDAP_SUCCESS) session = std::move(opened);
  return ResultFromLdap(result);
}

LdapSession::~LdapSession() {
  if (ldap_ != nullptr) ldap_unbind(ldap_);
}

HRESULT LdapSession::Read(const std::wstring& name, std::vector<std::wstring> attributes,
                          RawEntry& entry) {
  LdapRequest request;
  request.base = name;
  request.attributes = std::move(attributes);
  LdapSearch search(*this, std::move(request));
  const HRESULT result = search.Next(entry);
  return result == S_ADS_NOMORE_ROWS ? ResultFromLdap(LDAP_NO_SUCH_OBJECT) : result;
}

LdapSearch::~LdapSearch() { DropPage(); }

// The rest of the page is read and dropped: abandoning the request costs the connection here.
void LdapSearch::DropPage() {
  while (state_ == State::kInPage) {
    LDAPMessage* message = nullptr;
    const ULONG kind = ldap_result(ldap_, messageId_, LDAP_MSG_ONE, nullptr, &message);
    if (message == nullptr || kind == LDAP_RES_SEARCH_RESULT) state_ = State::kEnded;
    if (message != nullptr) ldap_msgfree(message);
  }
}

HRESULT LdapSearch::Next(RawEntry& entry) {
  while (state_ != State::kEnded) {
    ULONG result = state_ == State::kBeforePage ? AskForPage() : ULONG{LDAP_SUCCESS};
    if (result == LDAP_SUCCESS) {
      LDAPMessage* message = nullptr;
      const ULONG kind = ldap_result(ldap_, messageId_, LDAP_MSG_ONE, nullptr, &message);
      if (kind == LDAP_RES_SEARCH_ENTRY) TakeEntry(message, entry);
      if (kind == LDAP_RES_SEARCH_RESULT) result = EndPage(message);
      // Neither an answer nor its absence within the client's time tell more than that.
      if (message == nullptr) result = LDAP_SERVER_DOWN;
      if (message != nullptr) ldap_msgfree(message);
      if (kind == LDAP_RES_SEARCH_ENTRY) {
        if (request_.pageSize != 0 || ++entries_ <= kMostWithoutPages) return S_OK;
        DropPage();
        result = LDAP_SIZELIMIT_EXCEEDED;
      }
    }
    if (result != LDAP_SUCCESS) {
      state_ = State::kEnded;
      return ResultFromLdap(result);
    }
  }
  return S_ADS_NOMORE_ROWS;
}

ULONG LdapSearch::AskForPage() {
  std::vector<wchar_t*> attributes;
  for (std::wstring& name : request_.attributes) attributes.push_back(name.data());
  attributes.push_back(nullptr);
  std::wstring showDeletedNumber = kShowDeleted;
  LDAPControlW showDeleted{showDeletedNumber.data(), {0, nullptr}, TRUE};
  std::vector<LDAPControlW*> controls;
  if (request_.tombstones) controls.push_back(&showDeleted);
  LDAPControlW* page = nullptr;
  if (request_.pageSize != 0) {
    berval cookie{static_cast<ULONG>(cookie_.size()), cookie_.data()};
    const ULONG made = ldap_create_page_controlW(ldap_, request_.pageSize, &cookie, TRUE, &page);
    if (made != LDAP_SUCCESS) return made;
    controls.push_back(page);
  }
  controls.push_back(nullptr);
  const ULONG result =
      ldap_search_extW(ldap_, request_.base.data(), request_.scope, request_.filter.data(),
                       attributes.data(), 0, controls.data(), nullptr, 0, 0, &messageId_);
  if (page != nullptr) ldap_control_freeW(page);
  if (result == LDAP_SUCCESS) state_ = State::kInPage;
  return result;
}

ULONG LdapSearch::EndPage(LDAPMessage* message) {
  ULONG code = LDAP_SUCCESS;
  LDAPControlW** controls = nullptr;
  const ULONG parsed =
      ldap_parse_resultW(ldap_, message, &code, nullptr, nullptr, nullptr, &controls, FALSE);
  if (parsed != LDAP_SUCCESS) return parsed;
  cookie_.clear();
  if (controls != nullptr) {
    ULONG total = 0;
    berval* cookie = nullptr;
    if (ldap_parse_page_controlW(ldap_, controls, &total, &cookie) == LDAP_SUCCESS &&
        cookie != nullptr) {
      if (cookie->bv_len != 0) cookie_.assign(cookie->bv_val, cookie->bv_len);
      ber_bvfree(cookie);
    }
    ldap_controls_freeW(controls);
  }
  state_ = cookie_.empty() ? State::kEnded : State::kBeforePage;
  return code;
}

void LdapSearch::TakeEntry(LDAPMessage* message, RawEntry& entry) {
  entry = {};
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
