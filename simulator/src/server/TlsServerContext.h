#pragma once

#include <boost/asio/ssl/context.hpp>
#include <string>

namespace zebbussim {

/// Creates the TLS context of the bus: TLS 1.2 or later, with the certificate (and its intermediate
/// certificates) and the private key from two PEM files. Throws `std::runtime_error` if a file cannot be
/// used.
boost::asio::ssl::context createTlsServerContext(const std::string& certificateFile,
                                                 const std::string& keyFile);

}  // namespace zebbussim
