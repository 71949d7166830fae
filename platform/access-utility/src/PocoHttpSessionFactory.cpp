#include <Poco/Buffer.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/SSLException.h>
#include <Poco/Net/SecureStreamSocket.h>
#include <Poco/Timespan.h>
#include <Poco/URI.h>
#include <zebutil/PocoHttpSessionFactory.h>
#include <zebutil/TlsClientContext.h>

#include <chrono>
#include <stdexcept>
#include <utility>

#include "TlsClientContextImpl.h"

namespace zebutil {

namespace {

// A caller waits five seconds for the outcome of a request. Connecting (including the TLS handshake) and
// sending must fail before that, and so must connecting plus the first wait for an answer.
const Poco::Timespan kConnectTimeLimit(2, 0);
const Poco::Timespan kSendTimeLimit(2, 0);
const Poco::Timespan kReceiveTimeLimit(2, 500'000);
const Poco::Timespan kKeepAlive(30, 0);

// Extends Poco's session in two ways: it reports why a certificate was refused, and it puts one time limit on
// connecting and the TLS handshake together, where Poco limits each wait for a byte separately.
class TlsSession : public Poco::Net::HTTPSClientSession {
 public:
    TlsSession(const std::string& host, Poco::UInt16 port, std::unique_ptr<TlsClientContext> tls,
               const Poco::Net::Context::Ptr& context)
        : HTTPSClientSession(host, port, context), tls_(std::move(tls)), context_(context) {}

 protected:
    void connect(const Poco::Net::SocketAddress& address) override {
        const auto end = std::chrono::steady_clock::now() +
                         std::chrono::microseconds(kConnectTimeLimit.totalMicroseconds());
        Poco::Net::StreamSocket plain;
        plain.connect(address, kConnectTimeLimit);
        plain.setNoDelay(true);
        plain.setSendTimeout(kSendTimeLimit);
        plain.setReceiveTimeout(kReceiveTimeLimit);
        // On a non-blocking socket the handshake is not done in one call, but step by step in shakeHands().
        plain.setBlocking(false);
        auto secure = Poco::Net::SecureStreamSocket::attach(plain, getHost(), context_);
        try {
            shakeHands(secure, end);
        } catch (const Poco::Net::SSLException&) {
            const std::string refusal = tls_->takeRefusal();
            if (refusal.empty()) {
                throw;
            }
            throw Poco::Net::CertificateValidationException(refusal);
        }
        plain.setBlocking(true);
        Poco::Buffer<char> leftOfTheLastConnection(0);
        drainBuffer(leftOfTheLastConnection);
        attachSocket(secure);
    }

 private:
    static void shakeHands(Poco::Net::SecureStreamSocket& secure, std::chrono::steady_clock::time_point end) {
        for (int result = secure.completeHandshake(); result <= 0; result = secure.completeHandshake()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::microseconds>(end - std::chrono::steady_clock::now());
            const auto mode = result == Poco::Net::SecureStreamSocket::ERR_SSL_WANT_WRITE
                                  ? Poco::Net::Socket::SELECT_WRITE
                                  : Poco::Net::Socket::SELECT_READ;
            if (left.count() <= 0 || !secure.poll(Poco::Timespan(left.count()), mode)) {
                throw Poco::TimeoutException("TLS handshake");
            }
        }
    }

    const std::unique_ptr<TlsClientContext> tls_;
    const Poco::Net::Context::Ptr context_;
};

}  // namespace

std::unique_ptr<Poco::Net::HTTPClientSession> PocoHttpSessionFactory::createSession(
    const std::string& baseUri) const {
    Poco::URI uri;
    try {
        uri = baseUri;
    } catch (const Poco::Exception& exception) {
        throw std::invalid_argument("\"" + baseUri + "\" is not a URI: " + exception.displayText());
    }
    const bool isSecure = uri.getScheme() == "https";
    if ((uri.getScheme() != "http" && !isSecure) || uri.getHost().empty()) {
        throw std::invalid_argument(
            "\"" + baseUri +
            "\" is not the base URI of a server: expected http://host:port or https://host:port");
    }
    std::unique_ptr<Poco::Net::HTTPClientSession> session;
    if (isSecure) {
        auto tls = std::make_unique<TlsClientContext>(uri.getHost());
        const Poco::Net::Context::Ptr context = tls->impl_->context;
        session = std::make_unique<TlsSession>(uri.getHost(), uri.getPort(), std::move(tls), context);
    } else {
        session = std::make_unique<Poco::Net::HTTPClientSession>(uri.getHost(), uri.getPort());
    }
    session->setTimeout(kConnectTimeLimit, kSendTimeLimit, kReceiveTimeLimit);
    session->setKeepAlive(true);
    session->setKeepAliveTimeout(kKeepAlive);
    return session;
}

}  // namespace zebutil
