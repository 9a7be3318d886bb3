// Connecting by TCP within a time limit.
//
// All addresses of a name are tried, a new one every quarter of a second while the earlier ones
// keep silent, so that one dead address does not use up the limit, which holds for looking up the
// name too. Sockets come back connected and non-blocking, with keep-alive, without delay of small
// packets, closed on exec.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/patience.h"

namespace zorvan::platform::posix {

// The address of one side of a connection, with its port.
struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = 0;
};

// On failure the descriptor is empty and reason says in words what was wrong.
FileDescriptor ConnectTcp(const std::string& host, std::uint16_t port, Patience patience,
                          std::string& reason);
FileDescriptor ConnectTcp(const SocketAddress& address, Patience patience, std::string& reason);

// The other side of a connection, with another port.
SocketAddress PeerAddress(int descriptor, std::uint16_t port);

// Sends a message behind its length in four bytes and receives one that comes the same way, as a
// key distribution centre speaks over TCP. False with the reason when that fails or patience
// ends; what is longer than limit is no answer.
bool ExchangeFramed(int descriptor, const void* request, std::size_t size, std::size_t limit,
                    Patience patience, std::string& reply, std::string& reason);

// Waits until the descriptor is ready for the events of poll. Returns what it is ready for, zero
// when patience ends.
short AwaitDescriptor(int descriptor, short events, Patience patience);

}  // namespace zorvan::platform::posix
