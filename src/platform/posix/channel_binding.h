// What ties a log-on to the TLS connection that it is made in.
#pragma once

#include <string>
#include <string_view>

namespace zorvan::platform::posix {

// The binding "tls-server-end-point" of RFC 5929, with its prefix, for a server's certificate in
// DER. Empty for a certificate whose signature has no hash of its own: the kind is not defined for
// it.
std::string ServerEndPointBinding(std::string_view certificate);

}  // namespace zorvan::platform::posix
