// Which log-on fits what the caller gave: whether Kerberos can be spoken, in which realm and for
// which service, and whether NTLM may stand in for it.
//
// Everything here follows from what the caller gave. What the server says of itself before it has
// proved who it is decides nothing, with one exception: where the caller gave an address, or the
// name of the domain, there is no host to ask a ticket for, so the name that the server tells is
// taken, bound to the caller's domain.
#pragma once

#include <string>
#include <vector>

#include "platform/posix/logon_name.h"

namespace zorvan::platform::posix {

// Texts in UTF-8.
struct LogonFacts {
  std::string host;          // of the server, as the caller gave it: a name or an address
  std::string domainName;    // of the domain, as the caller gave it; may be empty
  LogonName user;            // nothing in it: the identity of the process
  bool hostFromDns = false;  // the host is what the DNS answered for the domain
  bool allowNtlm = false;
};

struct LogonPlan {
  // The realm of the server and of the key distribution centre; empty: none can be known.
  std::string realm;
  // The services whose key the server must have, without realm; the first that the realm knows is
  // taken. All are acceptable: nobody gains by denying one of them.
  std::vector<std::string> services;
  // The service is the one that ServiceOfTold makes of the server's name: the caller gave an
  // address, or the domain itself, for which any controller of it will do.
  bool takesToldName = false;
  bool isAddress = false;
  // Why Kerberos cannot be spoken, in words for the user; empty when it can.
  std::u16string whyNotKerberos;
  bool ntlmAllowed = false;
};

LogonPlan PlanLogon(const LogonFacts& facts);

// "ldap/told/domain", which only a controller of that domain has; empty when what the server told
// is no name of a host.
std::string ServiceOfTold(const std::string& told, const std::string& domainName);

// The domain that the user's name states, if it is another than the realm; else empty. A flat name
// need not be the first part of the realm, so one that is not is taken for another domain.
std::string ForeignDomain(const LogonName& user, const std::string& realm);

}  // namespace zorvan::platform::posix
