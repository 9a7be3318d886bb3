// A platform that answers from the words it is asked with, for tests of the bridge that want rows,
// failures and exceptions without a server. Linked with the bridge in place of the operating
// system's adapter.
//
// Controllers whose name begins with "down" do not answer, with "silent" leave the caller waiting,
// with "slow" let it wait for a while; the user "wrong" and the password "refused" are refused. A
// filter "rows=N" gives N rows, "throw" and "exhaust" throw, anything else gives 3 rows; below a
// root "OU=silent" the caller waits for the row behind them. "notices" gives two notices, "terms"
// one with the terms of the call.
#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"

namespace zorvan::platform {
namespace {

std::u16string Wide(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

// Values of a row by attribute: a name of its own, texts that are awkward to carry, a long list,
// links. Every second row is a computer, and so a user too.
std::vector<std::u16string> TextsOf(std::u16string_view attribute, std::uint32_t row) {
  using namespace std::string_literals;
  if (attribute == u"sAMAccountName") return {u"user" + Wide(std::to_string(row))};
  if (attribute.starts_with(u"description")) {
    return {u"Zo\u00EB \U0001F600", u"a\0b"s, u"(*)\\", u"\xD800 alone"};
  }
  if (attribute == u"url") {
    std::vector<std::u16string> many;
    for (int i = 0; i < 2500; ++i)
      many.push_back(u"https://example.com/" + Wide(std::to_string(i)));
    return many;
  }
  if (attribute == u"manager" || attribute == u"managedBy") return {u"CN=Boss,DC=canned"};
  if (attribute == u"objectClass") return {u"user", row % 2 == 0 ? u"computer" : u"person"};
  return {};
}

// The call that the platform was made for.
struct CannedCall {
  CallTerms terms;
  CallObserver* observer = nullptr;
};

// Waits as adapters do, asking the caller all the time.
HResult Wait(const CannedCall& call, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    if (call.observer->IsCancelled()) return kCancelled;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return kTimedOut;
}

void GiveTerms(const CannedCall& call) {
  const CallTerms& terms = call.terms;
  std::u16string detail;
  for (std::int64_t number :
       {std::int64_t{terms.allowNtlm}, std::int64_t{terms.allowRc4},
        std::int64_t{terms.connect.count()}, std::int64_t{terms.idle.count()},
        std::int64_t{terms.call.count()}, static_cast<std::int64_t>(terms.maxMessageBytes)}) {
    detail += Wide(std::to_string(number)) + u" ";
  }
  call.observer->Notify({NoticeKind::kNtlmUsed, terms.trustedAuthorities, detail});
}

class CannedSearch final : public DirectorySearch {
 public:
  CannedSearch(const CannedCall& call, std::u16string_view path)
      : call_(call), silent_(path.find(u"OU=silent") != std::u16string_view::npos) {}

  HResult SetSearchPreference(std::span<const SearchPreference>) override { return kOk; }

  HResult ExecuteSearch(std::u16string_view filter, std::span<const std::u16string_view>) override {
    if (filter == u"throw") throw std::runtime_error("canned failure");
    if (filter == u"exhaust") throw std::bad_alloc();
    if (filter == u"terms") GiveTerms(call_);
    if (filter == u"notices") {
      call_.observer->Notify({NoticeKind::kListCut, u"CN=Zo\u00EB", u"member", 1500});
      call_.observer->Notify({NoticeKind::kReferralFollowed, u"CN=Ann", u"dc2"});
    }
    rows_ = 3;
    if (filter.starts_with(u"rows=")) {
      rows_ = 0;
      for (char16_t digit : filter.substr(5)) rows_ = rows_ * 10 + (digit - u'0');
    }
    return kOk;
  }

  HResult GetNextRow() override {
    if (row_ < rows_) return ++row_, kOk;
    return silent_ ? Wait(call_, std::chrono::seconds(20)) : kNoMoreRows;
  }

  HResult GetColumn(std::u16string_view attribute, Column& column) override {
    if (attribute == u"userAccountControl") {
      values_ = {{{}, {}, 0xFFFFFFFF, {}}};
      column = {AdsType::kInteger, values_};
      return kOk;
    }
    texts_ = TextsOf(attribute, row_);
    values_.assign(texts_.size(), {});
    for (std::size_t i = 0; i < texts_.size(); ++i) values_[i].text = texts_[i];
    column = {AdsType::kCaseIgnoreString, values_};
    return texts_.empty() ? kColumnNotSet : kOk;
  }

  void ForEachReceivedText(std::u16string_view,
                           const std::function<void(std::u16string_view)>&) override {}

 private:
  const CannedCall& call_;
  bool silent_;
  std::uint32_t rows_ = 0;
  std::uint32_t row_ = 0;
  std::vector<std::u16string> texts_;
  std::vector<Value> values_;
};

class CannedObject final : public PropertyObject {
 public:
  CannedObject(const CannedCall& call, std::u16string_view path) : call_(call), path_(path) {}

  HResult Get(std::u16string_view, AttributeSet&) override { return kPropertyNotFound; }
  HResult QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) override {
    search = std::make_unique<CannedSearch>(call_, path_);
    return kOk;
  }

 private:
  const CannedCall& call_;
  std::u16string path_;
};

HResult Answer(const CannedCall& call, std::u16string_view path, const Credentials& credentials) {
  if (path.starts_with(u"LDAP://down")) return kServerDown;
  if (path.starts_with(u"LDAP://silent")) return Wait(call, std::chrono::seconds(20));
  if (path.starts_with(u"LDAP://slow") &&
      Wait(call, std::chrono::milliseconds(400)) == kCancelled) {
    return kCancelled;
  }
  if (credentials.userName && credentials.userName->ends_with(u"\\wrong")) return kLogonFailure;
  return credentials.password == u"refused" ? kLogonFailure : kOk;
}

class CannedSystem final : public System {
 public:
  std::int64_t CurrentFileTime() override { return 0; }
  Win32Code FormatMessageText(std::uint32_t, std::u16string&) override { return 317; }
};

class CannedPlatform final : public Platform, public Directory, public Accounts {
 public:
  HResult InitializeApartment(Apartment) override { return kOk; }
  void UninitializeApartment() override {}
  void BeginCall(const CallTerms& terms, CallObserver& observer) override {
    call_ = {terms, &observer};
  }
  Directory& directory() override { return *this; }
  Accounts& accounts() override { return *this; }
  System& system() override { return system_; }

  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t,
                     std::unique_ptr<DirectorySearch>& search) override {
    search = std::make_unique<CannedSearch>(call_, path);
    return Answer(call_, path, credentials);
  }
  HResult OpenObject(std::u16string_view, const Credentials&, std::uint32_t,
                     std::unique_ptr<DirectoryObject>&) override {
    return kNotSupported;
  }
  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t, std::unique_ptr<PropertyObject>& object) override {
    object = std::make_unique<CannedObject>(call_, path);
    return Answer(call_, path, credentials);
  }
  void ReadObjects(std::span<const std::u16string> paths, const Credentials&, std::uint32_t,
                   std::span<const std::u16string_view>,
                   const std::function<void(std::size_t, HResult, AttributeSet&,
                                            const ExtendedError&)>& visit) override {
    const Value name{u"Boss", {}, 0, {}};
    for (std::size_t i = 0; i < paths.size(); ++i) {
      AttributeSet set;
      set.Add(u"cn", {AdsType::kCaseIgnoreString, {&name, 1}});
      visit(i, kOk, set, {});
    }
  }
  ExtendedError LastError() override { return {}; }
  ExtendedError QueryUserConfig(std::u16string_view, std::u16string_view, const Credentials&,
                                std::u16string_view, TerminalServicesClass,
                                TerminalServicesValue&) override {
    return {Bits(kNotSupported), {}};
  }

 private:
  CannedCall call_;
  CannedSystem system_;
};

}  // namespace

std::unique_ptr<Platform> CreatePlatform() { return std::make_unique<CannedPlatform>(); }

}  // namespace zorvan::platform
