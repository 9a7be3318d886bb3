// Search requests on a connection: sending one, and reading a result page by page.
//
// Several requests can be under way on one connection; each waits only for messages of its own.
#pragma once

#include <ldap.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/directory.h"
#include "platform/posix/ldap_connection.h"
#include "platform/result.h"

namespace zorvan::platform::posix {

struct FreeMessage {
  void operator()(LDAPMessage* message) const { ldap_msgfree(message); }
};
using Message = std::unique_ptr<LDAPMessage, FreeMessage>;

// The filter that every object meets.
inline constexpr const char* kEveryObject = "(objectClass=*)";

struct SearchRequest {
  std::string base;
  SearchScope scope = SearchScope::kBase;
  std::string filter = kEveryObject;
  std::vector<std::string> attributes;  // empty: all of them
  std::uint32_t pageSize = 0;           // 0: in one piece
  std::uint32_t sizeLimit = 0;          // entries the server shall send at most; 0: all of them
  bool deletedObjects = false;
};

// Sends a request for its first (or only) page. The answer comes under messageId.
HResult SendSearch(LdapConnection& connection, const SearchRequest& request, int& messageId,
                   ExtendedError& error);

// Waits for the whole answer to a base search and gives the message chain, whose first entry is the
// object: kNoSuchObject when there is none.
HResult AwaitEntry(LdapConnection& connection, int messageId, Message& chain, LDAPMessage*& entry,
                   ExtendedError& error);

// Both in one.
HResult ReadEntry(LdapConnection& connection, const SearchRequest& request, Message& chain,
                  LDAPMessage*& entry, ExtendedError& error);

// A search whose entries are stepped over one by one while at most one page of them is held. When a
// page is complete the next one is requested before the first entry of this one is handed over, so
// that the server works while the caller does. A server that does not know pages is read in
// portions of the same size.
//
// Servers keep only a few results of paged searches for a connection, and drop the oldest for a new
// one. So a search that is begun while another is between its pages is asked for in one piece, and
// in pages only when it turns out to have more than one.
//
// A search ends with kNoMoreRows only when the server has said that it is the end. One that does
// not get on (pages without entries, or the same again) fails, as does one whose server does not
// say whether more would follow.
class PagedSearch {
 public:
  PagedSearch(LdapConnection& connection, SearchRequest request);
  ~PagedSearch();  // tells the server that no more is wanted
  PagedSearch(const PagedSearch&) = delete;
  PagedSearch& operator=(const PagedSearch&) = delete;

  HResult Start(ExtendedError& error);

  // kOk when current() is the next entry, kNoMoreRows, or the failure that ended the search.
  // Entries that came before a failure are handed over first.
  HResult Next(ExtendedError& error);
  LDAPMessage* current() const { return current_.get(); }

  // Entries that have arrived and come after the current one.
  std::span<const Message> ahead() const { return std::span(held_).subspan(next_); }

 private:
  static constexpr int kNothingUnderWay = -1;

  HResult Send(const std::string& cookie, ExtendedError& error);
  HResult SendInOnePiece(ExtendedError& error);
  HResult SendFirstPage(ExtendedError& error);
  void FillPage();
  void ReceivePortion();
  void StartPageWith(LDAPMessage* entry);
  void FinishPage(LDAPMessage* result);
  bool ReadCookie(LDAPMessage* result, std::string& cookie);
  void Fail(HResult failure, std::u16string_view words);
  void Stop(HResult outcome);

  LdapConnection& connection_;
  SearchRequest request_;
  int messageId_ = kNothingUnderWay;
  std::vector<Message> held_;
  std::size_t next_ = 0;
  Message current_;
  bool inOnePiece_ = false;  // because of another search
  std::optional<LdapConnection::PagedSearchMark> mark_;
  // How the search gets on: the cookie sent last, and the names that its pages begin with.
  std::string cookie_;
  bool pageHasEntries_ = false;
  std::string firstName_;
  std::string firstNameBefore_;
  int withoutEntries_ = 0;
  HResult outcome_ = kNoMoreRows;  // how the search ended, once nothing is under way
  ExtendedError error_;
};

}  // namespace zorvan::platform::posix
