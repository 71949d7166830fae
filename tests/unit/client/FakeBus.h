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

/// The platform as one clamp-control client sees it: a registry, the requests and one WebSocket, all in the
/// hands of the test, on two real executors. Its handlers run on the "zebExecutor", as the platform's do.
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
        std::atomic<int> unsubscribes = 0;
        std::atomic<bool> released = false;
        /// Called when it is released, on the thread that does. Set it while the subscription is in the
        /// making.
        std::function<void()> inRelease = [] {};
    };

    FakeBus();
    ~FakeBus();
    FakeBus(const FakeBus&) = delete;
    FakeBus& operator=(const FakeBus&) = delete;

    /// What a request is answered with, called on the "httpExecutor". At first: one Clamp15 with id "c15".
    std::function<zeb::ZebResponse()> answer;

    /// Called inside subscribe(), on the subscriber's thread, with the subscription in the making. At first:
    /// sends the notification of a Clamp15 that is on.
    std::function<void(const std::shared_ptr<Subscribed>&)> onSubscribe;

    std::shared_ptr<zeb::ZebClientServices> clientServices() const { return clientServices_; }

    /// The service comes, or goes; returns when the client has been told.
    void connectService();
    void disconnectService();
    /// Queues the same, and returns at once.
    void queueDisconnect();
    void tellError(const std::exception& error);

    /// Sends a notification, the JSON text of an element; returns at once.
    void notify(const std::shared_ptr<Subscribed>& subscription, const std::string& json);

    /// Returns when all that was queued for the client has run.
    void settle();
    /// As settle(), but no longer than this; gives whether it has run.
    bool settlesWithin(std::chrono::milliseconds limit);

    /// Makes requests fail where they are issued.
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
