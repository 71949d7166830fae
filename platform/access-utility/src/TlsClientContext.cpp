#include <Poco/Net/Context.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>
#include <zebutil/TlsClientContext.h>

#include "TlsClientContextImpl.h"

namespace zebutil {

namespace {

constexpr int kMaximumChainLength = 9;

// Without this, OpenSSL would register an exit handler at the first connection. Such a late handler runs
// early, while connections are still in use: their owner may be an older static object, or one that is never
// destroyed. The call has no effect if the application has used OpenSSL before; its exit handler is then old
// enough to run late.
void keepOpenSslToTheEndOfTheProcess() {
    OPENSSL_init_ssl(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

// Where a context keeps the reason why it refused a certificate.
int reasonIndex() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

int noteReason(int isGood, X509_STORE_CTX* verification) {
    if (isGood != 1) {
        const auto* const connection = static_cast<const SSL*>(
            X509_STORE_CTX_get_ex_data(verification, SSL_get_ex_data_X509_STORE_CTX_idx()));
        auto* const reason =
            static_cast<std::atomic<int>*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), reasonIndex()));
        *reason = X509_STORE_CTX_get_error(verification);
    }
    return isGood;
}

Poco::Net::Context::Ptr createContext(const std::string& host) {
    keepOpenSslToTheEndOfTheProcess();
    Poco::Net::Context::Ptr context(new Poco::Net::Context(
        Poco::Net::Context::TLS_CLIENT_USE, "", "", "", Poco::Net::Context::VERIFY_STRICT,
        kMaximumChainLength, true, "ECDHE+AESGCM:ECDHE+CHACHA20:!aNULL:!eNULL"));
    context->requireMinimumProtocol(Poco::Net::Context::PROTO_TLSV1_2);
    // OpenSSL verifies the chain and the host, including IP addresses, for every connection that is made from
    // this context. Poco's own check of the host is turned off, because it knows only names.
    context->enableExtendedCertificateVerification(false);
    SSL_CTX* const native = context->sslContext();
    SSL_CTX_set_verify(native, SSL_VERIFY_PEER, noteReason);
    X509_VERIFY_PARAM* const parameters = SSL_CTX_get0_param(native);
    X509_VERIFY_PARAM_set_hostflags(parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) != 1) {
        X509_VERIFY_PARAM_set1_host(parameters, host.c_str(), host.size());
    }
    return context;
}

}  // namespace

TlsClientContext::Impl::Impl(const std::string& serverHost)
    : host(serverHost), context(createContext(serverHost)) {
    SSL_CTX_set_ex_data(context->sslContext(), reasonIndex(), &reason);
}

TlsClientContext::TlsClientContext(const std::string& host) : impl_(std::make_unique<Impl>(host)) {}

TlsClientContext::~TlsClientContext() = default;

std::string TlsClientContext::takeRefusal() {
    const int reason = impl_->reason.exchange(X509_V_OK);
    return reason == X509_V_OK ? ""
                               : "the certificate of \"" + impl_->host +
                                     "\" was refused: " + X509_verify_cert_error_string(reason);
}

ssl_ctx_st* TlsClientContext::native() const {
    return impl_->context->sslContext();
}

}  // namespace zebutil
