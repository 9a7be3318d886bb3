#include "platform/posix/search_request.h"

#include <strings.h>

#include <algorithm>
#include <utility>

#include "platform/posix/ldap_result.h"

namespace zorvan::platform::posix {
namespace {

constexpr char kShowDeleted[] = "1.2.840.113556.1.4.417";
constexpr char kSecurityDescriptorFlags[] = "1.2.840.113556.1.4.801";
// Owner, group and DACL, as BER: who may not read the SACL would get no descriptor at all when it
// asks for everything.
constexpr char kWithoutSacl[] = {0x30, 0x03, 0x02, 0x01, 0x07};

// How many messages of a reply without pages are held at a time, and how many bytes of any.
constexpr std::size_t kPortion = 1000;
constexpr std::size_t kMaxHeldBytes = std::size_t{64} << 20U;
// A server may find nothing for a page and yet go on; for ever it may not.
constexpr int kMaxPagesWithoutEntries = 100;

constexpr HResult kSizeLimitExceeded = HResultFromWin32(8227);  // ERROR_DS_SIZELIMIT_EXCEEDED
constexpr HResult kDecodingError = HResultFromWin32(8253);      // ERROR_DS_DECODING_ERROR
constexpr HResult kControlNotFound = HResultFromWin32(8258);    // ERROR_DS_CONTROL_NOT_FOUND
constexpr HResult kClientLoop = HResultFromWin32(8259);         // ERROR_DS_CLIENT_LOOP

struct FreeControl {
  void operator()(LDAPControl* control) const { ldap_control_free(control); }
};
struct FreeControls {
  void operator()(LDAPControl** controls) const { ldap_controls_free(controls); }
};
struct FreeText {
  void operator()(char* text) const { ldap_memfree(text); }
};

bool AsksForSecurityDescriptor(const SearchRequest& request) {
  return std::ranges::any_of(request.attributes, [](const std::string& attribute) {
    return strcasecmp(attribute.c_str(), "nTSecurityDescriptor") == 0;
  });
}

// The controls of one request, in the form that the library takes.
class Controls {
 public:
  HResult Make(LDAP* handle, const SearchRequest& request, const std::string& cookie) {
    if (request.pageSize != 0) {
      berval value{cookie.size(), const_cast<char*>(cookie.data())};
      LDAPControl* control = nullptr;
      // A server that does not know pages shall answer the first request in one piece; one that
      // has given a cookie must not take the second for a new search.
      const bool critical = !cookie.empty();
      const int result =
          ldap_create_page_control(handle, static_cast<ber_int_t>(request.pageSize),
                                   cookie.empty() ? nullptr : &value, critical ? 1 : 0, &control);
      if (result != LDAP_SUCCESS) return HResultFromLdap(result);
      page_.reset(control);
      list_[count_++] = control;
    }
    if (request.deletedObjects) list_[count_++] = &showDeleted_;
    if (AsksForSecurityDescriptor(request)) list_[count_++] = &descriptorFlags_;
    return kOk;
  }

  LDAPControl** list() { return count_ == 0 ? nullptr : list_; }

 private:
  std::unique_ptr<LDAPControl, FreeControl> page_;
  LDAPControl showDeleted_{const_cast<char*>(kShowDeleted), {0, nullptr}, 1};
  LDAPControl descriptorFlags_{const_cast<char*>(kSecurityDescriptorFlags),
                               {sizeof kWithoutSacl, const_cast<char*>(kWithoutSacl)},
                               0};
  LDAPControl* list_[4] = {};
  std::size_t count_ = 0;
};

int LdapScope(SearchScope scope) {
  switch (scope) {
    case SearchScope::kBase:
      return LDAP_SCOPE_BASE;
    case SearchScope::kOneLevel:
      return LDAP_SCOPE_ONELEVEL;
    case SearchScope::kSubtree:
      break;
  }
  return LDAP_SCOPE_SUBTREE;
}

// What a connection that has failed says to everything that is still asked of it, without waiting
// again.
HResult AnswerOfBroken(const LdapConnection& connection, ExtendedError& error) {
  error = ExtendedError{Bits(kServerDown) & 0xFFFFU, connection.failure().text};
  return kServerDown;
}

HResult SendPage(LdapConnection& connection, const SearchRequest& request,
                 const std::string& cookie, int& messageId, ExtendedError& error) {
  if (connection.broken()) return AnswerOfBroken(connection, error);
  Controls controls;
  const HResult made = controls.Make(connection.handle(), request, cookie);
  if (Failed(made)) return made;
  std::vector<char*> attributes;
  for (const std::string& attribute : request.attributes) {
    attributes.push_back(const_cast<char*>(attribute.c_str()));
  }
  if (!attributes.empty()) attributes.push_back(nullptr);
  const int result = ldap_search_ext(
      connection.handle(), request.base.c_str(), LdapScope(request.scope), request.filter.c_str(),
      attributes.empty() ? nullptr : attributes.data(), 0, controls.list(), nullptr, nullptr,
      static_cast<int>(request.sizeLimit), &messageId);
  return result == LDAP_SUCCESS ? kOk : ResultOf(connection.handle(), nullptr, error);
}

// Waits for a message; when none comes, the request is over for the server too.
HResult AwaitOrAbandon(LdapConnection& connection, int messageId, int all, Message& message,
                       ExtendedError& error) {
  if (connection.broken()) return AnswerOfBroken(connection, error);
  LDAPMessage* received = nullptr;
  const HResult result = connection.AwaitMessage(messageId, all, received);
  message.reset(received);
  if (Failed(result)) {
    error = connection.failure();
    connection.Abandon(messageId);
  }
  return result;
}

}  // namespace

HResult SendSearch(LdapConnection& connection, const SearchRequest& request, int& messageId,
                   ExtendedError& error) {
  return SendPage(connection, request, {}, messageId, error);
}

HResult AwaitEntry(LdapConnection& connection, int messageId, Message& chain, LDAPMessage*& entry,
                   ExtendedError& error) {
  entry = nullptr;
  HResult result = AwaitOrAbandon(connection, messageId, LDAP_MSG_ALL, chain, error);
  if (Failed(result)) return result;

  LDAPMessage* message = ldap_first_message(connection.handle(), chain.get());
  for (; message != nullptr; message = ldap_next_message(connection.handle(), message)) {
    const int type = ldap_msgtype(message);
    if (type == LDAP_RES_SEARCH_ENTRY && entry == nullptr) entry = message;
    if (type == LDAP_RES_SEARCH_RESULT) result = ResultOf(connection.handle(), message, error);
  }
  if (Failed(result)) return result;
  return entry == nullptr ? kNoSuchObject : kOk;
}

HResult ReadEntry(LdapConnection& connection, const SearchRequest& request, Message& chain,
                  LDAPMessage*& entry, ExtendedError& error) {
  int messageId = 0;
  const HResult sent = SendSearch(connection, request, messageId, error);
  return Failed(sent) ? sent : AwaitEntry(connection, messageId, chain, entry, error);
}

PagedSearch::PagedSearch(LdapConnection& connection, SearchRequest request)
    : connection_(connection), request_(std::move(request)) {
  // One object needs no pages.
  if (request_.scope == SearchScope::kBase) request_.pageSize = 0;
}

PagedSearch::~PagedSearch() {
  if (messageId_ != kNothingUnderWay) connection_.Abandon(messageId_);
}

HResult PagedSearch::Start(ExtendedError& error) {
  inOnePiece_ = request_.pageSize != 0 && connection_.hasPagedSearch();
  const HResult sent = inOnePiece_ ? SendInOnePiece(error) : SendFirstPage(error);
  if (Failed(sent)) {
    outcome_ = sent;
    error_ = error;
  }
  return sent;
}

HResult PagedSearch::SendInOnePiece(ExtendedError& error) {
  SearchRequest request = request_;
  request.sizeLimit = std::exchange(request.pageSize, 0);
  return SendSearch(connection_, request, messageId_, error);
}

HResult PagedSearch::SendFirstPage(ExtendedError& error) {
  inOnePiece_ = false;
  if (request_.pageSize != 0) mark_.emplace(connection_);
  return Send({}, error);
}

HResult PagedSearch::Send(const std::string& cookie, ExtendedError& error) {
  const HResult result = SendPage(connection_, request_, cookie, messageId_, error);
  if (Failed(result)) messageId_ = kNothingUnderWay;
  return result;
}

HResult PagedSearch::Next(ExtendedError& error) {
  current_.reset();
  while (next_ == held_.size() && messageId_ != kNothingUnderWay) FillPage();
  if (next_ < held_.size()) {
    current_ = std::move(held_[next_++]);
    return kOk;
  }
  if (Failed(outcome_)) error = error_;
  return outcome_;
}

void PagedSearch::FillPage() {
  held_.clear();
  next_ = 0;
  const HResult call = connection_.CheckCall(error_);
  if (Failed(call)) return Stop(call);
  ReceivePortion();
  if (!held_.empty()) {
    withoutEntries_ = 0;
  } else if (messageId_ != kNothingUnderWay && ++withoutEntries_ == kMaxPagesWithoutEntries) {
    Fail(kClientLoop, u"The server sent 100 pages in a row without an entry.");
  }
}

// The result of a full page is waited for. A server that sends more entries than that does not know
// pages, and one whose entries are that large must do without being asked ahead.
void PagedSearch::ReceivePortion() {
  const std::size_t limit = request_.pageSize != 0 ? request_.pageSize : kPortion;
  std::size_t others = 0;
  std::size_t bytes = 0;
  while (held_.size() <= limit && others < kPortion && bytes < kMaxHeldBytes) {
    Message message;
    const HResult result = AwaitOrAbandon(connection_, messageId_, LDAP_MSG_ONE, message, error_);
    if (Failed(result)) {
      messageId_ = kNothingUnderWay;
      outcome_ = result;
      return;
    }
    bytes += connection_.messageSize();
    switch (ldap_msgtype(message.get())) {
      case LDAP_RES_SEARCH_ENTRY:
        if (!pageHasEntries_) StartPageWith(message.get());
        held_.push_back(std::move(message));
        break;
      case LDAP_RES_SEARCH_RESULT:
        FinishPage(message.get());
        return;
      default:
        ++others;
    }
  }
}

void PagedSearch::StartPageWith(LDAPMessage* entry) {
  BerElement* reader = nullptr;
  berval name{};
  pageHasEntries_ = true;
  firstName_.clear();
  if (ldap_get_dn_ber(connection_.handle(), entry, &reader, &name) == LDAP_SUCCESS) {
    firstName_.assign(name.bv_val, name.bv_len);
  }
  ber_free(reader, 0);
}

void PagedSearch::FinishPage(LDAPMessage* result) {
  messageId_ = kNothingUnderWay;
  outcome_ = ResultOf(connection_.handle(), result, error_);
  if (inOnePiece_ && outcome_ == kSizeLimitExceeded) {
    held_.clear();
    outcome_ = SendFirstPage(error_);
    return;
  }
  if (Failed(outcome_)) return;
  outcome_ = kNoMoreRows;
  std::string cookie;
  if (!ReadCookie(result, cookie) || cookie.empty()) return mark_.reset();
  // Some servers give one cookie for all pages of a search; then the entries tell whether it gets
  // on.
  if (cookie == cookie_ && (!pageHasEntries_ || firstName_ == firstNameBefore_)) {
    return Fail(kClientLoop,
                u"The server does not get on: its cookie stays the same, and no other "
                u"entries come.");
  }
  cookie_ = std::move(cookie);
  firstNameBefore_ = std::move(firstName_);
  firstName_.clear();
  pageHasEntries_ = false;
  const HResult sent = Send(cookie_, error_);
  if (Failed(sent)) outcome_ = sent;
}

// Only an answer without the control to a request without a cookie, from a server that does not
// know pages, is whole without it.
bool PagedSearch::ReadCookie(LDAPMessage* result, std::string& cookie) {
  LDAPControl** received = nullptr;
  int code = 0;
  const int parsed = ldap_parse_result(connection_.handle(), result, &code, nullptr, nullptr,
                                       nullptr, &received, 0);
  const std::unique_ptr<LDAPControl*, FreeControls> controls(received);
  LDAPControl* page = ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, received, nullptr);
  if (parsed == LDAP_SUCCESS && page == nullptr) {
    if (cookie_.empty()) return true;
    Fail(kControlNotFound,
         u"The server's answer to a request for the next page does not say "
         u"whether it is the last.");
    return false;
  }
  ber_int_t estimate = 0;
  berval value{};
  if (parsed != LDAP_SUCCESS ||
      ldap_parse_pageresponse_control(connection_.handle(), page, &estimate, &value) !=
          LDAP_SUCCESS) {
    Fail(kDecodingError, u"The control that says whether more pages follow cannot be decoded.");
    return false;
  }
  const std::unique_ptr<char, FreeText> owned(value.bv_val);
  if (value.bv_len != 0) cookie.assign(value.bv_val, value.bv_len);
  return true;
}

void PagedSearch::Fail(HResult failure, std::u16string_view words) {
  error_ = ExtendedError{Bits(failure) & 0xFFFFU, std::u16string(words)};
  Stop(failure);
}

void PagedSearch::Stop(HResult outcome) {
  if (messageId_ != kNothingUnderWay) connection_.Abandon(messageId_);
  messageId_ = kNothingUnderWay;
  outcome_ = outcome;
}

}  // namespace zorvan::platform::posix
