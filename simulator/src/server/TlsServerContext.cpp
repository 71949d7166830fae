#include "TlsServerContext.h"

#include <boost/asio/buffer.hpp>
#include <stdexcept>

#include "scenario/InputFile.h"

namespace zebbussim {

namespace asio = boost::asio;
namespace ssl = boost::asio::ssl;

namespace {

[[noreturn]] void refuse(const std::string& what, const std::string& file,
                         const boost::system::error_code& error) {
    throw std::runtime_error("Cannot use the " + what + " " + file + ": " + error.message());
}

}  // namespace

ssl::context createTlsServerContext(const std::string& certificateFile, const std::string& keyFile) {
    ssl::context context(ssl::context::tls_server);
    context.set_options(ssl::context::default_workarounds | ssl::context::no_tlsv1 |
                        ssl::context::no_tlsv1_1);
    boost::system::error_code error;
    // Without the callback OpenSSL would ask for a password at the terminal.
    context.set_password_callback([](std::size_t, ssl::context::password_purpose) { return ""; }, error);
    context.use_certificate_chain(asio::buffer(readInputFile("TLS certificate", certificateFile)), error);
    if (error) {
        refuse("TLS certificate", certificateFile, error);
    }
    context.use_private_key(asio::buffer(readInputFile("TLS key", keyFile)), ssl::context::pem, error);
    if (error) {
        refuse("TLS key", keyFile, error);
    }
    return context;
}

}  // namespace zebbussim
