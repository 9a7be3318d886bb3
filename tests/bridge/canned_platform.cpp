// A platform that answers from the words it is asked with, for tests of the bridge that want rows,
// failures and exceptions without a server. Linked with the bridge in place of the operating
// system's adapter.
//
// Controllers whose name begins with "down" do not answer; the user "wrong" is refused. A filter
// "rows=N" gives N rows, "throw" and "exhaust" throw, anything else gives 3 rows.
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
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

class CannedSearch final : public DirectorySearch {
 public:
  HResult SetSearchPreference(std::span<const SearchPreference>) override { return kOk; }

  HResult ExecuteSearch(std::u16string_view filter, std::span<const std::u16string_view>) override {
    if (filter == u"throw") throw std::runtime_error("canned failure");
    if (filter == u"exhaust") throw std::bad_alloc();
    rows_ = 3;
    if (filter.starts_with(u"rows=")) {
      rows_ = 0;
      for (char16_t digit : filter.substr(5)) rows_ = rows_ * 10 + (digit - u'0');
    }
    return kOk;
  }

  HResult GetNextRow() override { return row_ < rows_ ? (++row_, kOk) : kNoMoreRows; }

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
  std::uint32_t rows_ = 0;
  std::uint32_t row_ = 0;
  std::vector<std::u16string> texts_;
  std::vector<Value> values_;
};

class CannedObject final : public PropertyObject {
 public:
  HResult Get(std::u16string_view, AttributeSet&) override { return kPropertyNotFound; }
  HResult QueryDirectorySearch(std::unique_ptr<DirectorySearch>& search) override {
    search = std::make_unique<CannedSearch>();
    return kOk;
  }
};

HResult Answer(std::u16string_view path, const Credentials& credentials) {
  if (path.starts_with(u"LDAP://down")) return kServerDown;
  if (credentials.userName && credentials.userName->ends_with(u"\\wrong")) return kLogonFailure;
  return kOk;
}

class CannedSystem final : public System {
 public:
  std::int64_t CurrentFileTime() override { return 0; }
  bool FormatMessageText(std::uint32_t, std::u16string&) override { return false; }
  Win32Code LastError() override { return 0; }
};

class CannedPlatform final : public Platform, public Directory, public Accounts {
 public:
  HResult InitializeApartment(Apartment) override { return kOk; }
  void UninitializeApartment() override {}
  void BeginCall(const CallTerms&, CallObserver&) override {}
  Directory& directory() override { return *this; }
  Accounts& accounts() override { return *this; }
  System& system() override { return system_; }

  HResult OpenSearch(std::u16string_view path, const Credentials& credentials, std::uint32_t,
                     std::unique_ptr<DirectorySearch>& search) override {
    search = std::make_unique<CannedSearch>();
    return Answer(path, credentials);
  }
  HResult OpenObject(std::u16string_view, const Credentials&, std::uint32_t,
                     std::unique_ptr<DirectoryObject>&) override {
    return kNotSupported;
  }
  HResult OpenPropertyObject(std::u16string_view path, const Credentials& credentials,
                             std::uint32_t, std::unique_ptr<PropertyObject>& object) override {
    object = std::make_unique<CannedObject>();
    return Answer(path, credentials);
  }
  void ReadObjects(std::span<const std::u16string> paths, const Credentials&, std::uint32_t,
                   std::span<const std::u16string_view>,
                   const std::function<void(std::size_t, HResult, AttributeSet&)>& visit) override {
    const Value name{u"Boss", {}, 0, {}};
    for (std::size_t i = 0; i < paths.size(); ++i) {
      AttributeSet set;
      set.Add(u"cn", {AdsType::kCaseIgnoreString, {&name, 1}});
      visit(i, kOk, set);
    }
  }
  ExtendedError LastError() override { return {}; }
  Win32Code QueryUserConfig(std::u16string_view, std::u16string_view, const Credentials&,
                            std::u16string_view, TerminalServicesClass,
                            TerminalServicesValue&) override {
    return Bits(kNotSupported);
  }

 private:
  CannedSystem system_;
};

}  // namespace

std::unique_ptr<Platform> CreatePlatform() { return std::make_unique<CannedPlatform>(); }

}  // namespace zorvan::platform
