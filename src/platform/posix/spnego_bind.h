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

#include "platform/call_terms.h"
#include "platform/directory.h"
#include "platform/posix/handles.h"
#include "platform/posix/kerberos_credentials.h"
#include "platform/posix/logon_name.h"
#include "platform/posix/secret_text.h"
#include "platform/posix/tcp_connector.h"

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

// A failure that is not the server's answer has its own result; kLogonFailure is a judgement on
// name and password, or of a mechanism that cannot tell.
struct SpnegoOutcome {
  HResult result = kOk;
  bool nothingSent = false;  // failed on this side, before the server heard of it
  GssContext context;        // on success; protects the messages to come when layers were asked for
};

// With a ticket that is at hand. channelBinding says in which TLS connection it is done; empty: in
// none.
SpnegoOutcome BindWithTicket(const KerberosCredentials& credentials, MessageLayers layers,
                             const std::string& channelBinding, const BindExchange& exchange,
                             ExtendedError& error);

// With the identity of the process, its ticket cache and Kerberos configuration, whose servers are
// asked within libkrb5's own limits. The first of the service names ("ldap/dc1.example.test") that
// its realm knows is used; realm may be empty. channelBinding as for BindWithTicket.
// kNoLogonSession when the process has no ticket; other causes as KerberosFailure has them.
SpnegoOutcome BindAsProcess(const std::vector<std::string>& services, const std::string& realm,
                            MessageLayers layers, const std::string& channelBinding,
                            const BindExchange& exchange, ExtendedError& error);

// With a name and a password by NTLM, signed and sealed. kTimedOut when winbind, which the
// mechanism asks first, keeps silent; observer may be null.
SpnegoOutcome BindWithNtlm(const LogonName& name, const SecretText& password,
                           const std::string& host, Deadline deadline, CallObserver* observer,
                           const BindExchange& exchange, ExtendedError& error);

}  // namespace zorvan::platform::posix
