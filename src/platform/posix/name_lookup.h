// The addresses of a host, within a time limit.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/posix/handles.h"
#include "platform/posix/patience.h"

namespace zorvan::platform::posix {

// getaddrinfo, but for tests.
using Resolver = std::function<int(const char* host, const char* port, const addrinfo* hints,
                                   addrinfo** addresses)>;

// Empty on failure, and reason says in words what was wrong. An address is taken as it is, without
// asking anybody.
AddressList LookUp(const std::string& host, std::uint16_t port, Patience patience,
                   std::string& reason, const Resolver& resolver = getaddrinfo);

// Runs a function to its end in a thread whose resolver knows no name server.
void RunWithoutNameServers(const std::function<void()>& function);

}  // namespace zorvan::platform::posix
