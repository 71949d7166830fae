#pragma once

#include <zeb/Service.h>
#include <zeb/Subscription.h>
#include <zeb/UntypedServiceListener.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "ServiceEndpoint.h"
#include "ServiceList.h"
#include "log/FaultLog.h"

namespace zebutil {
class ILogger;
}

namespace zeb {

/// What the registry service of the bus says about the services and their addresses. Follows the registry
/// service through a listener, like any other service. Keeps its information while the registry service is
/// unreachable. Any thread may query it.
class ServiceDirectory : public std::enable_shared_from_this<ServiceDirectory> {
 public:
    /// The registry service's name on the bus.
    static constexpr const char* kServiceName = "serviceregistry";

    using Clock = std::chrono::steady_clock;

    /// Runs a function on the executor thread at a time, or soon after.
    using Later = std::function<void(Clock::time_point at, std::function<void()> function)>;

    /// A registry service sends its first list at once. One that does not for so long is left, and tried
    /// again. Less than the time after which a connection counts as stable, so that it is tried less and less
    /// often.
    static constexpr std::chrono::seconds kListLimit{4};

    /// @param changed called on the executor thread after the directory has changed
    ServiceDirectory(std::shared_ptr<zebutil::ILogger> logger, Later later, std::function<void()> changed,
                     std::chrono::milliseconds listLimit = kListLimit);
    ~ServiceDirectory();

    /// The listener that must be registered for the registry service.
    UntypedServiceListener listener();

    /// Base URI and path of a service; empty if the registry service does not know it.
    /// @throws std::runtime_error if the registry service names an address that cannot be used
    std::optional<ServiceEndpoint> find(const std::string& service) const;

    // On the executor thread:
    /// Whether there has been a list that could be read.
    bool hasList() const { return hasList_; }
    /// Why the newest list cannot be used; empty if it can, or if there is none.
    const std::string& problem() const { return problem_; }

 private:
    class RegistryService;

    static constexpr std::size_t kMostLinesOfOneList = 8;

    /// A list takes at most one part in so many of the executor thread's time, however many the registry
    /// service sends.
    static constexpr int kShareOfTime = 10;

    /// The memory for a list may never be there.
    static constexpr int kTriesOfList = 50;

    using Reconnect = std::function<void(const std::string& reason)>;

    void subscribe(RegistryService& registry);
    void awaitList(std::uint64_t connection, int checks);
    /// Does a step on the road of a list. Without memory for it, asks for the list again.
    template <typename Step>
    void handleList(const Step& step);
    void receive(std::string_view services);
    void readUnread();
    void update(std::string_view services);
    void refuse(const std::string& why);
    void logIgnored(const ServiceList& list);

    const Later later_;
    const std::function<void()> changed_;
    const std::chrono::milliseconds listLimit_;
    // Used only on the executor thread.
    std::string unread_;  ///< the newest list, if it has not been read yet
    bool isReadPlanned_ = false;
    Clock::time_point nextRead_;
    std::shared_ptr<Subscription> subscription_;
    std::uint64_t connection_ = 0;  ///< to the registry service, counted
    Reconnect reconnect_;           ///< of that connection
    bool isListMissing_ = false;
    bool hasList_ = false;
    std::string problem_;
    FaultLog faults_;

    mutable std::mutex mutex_;
    std::map<std::string, ServiceEndpoint> endpoints_;
    std::map<std::string, std::string> refused_;  ///< the reasons, by the name of the service
};

}  // namespace zeb
