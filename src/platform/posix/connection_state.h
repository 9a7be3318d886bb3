// What an LDAP connection is made of, for the files that open it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "platform/posix/call_conditions.h"
#include "platform/posix/handles.h"
#include "platform/posix/ldap_connection.h"
#include "platform/posix/sealed_transport.h"
#include "platform/posix/socket_transport.h"

namespace zorvan::platform::posix {

struct ConnectionState {
  ConnectionState(FileDescriptor descriptor, const CallConditions& callConditions)
      : socket(std::move(descriptor)), conditions(callConditions) {}

  // Waits for the next message of a request as LdapConnection::AwaitMessage does, within a limit of
  // its own.
  HResult Await(int messageId, int all, std::chrono::milliseconds limit, LDAPMessage*& message);

  SocketTransport socket;
  std::optional<SealedTransport> sealed;
  LdapHandle handle;  // goes before the transports that it uses
  ServerNames names;
  // Who has proved to be the server: a Kerberos realm or the holder of a certificate. Empty:
  // nobody.
  std::string provenBy;
  std::string forestKey;
  CallConditions conditions;
  Authentication authentication = Authentication::kAnonymous;
  bool broken = false;
};

// The failure of a server that cannot be used, with the reason in words.
HResult ServerDown(std::string_view reason, ExtendedError& error);

}  // namespace zorvan::platform::posix
