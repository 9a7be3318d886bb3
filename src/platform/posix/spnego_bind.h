// The secure bind: what is said between GSSAPI and the server in a bind of the SASL mechanism
// GSS-SPNEGO.
//
// Kerberos travels in SPNEGO, NTLM as it is, which the mechanism allows and which keeps the library
// from trying anything else. Which of them to use, and when to give up, is the caller's decision.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/directory.h"
#include "platform/posix/handles.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/secret_text.h"

namespace zorvan::platform::posix {

// What the server answered to a bind request that it did not refuse.
struct BindAnswer {
  bool complete = false;  // false: the server waits for the next token
  BerValue token;         // empty when it sent none
};

// Sends a token in a bind request and waits for the answer. A refusal is a failure, with error.
using BindExchange =
    std::function<HResult(std::string_view token, BindAnswer& answer, ExtendedError& error)>;

// Whether everything after the bind is signed and sealed. Servers refuse that inside TLS.
enum class MessageLayers { kNone, kSignedAndSealed };

struct SpnegoOutcome {
  HResult result = kOk;
  bool nothingSent = false;  // failed on this side, before the server heard of it
  GssContext context;        // on success; protects the messages to come when layers were asked for
};

// With a ticket of an explicit logon, signed and sealed.
SpnegoOutcome BindWithTicket(const KerberosCredentials& credentials, const BindExchange& exchange,
                             ExtendedError& error);

// With the identity of the process, its ticket cache and Kerberos configuration. The first of the
// service names ("ldap/dc1.example.test") that its realm knows is used; realm may be empty.
// channelBinding says in which TLS connection it is done; empty: in none. kNoLogonSession when the
// process has none that will do.
SpnegoOutcome BindAsProcess(const std::vector<std::string>& services, const std::string& realm,
                            MessageLayers layers, const std::string& channelBinding,
                            const BindExchange& exchange, ExtendedError& error);

// With a name and a password by NTLM, signed and sealed.
SpnegoOutcome BindWithNtlm(const LogonName& name, const SecretText& password,
                           const std::string& host, const BindExchange& exchange,
                           ExtendedError& error);

}  // namespace zorvan::platform::posix
