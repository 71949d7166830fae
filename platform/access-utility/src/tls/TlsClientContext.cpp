#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <zebutil/BaseUri.h>
#include <zebutil/TlsClientContext.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "Pem.h"

namespace zebutil {

namespace {

using Connection = std::unique_ptr<SSL, OpenSslFree<SSL_free>>;

bool isIpAddress(const std::string& host) {
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return ::inet_pton(AF_INET, host.c_str(), address.data()) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), address.data()) == 1;
}

// OpenSSL takes an empty name for "any", and ".example" for every name below it.
void requireVerifiable(const std::string& host) {
    const bool isName =
        !host.empty() && host.front() != '.' && std::all_of(host.begin(), host.end(), [](char character) {
            return character > ' ' && character <= '~' && character != '*';
        });
    if (!isName) {
        throw std::invalid_argument("no certificate can be valid for the host " + readableAddress(host));
    }
}

}  // namespace

class TlsClientContext::Impl {
 public:
    Impl(std::string serverHost, std::shared_ptr<ssl_ctx_st> shared)
        : host(std::move(serverHost)), context(std::move(shared)) {
        requireVerifiable(host);
    }

    const std::string host;
    const std::shared_ptr<ssl_ctx_st> context;
    Connection connection;  ///< null until it is prepared
};

TlsClientContext::TlsClientContext(const std::string& host, std::shared_ptr<ssl_ctx_st> context)
    : impl_(std::make_unique<Impl>(host, std::move(context))) {}

TlsClientContext::~TlsClientContext() = default;

ssl_ctx_st* TlsClientContext::native() const {
    return impl_->context.get();
}

void TlsClientContext::prepare(ssl_st* connection) {
    const std::string& host = impl_->host;
    X509_VERIFY_PARAM* const parameters = SSL_get0_param(connection);
    // A certificate's common name is not a host: only alternative names count.
    X509_VERIFY_PARAM_set_hostflags(
        parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    ERR_clear_error();
    const bool isPrepared = isIpAddress(host)
                                ? X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1
                                : X509_VERIFY_PARAM_set1_host(parameters, host.data(), host.size()) == 1 &&
                                      SSL_set_tlsext_host_name(connection, host.c_str()) == 1;
    if (!isPrepared) {
        throw std::runtime_error("no certificate can be verified for the host " + readableAddress(host) +
                                 ": " + openSslFailure());
    }
    SSL_up_ref(connection);
    impl_->connection.reset(connection);
}

std::string TlsClientContext::takeRefusal() {
    const long reason = impl_->connection ? SSL_get_verify_result(impl_->connection.get()) : X509_V_OK;
    return reason == X509_V_OK ? ""
                               : "the certificate of \"" + impl_->host +
                                     "\" was refused: " + X509_verify_cert_error_string(reason);
}

}  // namespace zebutil
