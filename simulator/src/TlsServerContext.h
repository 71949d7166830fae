#pragma once

#include <boost/asio/ssl/context.hpp>
#include <string>

namespace zebbussim {

/// How the bus does TLS: version 1.2 at least, with the certificate (and the chain below its authority) and
/// the private key of two PEM files. Throws `std::runtime_error` when one of them cannot be used.
boost::asio::ssl::context createTlsServerContext(const std::string& certificateFile,
                                                 const std::string& keyFile);

}  // namespace zebbussim
