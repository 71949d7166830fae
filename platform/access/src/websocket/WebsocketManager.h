#pragma once

#include <zeb/IWebsocketManager.h>
#include <zeb/IWebsocketManagerFactory.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/TlsClientContext.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "NotificationBatch.h"
#include "NotificationQueue.h"
#include "SubscriptionRecord.h"
#include "SubscriptionRouter.h"
#include "TransportStream.h"
#include "WebsocketAddress.h"
#include "io/IoThread.h"

namespace zeb {

/// One WebSocket from its first attempt to connect to its end. Everything but the public functions and
/// deliver() runs on the I/O thread, which therefore needs no lock; deliver() runs on the executor thread.
/// Keeps itself alive while an operation of its socket is under way.
///
/// The road of a notification: onRead() takes the frame from the socket, the router finds its subscription in
/// the envelope, enqueue() queues the payload, announce() wakes the executor up when the burst is over, and
/// deliver() hands the payload to the subscription's handler.
class WebsocketManager : public IWebsocketManager,
                         public std::enable_shared_from_this<WebsocketManager>,
                         private SubscriptionRouter::Connection {
 public:
    /// @throws ZebException when the URI cannot be used
    WebsocketManager(std::shared_ptr<IoThread> ioThread, const WebsocketSettings& settings,
                     const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                     std::shared_ptr<zebutil::ILogger> logger, WebsocketObserver observer);
    ~WebsocketManager() override;

    /// Begins to connect.
    void start();

    std::shared_ptr<Subscription> subscribe(const std::string& path, const std::string& uuid,
                                            DataHandler handler, EndedHandler ended) override;
    void unsubscribeFromAll() override;
    void close(const std::string& reason) override;
    void stop() override;

    /// Ends one subscription; what Subscription::unsubscribe() does.
    void unsubscribe(const SubscriptionRecord::Hold& record);

 private:
    using ErrorCode = boost::beast::error_code;
    using Clock = std::chrono::steady_clock;
    using Stream = boost::beast::websocket::stream<TransportStream>;
    using CloseCode = boost::beast::websocket::close_code;

    // Connecting.
    void connectAfterDelay();
    void resolve();
    void connect(const boost::asio::ip::tcp::resolver::results_type& endpoints);
    void onConnected(const ErrorCode& error);
    void shakeHandsForTls();
    void onTlsHandshake(const ErrorCode& error);
    void upgrade();
    void onHandshake(const ErrorCode& error);
    void open();

    // Receiving.
    void readNext();
    void onRead(const ErrorCode& error);
    void enqueue(const SubscriptionRecord::Hold& record, std::string_view data) override;
    void onAllReadUsed();
    void announce();
    void resumeReading();

    // Delivering, on the executor thread.
    void deliver();
    void askToResumeReading();
    void deliverOne(const SubscriptionRecord& subscription, std::string_view data);

    // Sending.
    void send(std::string message) override;
    void writeNext();

    // Watching.
    void watch();
    void onWatchdog();

    // Ending.
    void fail(const WebsocketEnd& reason);
    void fail(const std::string& reason) { fail(WebsocketEnd{reason}); }
    void closeWith(CloseCode code, const std::string& reason);
    void end(const WebsocketEnd& reason);
    void closeSocket();
    TransportStream& transport() { return stream_.next_layer(); }
    void tellEnded(const SubscriptionRecord::Hold& record, const std::string& reason) override;
    void release(std::vector<SubscriptionRecord::Hold> records) override;

    template <typename Function>
    void post(Function function);
    void execute(std::function<void()> function, const char* name);
    void addTask(std::function<void()> function, const char* name);

    const std::shared_ptr<IoThread> ioThread_;
    const WebsocketSettings settings_;
    const WebsocketAddress address_;
    // Weak, since tasks of the executor hold the manager.
    const std::weak_ptr<zebutil::ITaskExecutor> executor_;
    const std::shared_ptr<zebutil::ILogger> logger_;

    // For every thread.
    std::atomic<bool> isOpen_ = false;
    std::atomic<bool> isStopped_ = false;  ///< nothing may be delivered any more
    std::atomic<bool> isPaused_ = false;   ///< written on the I/O thread only
    NotificationQueue queue_;

    // Of the executor thread alone.
    NotificationBatch batch_;

    // Of the I/O thread alone.
    WebsocketObserver observer_;
    SubscriptionRouter router_;
    bool hasEnded_ = false;
    std::unique_ptr<zebutil::TlsClientContext> tls_;       ///< null without TLS
    std::optional<boost::asio::ssl::context> tlsContext_;  ///< that of `tls_`; outlives the stream
    Stream stream_;
    boost::asio::ip::tcp::resolver resolver_;
    boost::asio::steady_timer timer_;  ///< delay, then time limit of connecting, then watchdog
    boost::beast::websocket::response_type handshakeResponse_;
    boost::beast::flat_buffer readBuffer_;
    std::deque<std::string> outgoing_;  ///< the first is being written
    Clock::time_point lastInbound_;
    Clock::time_point nextPing_;
    bool isPinging_ = false;  ///< a ping waits behind a write; a second one must not
};

}  // namespace zeb
