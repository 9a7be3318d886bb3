#include "platform/posix/logon_plan.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <string_view>

namespace zorvan::platform::posix {
namespace {

// An address of the link-local kind can have its interface behind a "%".
bool IsAddress(const std::string& host) {
  in6_addr bytes{};
  return inet_pton(AF_INET, host.c_str(), &bytes) == 1 ||
         inet_pton(AF_INET6, host.substr(0, host.find('%')).c_str(), &bytes) == 1;
}

bool SameName(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::string WithoutFinalDot(std::string name) {
  if (name.ends_with('.')) name.pop_back();
  return name;
}

// A flat name has no dot, and is no realm.
bool IsDnsName(std::string_view domain) {
  return domain.find('.') != std::string_view::npos && !domain.starts_with('.');
}

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character & ~0x20) : character;
  });
  return upper;
}

// The domain if the caller gave it, else the one that the server's full name or the user's shows.
std::string RealmFrom(const std::string& host, bool isAddress, const std::string& domainName,
                      const LogonName& user) {
  if (IsDnsName(domainName)) return UpperCase(domainName);
  if (isAddress) return {};
  const std::size_t dot = host.find('.');
  if (dot != std::string::npos) return UpperCase(std::string_view(host).substr(dot + 1));
  const std::string_view stated = user.StatedDomain();
  return IsDnsName(stated) ? UpperCase(stated) : std::string();
}

}  // namespace

LogonPlan PlanLogon(const LogonFacts& facts) {
  const std::string host = WithoutFinalDot(facts.host);
  const std::string domainName = WithoutFinalDot(facts.domainName);
  LogonPlan plan;
  plan.isAddress = IsAddress(host);
  plan.realm = RealmFrom(host, plan.isAddress, domainName, facts.user);
  if (facts.user.domain == ".") {
    plan.whyNotKerberos = u"the account is one of the server's own";
  } else if (plan.realm.empty()) {
    plan.whyNotKerberos = plan.isAddress ? u"the server was given as an address, without its domain"
                                         : u"no domain was given";
  }
  plan.takesToldName = !plan.realm.empty() && (plan.isAddress || SameName(host, domainName));
  if (facts.hostFromDns && !plan.isAddress && IsDnsName(domainName)) {
    plan.services = {ServiceOfTold(host, domainName)};
  } else if (!plan.isAddress && !plan.takesToldName) {
    plan.services.push_back("ldap/" + host);
    if (host.find('.') == std::string::npos && IsDnsName(domainName))
      plan.services.push_back("ldap/" + host + "." + domainName);
  }
  plan.ntlmAllowed = facts.allowNtlm || !plan.whyNotKerberos.empty();
  return plan;
}

std::string ServiceOfTold(const std::string& told, const std::string& domainName) {
  constexpr std::string_view kOfNames =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
  const bool isName = !told.empty() && told.find_first_not_of(kOfNames) == std::string::npos;
  return isName ? "ldap/" + told + "/" + WithoutFinalDot(domainName) : std::string();
}

std::string ForeignDomain(const LogonName& user, const std::string& realm) {
  const std::string_view stated = user.StatedDomain();
  const bool own = stated.empty() || SameName(stated, realm) ||
                   SameName(stated, std::string_view(realm).substr(0, realm.find('.')));
  return own ? std::string() : std::string(stated);
}

}  // namespace zorvan::platform::posix
