#pragma once

#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClientIf.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "EventPrinter.h"

/// Follows terminal 15 with a client: subscribes each time the service connects, and prints the events.
///
/// A subscribe call waits for an answer that arrives on the thread of the callbacks. Therefore it is made on
/// a separate thread, which `start()` creates and `stop()` joins. If it fails while the service is connected,
/// it is repeated after 500 ms, then after twice the pause each time, up to 10 s. A new connection starts
/// again at 500 ms.
class Follower : public clampcontrolclient::ClampControlCallbackIf {
 public:
    struct Pauses {
        std::chrono::milliseconds first{500};
        std::chrono::milliseconds longest{10000};
    };

    /// `client` and `printer` must outlive the follower. `complain` receives error messages; it is called on
    /// the follower's thread.
    Follower(clampcontrolclient::ClampControlClientIf& client, EventPrinter& printer,
             std::function<void(const std::string&)> complain, Pauses pauses);
    ~Follower() override;
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// Starts the client. May be called once.
    void start();
    /// Ends the subscription and stops the client. Waits for a pending subscribe call, which takes up to ten
    /// seconds if the service has just been lost. May be called twice.
    void stop();

    void OnConnectionStateChanged(bool connected) override;
    void OnClampStateChanged(bool switchedOn) override;
    void OnClampNotification() override;

 private:
    void followConnections();
    void subscribeTo(std::size_t connection);
    std::string trySubscribe();
    /// Whether this is still the present connection.
    bool isPresent(std::size_t connection) const;

    clampcontrolclient::ClampControlClientIf& client_;
    EventPrinter& printer_;
    const std::function<void(const std::string&)> complain_;
    const Pauses pauses_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t connections_ = 0;  ///< how often the service has connected
    bool connected_ = false;
    bool stopping_ = false;
    std::string uuid_;

    std::thread thread_;
};
