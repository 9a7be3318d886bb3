// What an LDAP connection is made of, for the files that open it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/call_conditions.h"
#include "platform/posix/handles.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/message_gate.h"
#include "platform/posix/sealed_transport.h"
#include "platform/posix/socket_transport.h"
#include "platform/posix/tls_transport.h"

namespace zorvan::platform::posix {

struct ConnectionState {
  ConnectionState(FileDescriptor descriptor, const CallConditions& callConditions, Deadline ends)
      : socket(std::move(descriptor)),
        conditions(callConditions),
        openingEnds(ends),
        patience_(OpeningPatience()) {}

  // Waits for the next message of a request as LdapConnection::AwaitMessage does: until openingEnds
  // while the connection is being opened, later within the idle limit.
  HResult Await(int messageId, int all, LDAPMessage*& message);

  // For every wait between looking up the server's name and the end of its log-on.
  Patience OpeningPatience() const { return {openingEnds, conditions.observer}; }

  bool IsBroken() const { return broken || socket.failed(); }

  SocketTransport socket;
  std::optional<TlsTransport> tls;
  std::optional<SealedTransport> sealed;
  MessageGate gate;
  LdapHandle handle;  // goes before the transports that it uses
  ServerNames names;
  // Who has proved to be the server: a Kerberos realm or the holder of a certificate. Empty:
  // nobody.
  std::string provenBy;
  std::string forestKey;
  CallConditions conditions;
  Deadline openingEnds;                    // the latest moment for the end of the log-on
  bool opened = false;                     // the log-on is over
  Deadline requestsEnd = Deadline::max();  // of LimitRequests
  Authentication authentication = Authentication::kAnonymous;
  bool broken = false;
  std::size_t messageSize = 0;  // of what the latest wait gave
  ExtendedError failure;        // why the latest wait failed, in words where there are any

 private:
  HResult TakeArrived(int messageId, int all, LDAPMessage*& message);
  bool HasMoreToRead() const;
  HResult GiveUp(HResult ended);

  Patience patience_;  // of all waits, so that the caller is asked in time also over short ones
};

// In words: the caller ended its call (kCancelled), or it has lasted too long (kTimedOut).
ExtendedError EndOfCall(HResult ended);

// The failure of a server that cannot be used, with the reason in words.
HResult ServerDown(std::string_view reason, ExtendedError& error);

}  // namespace zorvan::platform::posix
