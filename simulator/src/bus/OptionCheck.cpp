#include "OptionCheck.h"

#include <boost/asio/ip/address.hpp>
#include <stdexcept>
#include <string>

#include "LibraryErrors.h"
#include "http/RequestTarget.h"
#include "json/Json.h"

namespace zebbussim {

namespace {

void requireHostName(const std::string& name) {
    constexpr const char* kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
    if (name.empty() || name.find_first_not_of(kCharacters) != std::string::npos) {
        throw std::invalid_argument("The host name " + excerpt(name) +
                                    " must have letters, digits, \"-\", \"_\" and \".\" only, and no port");
    }
}

}  // namespace

void checkOptions(const BusSimulator::Options& options) {
    boost::system::error_code error;
    boost::asio::ip::make_address(options.address, error);
    if (error) {
        throw std::invalid_argument("The address " + excerpt(options.address) +
                                    " is not an IP address, such as 127.0.0.1 or ::1");
    }
    if (options.tlsCertificateFile.empty() != options.tlsKeyFile.empty()) {
        throw std::invalid_argument(options.tlsKeyFile.empty()
                                        ? "A TLS certificate without the file of its key"
                                        : "A TLS key without the file of its certificate");
    }
    for (const std::string& name : options.hostNames) {
        requireHostName(name);
    }
    withLibraryErrors([&] { checkedBasePath(options.basePath); });
}

}  // namespace zebbussim
