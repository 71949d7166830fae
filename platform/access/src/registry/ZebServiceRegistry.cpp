#include <unistd.h>
#include <zeb/IWebsocketManager.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITimedTaskExecutor.h>
#include <zebutil/LoggerFactory.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "EndpointLookup.h"
#include "LinkConnector.h"
#include "LinkOpener.h"
#include "ServiceDirectory.h"
#include "ServiceEndpoint.h"
#include "ServiceLink.h"
#include "ServiceLinks.h"
#include "tasks/UntilThereIsMemory.h"

namespace zeb {

const std::string ZebServiceRegistry::STR_MODE_STATIC_ONLY = "staticOnly";
const std::string ZebServiceRegistry::STR_MODE_DYNAMIC_ONLY = "dynamicOnly";
const std::string ZebServiceRegistry::STR_MODE_STATIC_BEFORE_DYNAMIC = "staticBeforeDynamic";

// The road of a service: a listener is registered, and the service gets a link (addListener). The registry
// looks up where the service is, and the connector opens the link (connect). When its WebSocket is open, the
// listeners are called (onOpened). When the connection is lost or the attempt has failed, the listeners are
// called, too, and the road begins again (onClosed). The same happens when the list of services names another
// address (onDirectoryChanged).
//
// Threads: any thread may call the public functions. All events run on the zebExecutor, in the order in which
// they were queued. registerListener() only queues one.
//
// Lock: the mutex protects the events against the public functions. It is never held during a call of a
// handler or of another object that may call back: each listener is called in a separate task.
class ZebServiceRegistry::Impl : public std::enable_shared_from_this<Impl> {
 public:
    Impl(std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
         std::shared_ptr<IConfigManager> configManager,
         const std::shared_ptr<zebutil::LoggerFactory>& loggerFactory,
         std::shared_ptr<ITpAccessFactory> tpAccessFactory,
         std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
         std::shared_ptr<zebutil::ITaskExecutor> httpExecutor, const Settings& settings,
         std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings)
        : logger_(loggerFactory->createLogger("ServiceRegistry")),
          connector_(LinkOpener(std::move(tpAccessFactory), zebExecutor, std::move(httpExecutor),
                                std::move(websocketManagerFactory), loggerFactory, logger_),
                     logger_),
          zebExecutor_(std::move(zebExecutor)),
          timed_(std::dynamic_pointer_cast<zebutil::ITimedTaskExecutor>(zebExecutor_)),
          endpoints_(settings, std::move(configManager), std::move(serviceSettings)) {}

    void registerListener(UntypedServiceListener handlers) {
        const auto listener = std::make_shared<FollowingListener>(std::move(handlers));
        if (!isOfParentProcess()) {
            const std::lock_guard lock(mutex_);
            if (isStopped_) {
                return;
            }
            announced_.push_back(listener);
        }
        execute("register service listener",
                [listener](Impl& self) { untilThereIsMemory([&] { self.follow(listener); }); });
    }

    void removeListeners(const std::weak_ptr<const void>& owner) {
        std::vector<std::shared_ptr<FollowingListener>> taken;  // destroyed without the lock
        if (isOfParentProcess()) {
            return;
        }
        const std::lock_guard lock(mutex_);
        for (const auto& weak : announced_) {
            if (auto listener = weak.lock()) {
                if (listener->isOf(owner)) {
                    listener->takeBack();
                }
                taken.push_back(std::move(listener));
            }
        }
        for (const auto& [name, link] : links_) {
            auto of = link->listeners.take(owner);
            taken.insert(taken.end(), of.begin(), of.end());
        }
    }

    std::vector<ServiceStatus> statuses() const {
        std::vector<ServiceStatus> statuses;
        if (isOfParentProcess()) {
            return statuses;
        }
        const std::lock_guard lock(mutex_);
        statuses = stopped_;
        for (const auto& [name, link] : links_) {
            statuses.push_back(link->fullStatus());
        }
        return statuses;
    }

    void unsubscribeFromAllElements() {
        if (isOfParentProcess()) {
            return;
        }
        std::vector<std::shared_ptr<IWebsocketManager>> managers;
        {
            const std::lock_guard lock(mutex_);
            managers = links_.managers();
        }
        for (const auto& manager : managers) {
            manager->unsubscribeFromAll();
        }
    }

    void stop() {
        if (isOfParentProcess()) {
            return;
        }
        ServiceLinks links;  // closed and destroyed without the lock
        {
            const std::lock_guard lock(mutex_);
            isStopped_ = true;
            std::swap(links, links_);
        }
        for (const auto& [name, link] : links) {
            if (link->websocketManager) {
                link->websocketManager->stop();
            }
            if (link->accessor) {
                link->accessor->cancel();
            }
        }
        keepStatuses(links);
    }

 private:
    void keepStatuses(const ServiceLinks& links) {
        try {
            const std::lock_guard lock(mutex_);
            for (const auto& [name, link] : links) {
                link->status.stop();
                stopped_.push_back(link->fullStatus());
            }
        } catch (const std::bad_alloc&) {
            return;  // Nobody needs them to stop.
        }
    }

    // ------------------------------------------------------- events: a listener, on the executor thread
    //
    // Each event is repeated when there was no memory for it. So it takes note of what it has done at once,
    // and begins with what may fail.

    void follow(const std::shared_ptr<FollowingListener>& listener) {
        if (endpoints_.needsDirectory(listener->service())) {
            startDirectory();
        }
        addListener(listener);
        noLongerAnnounced(listener);
    }

    void startDirectory() {
        std::shared_ptr<FollowingListener> listener;
        {
            const std::lock_guard lock(mutex_);
            if (!directory_) {
                makeDirectory();
            }
            listener = listenerOfDirectory_;
        }
        if (listener) {
            addListener(listener);
            listenerOfDirectory_.reset();
        }
    }

    void makeDirectory() {
        const auto later = [weak = weak_from_this()](std::chrono::steady_clock::time_point at,
                                                     std::function<void()> function) {
            if (const auto self = weak.lock()) {
                self->executeAt(at, "list of services",
                                [function = std::move(function)](Impl&) { function(); });
            }
        };
        auto directory = std::make_shared<ServiceDirectory>(logger_, later, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                untilThereIsMemory([&] { self->onDirectoryChanged(); });
            }
        });
        auto listener = std::make_shared<FollowingListener>(directory->listener());
        directory_ = std::move(directory);
        listenerOfDirectory_ = std::move(listener);
    }

    void addListener(const std::shared_ptr<FollowingListener>& listener) {
        std::vector<std::shared_ptr<FollowingListener>> abandoned;  // destroyed without the lock
        const std::lock_guard lock(mutex_);
        if (isStopped_ || listener->isTakenBack()) {
            return;
        }
        const std::shared_ptr<ServiceLink> link = linkFor(listener->service());
        abandoned = link->listeners.takeAbandoned();
        link->listeners.add(listener);
        if (link->isConnected) {
            link->tellConnected();
        } else if (!link->websocketManager) {
            connect(link);
        } else {
            link->listeners.tellUnavailable(link->status);
        }
    }

    void noLongerAnnounced(const std::shared_ptr<FollowingListener>& listener) {
        const std::lock_guard lock(mutex_);
        announced_.erase(std::remove_if(announced_.begin(), announced_.end(),
                                        [&listener](const auto& weak) {
                                            return !weak.owner_before(listener) &&
                                                   !listener.owner_before(weak);
                                        }),
                         announced_.end());
    }

    std::shared_ptr<ServiceLink> linkFor(const std::string& service) {
        auto link = links_.find(service);
        if (!link) {
            link = std::make_shared<ServiceLink>(service, tasks(), eventsOf(service), logger_);
            links_.add(link);
        }
        return link;
    }

    // ------------------------------------------- events: the road of a link, on the executor thread

    // Looks up where the service is, and makes the next attempt to connect it. The link has no connection.
    void connect(const std::shared_ptr<ServiceLink>& link) {
        std::string refusal;
        if (const auto endpoint = endpointOrNone(*link, refusal)) {
            if (const auto again = connector_.connect(*link, *endpoint)) {
                connectLater(link, *again);
            }
        } else if (refusal.empty()) {
            links_.waitForAddress(*link, directory_.get());
        } else {
            link->status.refuse(refusal);
        }
        link->listeners.tellUnavailable(link->status);
        links_.tellThoseWithoutAddress(*link, directory_.get());
    }

    std::optional<ServiceEndpoint> endpointOrNone(ServiceLink& link, std::string& refusal) {
        try {
            return endpoints_.find(link.name, directory_.get());
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& exception) {
            link.reportError(exception.what());
            refusal = exception.what();
            return std::nullopt;
        }
    }

    // For the time without an I/O thread, which otherwise makes every pause: the system has no descriptors
    // or no threads left.
    void connectLater(const std::shared_ptr<ServiceLink>& link, std::chrono::steady_clock::time_point at) {
        // With an executor that keeps no time, the next change of a listener or a list tries again.
        if (!timed_ || (link->retryAt && *link->retryAt <= at)) {
            return;
        }
        executeAt(at, "connect later",
                  [link, at](Impl& self) { untilThereIsMemory([&] { self.connectNow(link, at); }); });
        link->retryAt = at;
    }

    void connectNow(const std::shared_ptr<ServiceLink>& link, std::chrono::steady_clock::time_point at) {
        const std::lock_guard lock(mutex_);
        if (link->retryAt == at) {
            link->retryAt.reset();
        }
        if (!link->websocketManager && !isStopped_) {
            connect(link);
        }
    }

    LinkEvents eventsOf(const std::string& service) {
        LinkEvents events;
        events.opened = [weak = weak_from_this(), service](const LinkEvents::Manager& manager) {
            if (const auto self = weak.lock()) {
                untilThereIsMemory([&] { self->onOpened(service, manager); });
            }
        };
        events.closed = [weak = weak_from_this(), service](const LinkEvents::Manager& manager,
                                                           const WebsocketEnd& end) {
            if (const auto self = weak.lock()) {
                self->onClosed(service, manager, end);
            }
        };
        return events;
    }

    void onOpened(const std::string& service, const std::weak_ptr<IWebsocketManager>& manager) {
        const std::lock_guard lock(mutex_);
        const auto link = links_.find(service, manager);
        if (!link || !connector_.connected(*link)) {
            return;
        }
        link->tellConnected();
        links_.tellThoseWithoutAddress(*link, directory_.get());
        logger_->info("service \"" + service + "\" connected at " + link->endpoint.serverBaseUri);
    }

    void onClosed(const std::string& service, const std::weak_ptr<IWebsocketManager>& manager,
                  const WebsocketEnd& end) {
        bool isEnded = false;
        untilThereIsMemory([&] {
            const std::lock_guard lock(mutex_);
            const auto link = isEnded ? links_.find(service) : links_.find(service, manager);
            if (!link) {
                return;
            }
            if (!isEnded) {
                connector_.ended(*link, end);
                isEnded = true;
            }
            if (!link->websocketManager) {
                connect(link);
            }
        });
    }

    void onDirectoryChanged() {
        const std::lock_guard lock(mutex_);
        for (const auto& [name, link] : links_) {
            link->settleIfStable();
            if (!link->websocketManager) {
                connect(link);
                continue;
            }
            std::string refusal;
            const std::optional<ServiceEndpoint> endpoint = endpointOrNone(*link, refusal);
            if (endpoint == link->endpoint || link->moving) {
                continue;  // it is the same, or the next attempt looks for it
            }
            if (LinkConnector::moved(*link, endpoint, refusal)) {
                connect(link);
            }
        }
    }

    // ------------------------------------------------------------------ tasks

    // Queues `function` as a task. The task does nothing once the registry is stopped or destroyed.
    template <typename Function>
    void execute(const char* name, Function function) {
        zebExecutor_->add(unlessStopped(std::move(function)), name);
    }

    // The same at a time. An executor that keeps no time runs the task at once.
    template <typename Function>
    void executeAt(std::chrono::steady_clock::time_point at, const char* name, Function function) {
        if (timed_) {
            timed_->addAt(at, unlessStopped(std::move(function)), name);
        } else {
            execute(name, std::move(function));
        }
    }

    template <typename Function>
    std::function<void()> unlessStopped(Function function) {
        return [weak = weak_from_this(), function = std::move(function)] {
            if (const auto self = weak.lock(); self && !self->isStopped()) {
                function(*self);
            }
        };
    }

    ServiceListeners::Execute tasks() {
        return [weak = weak_from_this()](const char* name, std::function<void()> function) {
            if (const auto self = weak.lock()) {
                self->execute(name, [function = std::move(function)](Impl&) { function(); });
            }
        };
    }

    // In a forked child, a thread that did not come along may have locked the mutex.
    bool isOfParentProcess() const { return process_ != ::getpid(); }

    bool isStopped() {
        const std::lock_guard lock(mutex_);
        return isStopped_;
    }

    const std::shared_ptr<zebutil::ILogger> logger_;
    const LinkConnector connector_;
    const std::shared_ptr<zebutil::ITaskExecutor> zebExecutor_;
    const std::shared_ptr<zebutil::ITimedTaskExecutor> timed_;  ///< zebExecutor_; null: it keeps no time
    const EndpointLookup endpoints_;
    const pid_t process_ = ::getpid();

    mutable std::mutex mutex_;
    // Under the lock, with everything that the links own.
    bool isStopped_ = false;
    /// Registered, but the task that adds them has not run yet.
    std::vector<std::weak_ptr<FollowingListener>> announced_;
    std::vector<ServiceStatus> stopped_;  ///< of the links that stop() has ended
    ServiceLinks links_;
    std::shared_ptr<ServiceDirectory> directory_;  ///< null until a service is followed that needs it

    /// Until it is added. Of the executor thread only.
    std::shared_ptr<FollowingListener> listenerOfDirectory_;
};

ZebServiceRegistry::ZebServiceRegistry(
    std::shared_ptr<IWebsocketManagerFactory> websocketManagerFactory,
    std::shared_ptr<IConfigManager> configManager, std::shared_ptr<zebutil::LoggerFactory> loggerFactory,
    std::shared_ptr<ITpAccessFactory> tpAccessFactory, std::shared_ptr<zebutil::ITaskExecutor> zebExecutor,
    std::shared_ptr<zebutil::ITaskExecutor> httpExecutor, const Settings& settings,
    std::shared_ptr<ZebServiceConfigurations::ServiceSettings> serviceSettings)
    : impl_(std::make_shared<Impl>(std::move(websocketManagerFactory), std::move(configManager),
                                   loggerFactory, std::move(tpAccessFactory), std::move(zebExecutor),
                                   std::move(httpExecutor), settings, std::move(serviceSettings))) {
    zebutil::LoggerFactory::setDefaultLoggerFactoryOnce(loggerFactory);
}

ZebServiceRegistry::~ZebServiceRegistry() {
    impl_->stop();
}

void ZebServiceRegistry::registerServiceListener(UntypedServiceListener listener) {
    impl_->registerListener(std::move(listener));
}

void ZebServiceRegistry::removeServiceListeners(const std::weak_ptr<const void>& owner) {
    impl_->removeListeners(owner);
}

std::vector<ServiceStatus> ZebServiceRegistry::getServiceStatuses() const {
    return impl_->statuses();
}

void ZebServiceRegistry::unsubscribeFromAllElements() {
    impl_->unsubscribeFromAllElements();
}

void ZebServiceRegistry::stop() {
    impl_->stop();
}

}  // namespace zeb
