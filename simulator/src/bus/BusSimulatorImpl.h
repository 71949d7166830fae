#pragma once

#include <boost/asio/ssl/context.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Flood.h"
#include "LibraryErrors.h"
#include "http/HttpFaults.h"
#include "model/BusModel.h"
#include "model/Registry.h"
#include "server/BusContext.h"
#include "server/BusServer.h"
#include "server/BusThread.h"
#include "server/Observations.h"
#include "websocket/Subscriptions.h"
#include "zeb-bus-sim/BusSimulator.h"

namespace zebbussim {

/// The parts of the bus, and the implementation of the functions of `BusSimulator`.
///
/// While the bus runs, everything but the observations is used on its thread only. While it does not run, it
/// is used on the threads of the callers, one at a time.
class BusSimulator::Impl : private BusListener {
 public:
    explicit Impl(const Options& options);
    ~Impl() override;
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void start();
    void stop();
    std::uint16_t port() const { return options_.port; }
    std::string baseUri() const;
    const std::string& basePath() const { return context_.basePath; }

    void loadFile(const std::string& fileName);
    void loadText(const std::string& json);
    void set(const std::string& path, const std::string& json);
    void addElement(const std::string& path, const std::string& json);
    void removeElement(const std::string& path);
    std::string element(const std::string& path);
    void addService(const std::string& name, const std::string& json);
    void bringBackService(const std::string& name);
    void removeService(const std::string& name);
    void setServiceAvailable(const std::string& name, bool available);
    void flood(const std::string& path, const std::vector<std::string>& states, std::size_t changes);

    std::size_t subscriberCount(const std::string& path) const;
    bool waitForSubscribers(const std::string& path, std::size_t count,
                            std::chrono::milliseconds timeout) const;
    std::size_t webSocketCount(const std::string& service) const;
    bool waitForWebSockets(const std::string& service, std::size_t count,
                           std::chrono::milliseconds timeout) const;
    std::size_t handshakeCount(const std::string& service) const;
    std::size_t requestCount(const std::string& path) const;
    bool waitForRequests(const std::string& path, std::size_t count, std::chrono::milliseconds timeout) const;
    bool waitUntilSent(std::chrono::milliseconds timeout) const;

    void holdFirstNotifications(const Subscriptions::Hold& hold);
    void releaseFirstNotifications();
    void setHttpFault(const std::string& path, const HttpFault& fault);
    void clearHttpFaults();
    void sendText(const std::string& path, const std::string& text);
    void sendBytes(const std::string& path, const std::string& bytes);
    void dropConnections(const std::string& service);
    void closeConnections(const std::string& service, std::uint16_t code);
    void freezeConnections(const std::string& service);

 private:
    /// What exists only while the bus runs.
    struct Running {
        Running(BusModel& model, BusContext& context, const Options& options);

        BusThread thread;
        BusServer server;
        Flood flood;
    };

    /// Runs a function on the bus's thread, or on the caller's while the bus does not run, and returns its
    /// result. Throws the errors of the library.
    template <typename Function>
    auto invoke(Function function) {
        if (!running_) {
            const std::lock_guard lock(idleMutex_);
            return withLibraryErrors(function);
        }
        return running_->thread.invoke([&] { return withLibraryErrors(function); });
    }

    /// `json` is what a reader has returned; `what` begins the texts of errors.
    void load(const std::string& json, const std::string& what);
    void forEachPeer(const std::string& service, const std::function<void(WebSocketPeer&)>& act);
    void forEachSubscriber(const std::string& path, const std::function<void(Subscriber&)>& act);

    void elementChanged(const BusPath& path, const Element& element) override;
    void elementAdded(const BusPath& path) override;
    void elementRemoved(const BusPath& path) override;
    void servicesChanged() override;
    void serviceClosed(const std::string& service) override;

    Options options_;
    BusModel model_;
    Observations observations_;
    HttpFaults faults_;
    Subscriptions subscriptions_;
    Registry registry_;
    BusContext context_;
    std::mutex idleMutex_;
    std::unique_ptr<Running> running_;
};

}  // namespace zebbussim
