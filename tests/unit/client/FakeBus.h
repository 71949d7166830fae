#pragma once

#include <zeb/IServiceRegistry.h>
#include <zeb/ITpAccess.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/ZebClientServices.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace test_support {

/// The platform as one clamp-control client sees it: a registry, the requests and one WebSocket, all
/// controlled by the test, on two real executors. Handlers run on the "zebExecutor", as they do in the
/// platform.
class FakeBus {
 public:
    struct Request {
        std::string resource;
        std::string id;
        zeb::ITpAccess::Query query;
    };

    /// One subscription that the client made.
    struct Subscribed {
        std::string path;
        std::string uuid;
        zeb::IWebsocketManager::DataHandler handler;
        zeb::IWebsocketManager::EndedHandler ended;
        std::atomic<int> unsubscribes = 0;
        std::atomic<bool> released = false;
        /// Called on the thread that releases the subscription. Set it inside `onSubscribe`.
        std::function<void()> inRelease = [] {};
    };

    FakeBus();
    ~FakeBus();
    FakeBus(const FakeBus&) = delete;
    FakeBus& operator=(const FakeBus&) = delete;

    /// Returns the answer to a request; called on the "httpExecutor". The default answers with one Clamp15
    /// with id "c15".
    std::function<zeb::ZebResponse()> answer;

    /// Called inside subscribe(), on the subscriber's thread, with the new subscription. The default sends
    /// the notification of a Clamp15 that is on.
    std::function<void(const std::shared_ptr<Subscribed>&)> onSubscribe;

    std::shared_ptr<zeb::ZebClientServices> clientServices() const { return clientServices_; }
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> zebExecutor() const { return zebExecutor_; }

    /// The service appears or disappears. Returns when the client has been notified.
    void connectService();
    void disconnectService();
    /// Says why the service is not connected, or is about to be lost.
    void tellUnavailable(const std::string& reason);
    /// Queues the disconnect and returns at once.
    void queueDisconnect();
    void tellError(const std::exception& error);

    /// The server ends the subscription. Returns at once.
    void end(const std::shared_ptr<Subscribed>& subscription, const std::string& reason);

    /// Sends a notification with the JSON text of an element. Returns at once.
    void notify(const std::shared_ptr<Subscribed>& subscription, const std::string& json);

    /// Returns when everything that was queued for the client has run.
    void settle();
    /// Like settle(), but waits no longer than `limit`. Returns whether everything has run.
    bool settlesWithin(std::chrono::milliseconds limit);

    /// Makes every attempt to issue a request fail.
    void refuseRequests();

    std::vector<Request> requests() const;
    std::vector<std::shared_ptr<Subscribed>> subscriptions() const;
    std::string followedService() const;
    int listeners() const;

 private:
    class Registry;
    class TpAccess;
    class Websocket;

    void runOnExecutor(const std::function<void()>& function);

    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> zebExecutor_;
    std::shared_ptr<zebutil::SingleThreadAsyncTaskExecutor> httpExecutor_;
    std::shared_ptr<zebutil::ITaskExecutor> requestExecutor_;
    std::shared_ptr<TpAccess> tpAccess_;
    std::shared_ptr<Websocket> websocket_;
    std::shared_ptr<Registry> registry_;
    std::shared_ptr<zeb::ZebClientServices> clientServices_;
};

/// The JSON text of a clamp element.
std::string clampJson(const std::string& type, bool isSwitchedOn, const std::string& id = "c15");

}  // namespace test_support
