#include "WebsocketManager.h"

#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <zeb/ZebException.h>

#include <algorithm>
#include <boost/asio/connect.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

namespace zeb {

namespace {

namespace asio = boost::asio;
namespace websocket = boost::beast::websocket;
using asio::ip::tcp;

constexpr const char* kSubProtocol = "zeb.v1";
constexpr std::size_t kMaximumMessageSize = std::size_t{1} * 1024 * 1024;
constexpr std::size_t kKeptBufferSize = std::size_t{64} * 1024;
constexpr std::chrono::seconds kConnectTimeLimit{5};
// How long a peer may take to answer a close, and how long the end of the connection is then overdue at the
// most.
constexpr std::chrono::seconds kCloseTimeLimit{1};

// Finds a dead peer where no watchdog does: silent for 30 s, then five probes 5 s apart.
constexpr int kKeepAliveIdleSeconds = 30;
constexpr int kKeepAliveIntervalSeconds = 5;
constexpr int kKeepAliveProbes = 5;
constexpr int kUnacknowledgedMilliseconds = 30'000;

void setSocketOptions(TransportStream::Socket& socket) {
    // A connection without one of these still works.
    const auto set = [&socket](int level, int name, int value) {
        static_cast<void>(::setsockopt(socket.native_handle(), level, name, &value, sizeof value));
    };
    set(IPPROTO_TCP, TCP_NODELAY, 1);
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
    set(IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
    set(IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
    set(IPPROTO_TCP, TCP_USER_TIMEOUT, kUnacknowledgedMilliseconds);
}

// What the user holds. The record stays with the connection; the connection may end before.
class WebsocketSubscription : public Subscription {
 public:
    WebsocketSubscription(std::weak_ptr<WebsocketManager> manager, SubscriptionRecord::Hold record)
        : manager_(std::move(manager)), record_(std::move(record)) {}
    ~WebsocketSubscription() override { WebsocketSubscription::unsubscribe(); }
    WebsocketSubscription(const WebsocketSubscription&) = delete;
    WebsocketSubscription& operator=(const WebsocketSubscription&) = delete;

    std::string getUuidOfElement() const override { return record_->uuid; }

    void unsubscribe() override {
        record_->active = false;
        if (const auto manager = manager_.lock()) {
            manager->unsubscribe(record_);
        }
    }

 private:
    const std::weak_ptr<WebsocketManager> manager_;
    const SubscriptionRecord::Hold record_;
};

}  // namespace

WebsocketManager::WebsocketManager(std::shared_ptr<IoThread> ioThread, const WebsocketSettings& settings,
                                   const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                                   std::shared_ptr<zebutil::ILogger> logger, WebsocketObserver observer)
    : ioThread_(std::move(ioThread)),
      settings_(settings),
      address_(WebsocketAddress::parse(settings.uri)),
      executor_(executor),
      logger_(std::move(logger)),
      observer_(std::move(observer)),
      router_(settings.uri, logger_, *this),
      stream_(ioThread_->context(), [this] { onAllReadUsed(); }),
      resolver_(ioThread_->context()),
      timer_(ioThread_->context()) {}

WebsocketManager::~WebsocketManager() = default;

// ---------------------------------------------------------------------------------------------- any thread

void WebsocketManager::start() {
    post([](WebsocketManager& self) { self.connectAfterDelay(); });
}

std::shared_ptr<Subscription> WebsocketManager::subscribe(const std::string& path, const std::string& uuid,
                                                          DataHandler handler, EndedHandler ended) {
    if (!isOpen_) {
        throw ZebException("cannot subscribe to " + path + ": the connection is not open", settings_.uri);
    }
    // What a handler holds is the user's: whoever lets go last, it is not released on the I/O thread.
    SubscriptionRecord::Hold record(new SubscriptionRecord(
        path, uuid, std::move(handler), std::move(ended),
        [ioThread = std::weak_ptr<IoThread>(ioThread_)](std::unique_ptr<SubscriptionRecord> last) {
            IoThread::releaseElsewhere(ioThread, std::move(last));
        }));
    post([record](WebsocketManager& self) {
        if (!self.hasEnded_) {
            self.router_.subscribe(record);
        }
    });
    return std::make_shared<WebsocketSubscription>(weak_from_this(), std::move(record));
}

void WebsocketManager::unsubscribe(const SubscriptionRecord::Hold& record) {
    post([record](WebsocketManager& self) { self.router_.unsubscribe(record); });
}

void WebsocketManager::unsubscribeFromAll() {
    post([](WebsocketManager& self) { self.router_.unsubscribeFromAll(); });
    // The records are the I/O thread's; that no new call begins has to hold when this returns.
    ioThread_->waitForPosted();
}

void WebsocketManager::close(const std::string& reason) {
    post([reason](WebsocketManager& self) { self.closeWith(CloseCode::going_away, reason); });
}

void WebsocketManager::stop() {
    isStopped_ = true;
    isOpen_ = false;
    post([](WebsocketManager& self) { self.closeWith(CloseCode::going_away, "stopped"); });
}

template <typename Function>
void WebsocketManager::post(Function function) {
    asio::post(ioThread_->context(),
               [self = shared_from_this(), function = std::move(function)] { function(*self); });
}

void WebsocketManager::execute(std::function<void()> function, const char* name) {
    announce();  // what was received before comes before
    addTask(std::move(function), name);
}

void WebsocketManager::addTask(std::function<void()> function, const char* name) {
    if (const auto executor = executor_.lock()) {
        executor->add(std::move(function), name);
    }
}

// ---------------------------------------------------------------------------------------------- connecting

void WebsocketManager::connectAfterDelay() {
    if (settings_.connectDelay <= std::chrono::milliseconds(0)) {
        resolve();
        return;
    }
    timer_.expires_after(settings_.connectDelay);
    timer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
        if (!error && !self->hasEnded_) {
            self->resolve();
        }
    });
}

void WebsocketManager::resolve() {
    if (hasEnded_) {
        return;
    }
    timer_.expires_after(kConnectTimeLimit);
    timer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
        if (!error && !self->isOpen_ && !self->hasEnded_) {
            self->fail("no connection within 5 s");
        }
    });

    ErrorCode isNoAddress;
    const auto ipAddress = asio::ip::make_address(address_.host, isNoAddress);
    if (!isNoAddress) {
        // An address needs no look-up, which would cost a thread.
        const tcp::endpoint endpoint(ipAddress, static_cast<std::uint16_t>(std::stoul(address_.port)));
        connect(tcp::resolver::results_type::create(endpoint, address_.host, address_.port));
        return;
    }
    resolver_.async_resolve(
        address_.host, address_.port,
        [self = shared_from_this()](const ErrorCode& error, const tcp::resolver::results_type& endpoints) {
            if (error) {
                self->fail("host \"" + self->address_.host + "\": " + error.message());
            } else {
                self->connect(endpoints);
            }
        });
}

void WebsocketManager::connect(const tcp::resolver::results_type& endpoints) {
    if (hasEnded_) {
        return;
    }
    asio::async_connect(transport().socket(), endpoints,
                        [self = shared_from_this()](const ErrorCode& error, const tcp::endpoint&) {
                            self->onConnected(error);
                        });
}

void WebsocketManager::onConnected(const ErrorCode& error) {
    if (error) {
        fail("connect: " + error.message());
        return;
    }
    if (hasEnded_) {
        return;
    }
    setSocketOptions(transport().socket());
    if (address_.isSecure) {
        shakeHandsForTls();
    } else {
        upgrade();
    }
}

void WebsocketManager::shakeHandsForTls() {
    try {
        tls_ = std::make_unique<zebutil::TlsClientContext>(address_.host);
        SSL_CTX_up_ref(tls_->native());
        tlsContext_.emplace(tls_->native());
    } catch (const std::exception& exception) {
        fail(std::string("TLS: ") + exception.what());
        return;
    }
    transport().useTls(*tlsContext_);
    ErrorCode isName;
    asio::ip::make_address(address_.host, isName);
    if (isName) {
        SSL_set_tlsext_host_name(transport().tls()->native_handle(), address_.host.c_str());
    }
    transport().tls()->async_handshake(
        asio::ssl::stream_base::client,
        [self = shared_from_this()](const ErrorCode& error) { self->onTlsHandshake(error); });
}

void WebsocketManager::onTlsHandshake(const ErrorCode& error) {
    if (hasEnded_) {
        return;
    }
    if (error) {
        const std::string refusal = tls_->takeRefusal();
        if (!refusal.empty()) {
            fail(WebsocketEnd{"TLS: " + refusal, true});
        } else if (ERR_GET_REASON(static_cast<unsigned long>(error.value())) == SSL_R_WRONG_VERSION_NUMBER) {
            fail("TLS handshake: the server does not speak TLS (" + error.message() + ")");
        } else {
            fail("TLS handshake: " + error.message());
        }
        return;
    }
    upgrade();
}

void WebsocketManager::upgrade() {
    // No timer of the stream is armed while it is open: it would cost more than the reads it watches.
    // Connecting and the open connection are watched by timer_.
    stream_.set_option(websocket::stream_base::timeout{kCloseTimeLimit + kConnectTimeLimit,
                                                       websocket::stream_base::none(), false});
    stream_.set_option(websocket::stream_base::decorator([](websocket::request_type& request) {
        request.set(boost::beast::http::field::sec_websocket_protocol, kSubProtocol);
    }));
    stream_.read_message_max(kMaximumMessageSize);
    // What came before a ping or close does not wait until the answer to it has been taken.
    stream_.control_callback([this](websocket::frame_type, boost::beast::string_view) { announce(); });
    stream_.async_handshake(
        handshakeResponse_, address_.hostHeader, address_.target,
        [self = shared_from_this()](const ErrorCode& result) { self->onHandshake(result); });
}

void WebsocketManager::onHandshake(const ErrorCode& error) {
    if (hasEnded_) {
        return;
    }
    if (error == websocket::error::upgrade_declined) {
        fail("the server declined with HTTP status " + std::to_string(handshakeResponse_.result_int()));
        return;
    }
    if (error == boost::beast::http::error::end_of_stream) {
        const char* const guess = address_.isSecure ? "" : "; it may expect TLS (https)";
        fail(std::string("WebSocket handshake: the server closed the connection without an answer") + guess);
        return;
    }
    if (error) {
        fail("WebSocket handshake: " + error.message());
        return;
    }
    if (handshakeResponse_[boost::beast::http::field::sec_websocket_protocol] != kSubProtocol) {
        closeWith(CloseCode::protocol_error, "the server does not speak the sub-protocol zeb.v1");
        return;
    }
    open();
}

void WebsocketManager::open() {
    timer_.cancel();
    handshakeResponse_ = {};
    stream_.set_option(
        websocket::stream_base::timeout{kCloseTimeLimit, websocket::stream_base::none(), false});
    isOpen_ = !isStopped_;
    execute(std::exchange(observer_.opened, nullptr), "websocket opened");
    watch();
    readNext();
}

// ---------------------------------------------------------------------------------------------- receiving

void WebsocketManager::readNext() {
    // Part of a message is enough to complete: a large one that arrives slowly is a sign of life too.
    stream_.async_read_some(readBuffer_, 0, [self = shared_from_this()](const ErrorCode& error, std::size_t) {
        self->onRead(error);
    });
}

void WebsocketManager::onRead(const ErrorCode& error) {
    if (hasEnded_) {
        return;
    }
    if (error) {
        if (error == websocket::error::closed) {
            fail("closed by the server with code " + std::to_string(stream_.reason().code));
        } else {
            fail(error.message());
        }
        return;
    }
    if (stream_.is_message_done()) {
        if (!stream_.got_text()) {
            closeWith(CloseCode::unknown_data, "the server sent a binary message");
            return;
        }
        const auto received = readBuffer_.cdata();
        try {
            router_.route({static_cast<const char*>(received.data()), received.size()});
        } catch (const std::exception& exception) {
            // What it said is lost; a new connection brings the present state.
            closeWith(CloseCode::bad_payload, exception.what());
            return;
        }
        readBuffer_.clear();
        if (readBuffer_.capacity() > kKeptBufferSize) {
            readBuffer_.shrink_to_fit();
        }
    }
    if (hasEnded_) {
        return;
    }
    if (queue_.isFull()) {
        // TCP slows the sender until the executor has caught up.
        isPaused_ = true;
        announce();
        if (!queue_.hasRoom()) {
            return;  // deliver() reads on
        }
        isPaused_ = false;
    }
    readNext();
}

void WebsocketManager::enqueue(const SubscriptionRecord::Hold& record, std::string_view data) {
    queue_.push(record, data);
}

void WebsocketManager::onAllReadUsed() {
    lastInbound_ = Clock::now();
    announce();
}

// One wake-up for all that a read has brought: it costs more than the work on several notifications.
void WebsocketManager::announce() {
    if (queue_.handOver()) {
        addTask([self = shared_from_this()] { self->deliver(); }, "notifications");
    }
}

void WebsocketManager::resumeReading() {
    if (hasEnded_ || !isPaused_ || !queue_.hasRoom()) {
        return;
    }
    isPaused_ = false;
    lastInbound_ = Clock::now();  // nobody looked in between
    readNext();
}

// ------------------------------------------------------------------- delivering, on the executor thread

void WebsocketManager::deliver() {
    queue_.takeAll(batch_);
    const std::size_t bytes = batch_.bytes();
    batch_.deliverAll([this](const SubscriptionRecord& subscription, std::string_view data) {
        deliverOne(subscription, data);
        queue_.delivered();
        askToResumeReading();
    });
    queue_.released(bytes);
    askToResumeReading();
}

void WebsocketManager::askToResumeReading() {
    if (isPaused_ && queue_.hasRoom()) {
        post([](WebsocketManager& self) { self.resumeReading(); });
    }
}

void WebsocketManager::deliverOne(const SubscriptionRecord& subscription, std::string_view data) {
    if (!subscription.active || isStopped_) {
        return;
    }
    try {
        subscription.handler(data);
    } catch (const std::exception& exception) {
        logger_->error("task \"notification of " + subscription.path + "\" threw: " + exception.what());
    } catch (...) {
        logger_->error("task \"notification of " + subscription.path +
                       "\" threw something that is no std::exception");
    }
}

// ---------------------------------------------------------------------------------------------- sending

void WebsocketManager::send(std::string message) {
    outgoing_.push_back(std::move(message));
    if (outgoing_.size() == 1) {
        writeNext();
    }
}

void WebsocketManager::writeNext() {
    stream_.text(true);
    stream_.async_write(asio::buffer(outgoing_.front()),
                        [self = shared_from_this()](const ErrorCode& error, std::size_t) {
                            self->outgoing_.pop_front();
                            if (error) {
                                self->fail("send: " + error.message());
                            } else if (!self->outgoing_.empty() && !self->hasEnded_) {
                                self->writeNext();
                            }
                        });
}

// ---------------------------------------------------------------------------------------------- watching

void WebsocketManager::watch() {
    if (settings_.watchdogPingInterval <= std::chrono::milliseconds(0)) {
        return;
    }
    lastInbound_ = Clock::now();
    nextPing_ = lastInbound_ + settings_.watchdogPingInterval;
    onWatchdog();
}

void WebsocketManager::onWatchdog() {
    const auto now = Clock::now();
    if (isPaused_) {
        lastInbound_ = now;  // not reading is no silence of the peer
    }
    const auto lostAt = lastInbound_ + settings_.watchdogPongTimeout;
    if (settings_.watchdogPongTimeout > std::chrono::milliseconds(0) && now >= lostAt) {
        fail("nothing received for " + std::to_string(settings_.watchdogPongTimeout.count()) + " ms");
        return;
    }
    if (now >= nextPing_ && !isPinging_) {
        nextPing_ = now + settings_.watchdogPingInterval;
        isPinging_ = true;
        stream_.async_ping({}, [self = shared_from_this()](const ErrorCode& error) {
            self->isPinging_ = false;
            if (error) {
                self->fail("ping: " + error.message());
            }
        });
    }
    timer_.expires_at(lostAt > now ? std::min(nextPing_, lostAt) : nextPing_);
    timer_.async_wait([self = shared_from_this()](const ErrorCode& error) {
        if (!error && !self->hasEnded_) {
            self->onWatchdog();
        }
    });
}

// ---------------------------------------------------------------------------------------------- ending

void WebsocketManager::fail(const WebsocketEnd& reason) {
    if (!hasEnded_) {
        end(reason);
        closeSocket();
    }
}

void WebsocketManager::closeWith(CloseCode code, const std::string& reason) {
    if (hasEnded_) {
        return;
    }
    const bool canSay = stream_.is_open();
    end({reason});
    if (canSay) {
        stream_.async_close(code, [self = shared_from_this()](const ErrorCode&) { self->closeSocket(); });
    } else {
        closeSocket();
    }
}

void WebsocketManager::closeSocket() {
    ErrorCode ignored;
    transport().socket().close(ignored);
}

void WebsocketManager::end(const WebsocketEnd& reason) {
    hasEnded_ = true;
    isOpen_ = false;
    timer_.cancel();
    resolver_.cancel();
    // The handlers may hold objects of the user, which must not be released on this thread.
    execute(
        [closed = std::move(observer_.closed), subscriptions = router_.takeAll(),
         isStopped = isStopped_.load(), reason] {
            if (closed && !isStopped) {
                closed(reason);
            }
        },
        "websocket closed");
    observer_ = {};
}

void WebsocketManager::tellEnded(const SubscriptionRecord::Hold& record, const std::string& reason) {
    execute(
        [record, reason] {
            if (record->active.exchange(false) && record->ended) {
                record->ended(reason);
            }
        },
        "subscription ended by the server");
}

void WebsocketManager::release(std::vector<SubscriptionRecord::Hold> records) {
    execute([records = std::move(records)] {}, "subscriptions ended");
}

}  // namespace zeb
