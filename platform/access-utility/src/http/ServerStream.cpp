#include "ServerStream.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <climits>
#include <utility>

namespace zebutil {

namespace {

using Kind = TransportError::Kind;

// A server sends a few session tickets after the handshake.
constexpr int kMostQuietRecords = 16;

// The same failure, with the step in which it happened.
TransportError in(const std::string& step, const TransportError& error) {
    return {error.kind(), error.kind() == Kind::Cancelled ? error.what() : step + ": " + error.what()};
}

}  // namespace

ServerStream::ServerStream(BaseUri server, std::string service)
    : server_(std::move(server)), service_(std::move(service)) {}

ServerStream::~ServerStream() {
    close();
}

void ServerStream::open(const std::string& address, Deadline deadline) {
    try {
        socket_.connect(address, server_.port, deadline);
    } catch (const TransportError& error) {
        close();
        throw in("connect to " + address, error);
    }
    if (!server_.isSecure) {
        return;
    }
    try {
        shakeHands(deadline);
    } catch (const TransportError& error) {
        const std::string refusal = tls_ ? tls_->takeRefusal() : "";
        close();
        throw in("TLS handshake", refusal.empty() ? error : TransportError(Kind::Other, refusal));
    } catch (const std::exception& exception) {
        close();
        throw TransportError(Kind::Other, std::string("TLS: ") + exception.what());
    }
}

void ServerStream::shakeHands(Deadline deadline) {
    const auto answer = tlsContext_.get(service_, deadline);
    if (!answer) {
        throw tlsContext_.isCancelled()
            ? TransportError(Kind::Cancelled, "cancelled: the service is disconnected or the client stops")
            : TransportError(Kind::Late, "its files could not be read within the time limit");
    }
    if (!answer->context) {
        throw std::runtime_error(answer->failure);
    }
    tls_ = std::make_unique<TlsClientContext>(server_.name(), answer->context);
    connection_.reset(SSL_new(tls_->native()));
    BIO* const bio = connection_ ? BIO_new(bioMethod()) : nullptr;
    if (bio == nullptr) {
        throw std::runtime_error(openSslFailure());
    }
    BIO_set_data(bio, this);
    BIO_set_init(bio, 1);
    SSL_set_bio(connection_.get(), bio, bio);
    SSL_set_mode(connection_.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                                        SSL_MODE_RELEASE_BUFFERS);
    // Returns after each record, so that records without data cannot keep it beyond the deadline.
    SSL_clear_mode(connection_.get(), SSL_MODE_AUTO_RETRY);
    tls_->prepare(connection_.get());
    if (complete([this] { return SSL_connect(connection_.get()); }, deadline) == 0) {
        throw TransportError(Kind::Ended, "the server closed the connection");
    }
}

void ServerStream::close() {
    const bool isOfThisProcess = process_ == ::getpid();
    if (connection_ && isOfThisProcess && !failure_ && socket_.isOpen() &&
        SSL_is_init_finished(connection_.get()) == 1) {
        // Says goodbye, but does not wait for an answer. In a forked child it would end the parent's
        // connection.
        static_cast<void>(SSL_shutdown(connection_.get()));
        ERR_clear_error();
    }
    connection_.reset();
    tls_.reset();
    failure_ = nullptr;
    isAtEnd_ = false;
    socket_.close();
}

bool ServerStream::isQuiet() {
    char byte = 0;
    if (!connection_) {
        try {
            return socket_.tryReceive(&byte, 1) < 0;
        } catch (const TransportError&) {
            return false;
        }
    }
    // What arrives for TLS alone, such as a session ticket, does not count.
    for (int record = 0; record < kMostQuietRecords; ++record) {
        ERR_clear_error();
        isDrained_ = false;
        const int result = SSL_read(connection_.get(), &byte, 1);
        if (result > 0 || SSL_get_error(connection_.get(), result) != SSL_ERROR_WANT_READ) {
            return false;
        }
        if (isDrained_) {
            return true;
        }
    }
    return false;
}

void ServerStream::send(std::string_view bytes, Deadline deadline) {
    while (!bytes.empty()) {
        int count = 0;
        if (connection_) {
            const auto size = static_cast<int>(std::min<std::size_t>(bytes.size(), INT_MAX));
            count = complete([&] { return SSL_write(connection_.get(), bytes.data(), size); }, deadline);
            if (count == 0) {
                throw TransportError(Kind::Ended, "the server closed the connection");
            }
        } else {
            count = socket_.trySend(bytes.data(), bytes.size());
            if (count < 0) {
                socket_.waitToSend(deadline);
                continue;
            }
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::size_t ServerStream::receive(char* data, std::size_t size, Deadline deadline) {
    if (connection_) {
        const auto limit = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
        return static_cast<std::size_t>(
            complete([&] { return SSL_read(connection_.get(), data, limit); }, deadline));
    }
    for (;;) {
        // First waits, so that bytes that arrive without end cannot keep it beyond the deadline.
        socket_.waitToReceive(deadline);
        const int count = socket_.tryReceive(data, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
    }
}

template <typename Operation>
int ServerStream::complete(Operation operation, Deadline deadline) {
    for (;;) {
        if (Deadline::clock::now() >= deadline) {
            throw TransportError(Kind::Late, "the time limit is over");
        }
        ERR_clear_error();
        const int result = operation();
        if (result > 0) {
            return result;
        }
        if (failure_) {
            std::rethrow_exception(failure_);
        }
        switch (SSL_get_error(connection_.get(), result)) {
            case SSL_ERROR_WANT_READ:
                socket_.waitToReceive(deadline);
                break;
            case SSL_ERROR_WANT_WRITE:
                socket_.waitToSend(deadline);
                break;
            case SSL_ERROR_ZERO_RETURN:
                return 0;
            default:
                failInTls();
        }
    }
}

void ServerStream::failInTls() {
    const int reason = ERR_GET_REASON(ERR_peek_last_error());
    const std::string text = openSslFailure();
    if (isAtEnd_) {
        // Without TLS's own end, nobody knows whether the server has ended the connection.
        throw TransportError(Kind::Reset, "the connection was cut off");
    }
    throw TransportError(Kind::Other, reason == SSL_R_WRONG_VERSION_NUMBER
                                          ? "the server does not speak TLS (" + text + ")"
                                          : text);
}

const bio_method_st* ServerStream::bioMethod() {
    // Never destroyed, like the contexts that use it.
    static BIO_METHOD* const method = [] {
        BIO_METHOD* const made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "zebutil socket");
        if (made != nullptr) {
            BIO_meth_set_read(made, readForTls);
            BIO_meth_set_write(made, writeForTls);
            BIO_meth_set_ctrl(made, controlForTls);
        }
        return made;
    }();
    return method;
}

int ServerStream::readForTls(bio_st* bio, char* data, int size) {
    auto* const self = static_cast<ServerStream*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    try {
        const int count = self->socket_.tryReceive(data, static_cast<std::size_t>(size));
        if (count < 0) {
            BIO_set_retry_read(bio);
        }
        self->isDrained_ = count < 0;
        self->isAtEnd_ = count == 0;
        return count;
    } catch (...) {  // nothing may pass through OpenSSL, not even a lack of memory
        self->failure_ = std::current_exception();
        return -1;
    }
}

int ServerStream::writeForTls(bio_st* bio, const char* data, int size) {
    auto* const self = static_cast<ServerStream*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    try {
        const int count = self->socket_.trySend(data, static_cast<std::size_t>(size));
        if (count < 0) {
            BIO_set_retry_write(bio);
        }
        return count;
    } catch (...) {  // nothing may pass through OpenSSL, not even a lack of memory
        self->failure_ = std::current_exception();
        return -1;
    }
}

long ServerStream::controlForTls(bio_st* bio, int command, long /*number*/, void* /*pointer*/) {
    switch (command) {
        case BIO_CTRL_FLUSH:
            return 1;
        case BIO_CTRL_EOF:
            return static_cast<ServerStream*>(BIO_get_data(bio))->isAtEnd_ ? 1 : 0;
        default:
            return 0;
    }
}

}  // namespace zebutil
