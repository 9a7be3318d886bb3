// A connection to the directory over wldap32, bound as the platform's own provider binds for secure
// authentication: negotiated, signed and sealed.
#pragma once

#include <compare>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/windows/windows_headers.h"
// wldap32 expects the system's headers before it.
#include <winldap.h>

namespace zorvan::windows_test {

struct RawAttribute {
  std::wstring name;
  std::vector<std::string> values;  // octets as they came
};

struct RawEntry {
  std::wstring distinguishedName;
  std::vector<RawAttribute> attributes;

  const RawAttribute* Find(const std::wstring& name) const;  // ignoring case
};

// Who is asked, and as whom; no user is the identity of the process.
struct SessionKey {
  std::wstring host;
  unsigned port = 0;
  std::optional<std::wstring> user;
  std::optional<std::wstring> password;

  auto operator<=>(const SessionKey&) const = default;
};

struct LdapRequest {
  std::wstring base;
  ULONG scope = LDAP_SCOPE_BASE;
  std::wstring filter = L"(objectClass=*)";
  std::vector<std::wstring> attributes;  // none: all
  ULONG pageSize = 0;                    // 0: everything in one answer
  bool tombstones = false;
};

// The code that the directory interface gives for a result of the protocol.
HRESULT ResultFromLdap(ULONG code);

class LdapSession {
 public:
  // Connects and binds.
  static HRESULT Open(const SessionKey& key, std::unique_ptr<LdapSession>& session);
  LdapSession(const LdapSession&) = delete;
  LdapSession& operator=(const LdapSession&) = delete;
  ~LdapSession();

  // The one entry of that name; RootDSE has the empty one.
  HRESULT Read(const std::wstring& name, std::vector<std::wstring> attributes, RawEntry& entry);

 private:
  friend class LdapSearch;
  LdapSession() = default;

  LDAP* ldap_ = nullptr;
};

// One search, read entry by entry, page after page. The session must outlive it.
class LdapSearch {
 public:
  LdapSearch(LdapSession& session, LdapRequest request)
      : ldap_(session.ldap_), request_(std::move(request)) {}
  LdapSearch(const LdapSearch&) = delete;
  LdapSearch& operator=(const LdapSearch&) = delete;
  ~LdapSearch();

  // S_OK with an entry, S_ADS_NOMORE_ROWS, or the failure that ended the search.
  HRESULT Next(RawEntry& entry);

 private:
  enum class State { kBeforePage, kInPage, kEnded };

  ULONG AskForPage();
  ULONG EndPage(LDAPMessage* result);
  void TakeEntry(LDAPMessage* message, RawEntry& entry);
  void DropPage();

  LDAP* ldap_;
  LdapRequest request_;
  State state_ = State::kBeforePage;
  ULONG messageId_ = 0;
  std::string cookie_;
  ULONG entries_ = 0;
};

// Lends sessions out, one borrower at a time, so that opening the second object of a server costs
// no second bind.
class SessionLease {
 public:
  SessionLease() = default;
  SessionLease(const SessionLease&) = delete;
  SessionLease& operator=(const SessionLease&) = delete;
  ~SessionLease();

  HRESULT Take(const SessionKey& key);
  // Forgets the session, which has failed, and every other of the same key that lies idle.
  void Discard();
  bool isReused() const { return reused_; }
  LdapSession* get() const { return session_.get(); }
  LdapSession* operator->() const { return session_.get(); }

 private:
  SessionKey key_;
  std::unique_ptr<LdapSession> session_;
  bool reused_ = false;
};

}  // namespace zorvan::windows_test
