#pragma once

#include <zeb/IWebsocketManager.h>
#include <zeb/IWebsocketManagerFactory.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>

#include <atomic>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "NotificationDelivery.h"
#include "OpenWebsocket.h"
#include "SubscriptionRecord.h"
#include "SubscriptionRouter.h"
#include "WebsocketConnector.h"
#include "WebsocketStream.h"
#include "io/IoThread.h"
#include "io/ReservedPost.h"

namespace zeb {

/// One WebSocket from its first attempt to connect to its end, put together from its parts: the connector,
/// the open connection, the router of its subscriptions, and the delivery to the executor. Owned by the
/// service registry, and by itself while an operation of its socket or a task of its executor is under way.
///
/// Thread safety: any thread may call the public functions. Everything else runs on the I/O thread, except
/// the handlers that the delivery calls on the executor thread.
class WebsocketManager : public IWebsocketManager,
                         public std::enable_shared_from_this<WebsocketManager>,
                         public IoThread::User,
                         private WebsocketConnector::Owner,
                         private OpenWebsocket::Owner,
                         private SubscriptionRouter::Connection,
                         private NotificationDelivery::Owner {
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
    std::string peerAddress() const override;
    void unsubscribeFromAll() override;
    void close(const std::string& reason) override;
    void stop() override;

    /// Ends one subscription; what Subscription::unsubscribe() does.
    void unsubscribe(const SubscriptionRecord::Hold& record);

 private:
    // From the I/O thread.
    void onIoFailure(const char* reason) override;

    // From the connector.
    void onPauseOver() override;
    void onConnected() override;
    void onConnectFailed(const WebsocketEnd& end) override;
    void onWarning(const std::string& text) override;

    // From the open connection.
    void onMessage(std::string_view text) override;
    void onLost(const std::string& reason) override;
    void onViolation(WebsocketStream::CloseCode code, const std::string& reason) override;

    // From the router.
    void send(std::string message) override;
    void enqueue(const SubscriptionRecord::Hold& record, std::string_view data) override;
    void tellEnded(const SubscriptionRecord::Hold& record, const std::string& reason) override;
    void release(std::vector<SubscriptionRecord::Hold> records) override;

    // From the delivery.
    void onRoom() override;

    // What every part keeps while one of its operations is under way.
    std::shared_ptr<void> keepAlive() override;

    void endWith(WebsocketStream::CloseCode code, const WebsocketEnd& end);
    void closeStream(WebsocketStream::CloseCode code);
    void tellEnd();
    void onEndTold();
    void onSocketClosed();
    void leaveTo(std::function<void()> successor);

    template <typename Function>
    auto guarded(Function function);
    template <typename Function>
    void post(Function function);

    /// What is to be told of the end.
    struct End {
        std::function<void(const WebsocketEnd&)> closed;
        std::vector<SubscriptionRecord::Hold> subscriptions;
        WebsocketEnd why;
    };

    const std::shared_ptr<IoThread> ioThread_;
    const WebsocketSettings settings_;
    const std::shared_ptr<FaultLog> faults_;
    const std::shared_ptr<ServiceCounters> counters_;
    const std::weak_ptr<zebutil::ITaskExecutor> executor_;
    const std::shared_ptr<zebutil::ILogger> logger_;
    /// Shared with the subscriptions, which may live longer.
    const std::shared_ptr<std::atomic<bool>> isOpen_ = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool> isStopped_ = false;
    ReservedPost stopPost_;

    mutable std::mutex peerMutex_;
    std::string peerAddress_;

    // Of the I/O thread.
    std::function<void()> successor_;  ///< waits until the socket is closed
    boost::asio::steady_timer patience_;
    boost::asio::steady_timer tellAgain_;
    bool isSocketClosed_ = false;
    WebsocketObserver observer_;
    bool hasEnded_ = false;
    bool isEndTold_ = false;  ///< the executor has the task
    End end_;                 ///< of the executor thread from tellEnd() on
    NotificationDelivery delivery_;
    SubscriptionRouter router_;
    WebsocketStream stream_;
    WebsocketConnector connector_;
    OpenWebsocket connection_;
};

}  // namespace zeb
