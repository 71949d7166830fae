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

/// Follows terminal 15 through a client: subscribes whenever the service has connected, and prints what it is
/// told.
///
/// Subscribing waits for answers that come on the thread which calls the callback, so it is done on a thread
/// of this object's own. A subscription that fails while the service is connected is tried again: after 500
/// ms, then after twice as long each time, up to 10 s; a new connection begins anew.
class Follower : public clampcontrolclient::ClampControlCallbackIf {
 public:
    struct Pauses {
        std::chrono::milliseconds first{500};
        std::chrono::milliseconds longest{10000};
    };

    /// `client` and `printer` have to live longer than the follower. `complain` is told of what is no event.
    Follower(clampcontrolclient::ClampControlClientIf& client, EventPrinter& printer,
             std::function<void(const std::string&)> complain, Pauses pauses);
    ~Follower() override;
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    /// Starts the client. To be called once.
    void start();
    /// Ends the subscription and stops the client. Waits for a subscribe call that is under way, which takes
    /// up to ten seconds when the service has just been lost. May be called twice.
    void stop();

    void OnConnectionStateChanged(bool connected) override;
    void OnClampStateChanged(bool switchedOn) override;
    void OnClampNotification() override;

 private:
    void followConnections();
    void subscribeTo(std::size_t connection);
    std::string trySubscribe();
    /// Whether this connection still is the present one.
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
