#include <unistd.h>
#include <zeb/ITpAccess.h>
#include <zeb/ITpAccessFactory.h>
#include <zeb/IWebsocketManagerFactory.h>
#include <zeb/ZebAccessor.h>
#include <zeb/ZebException.h>
#include <zeb/ZebServiceRegistry.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITimedTaskExecutor.h>
#include <zebutil/LoggerFactory.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "EndpointLookup.h"
#include "LinkOpener.h"
#include "ServiceDirectory.h"
#include "ServiceEndpoint.h"
#include "ServiceLink.h"
#include "UntilThereIsMemory.h"

namespace zeb {

const std::string ZebServiceRegistry::STR_MODE_STATIC_ONLY = "staticOnly";
const std::string ZebServiceRegistry::STR_MODE_DYNAMIC_ONLY = "dynamicOnly";
const std::string ZebServiceRegistry::STR_MODE_STATIC_BEFORE_DYNAMIC = "staticBeforeDynamic";

// Everything runs on the zebExecutor, in the order in which it was queued, except stop() and
// unsubscribeFromAllElements(). The mutex protects against these two. It is never held during a call of a
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
        : tpAccessFactory_(std::move(tpAccessFactory)),
          zebExecutor_(std::move(zebExecutor)),
          timed_(std::dynamic_pointer_cast<zebutil::ITimedTaskExecutor>(zebExecutor_)),
          httpExecutor_(std::move(httpExecutor)),
          opener_(std::move(websocketManagerFactory), loggerFactory, zebExecutor_),
          endpoints_(settings, std::move(configManager), std::move(serviceSettings)),
          logger_(loggerFactory->createLogger("ServiceRegistry")) {}

    void registerListener(UntypedServiceListener listener) {
        auto following = std::make_shared<FollowingListener>();
        following->handlers = std::move(listener);
        execute("register service listener",
                [following](Impl& self) { untilThereIsMemory([&] { self.follow(following); }); });
    }

    void unsubscribeFromAllElements() {
        if (isOfParentProcess()) {
            return;
        }
        for (const auto& manager : managers()) {
            manager->unsubscribeFromAll();
        }
    }

    void stop() {
        if (isOfParentProcess()) {
            return;
        }
        std::map<std::string, std::shared_ptr<ServiceLink>> links;
        {
            const std::lock_guard lock(mutex_);
            isStopped_ = true;
            links.swap(links_);
        }
        for (const auto& [name, link] : links) {
            if (link->websocketManager) {
                link->websocketManager->stop();
            }
            if (link->accessor) {
                link->accessor->cancel();
            }
        }
    }

 private:
    // ------------------------------------------------------------------ events, on the executor thread
    //
    // Each is repeated when there was no memory for it. So it takes note of what it has done at once, and
    // begins with what may fail.

    void follow(const std::shared_ptr<FollowingListener>& listener) {
        if (endpoints_.needsDirectory(listener->handlers.serviceName)) {
            startDirectory();
        }
        addListener(listener);
    }

    void addListener(const std::shared_ptr<FollowingListener>& listener) {
        std::vector<std::shared_ptr<FollowingListener>> abandoned;  // destroyed without the lock
        const std::lock_guard lock(mutex_);
        if (isStopped_) {
            return;
        }
        const std::shared_ptr<ServiceLink> link = linkFor(listener->handlers.serviceName);
        abandoned = takeAbandoned(*link);
        if (std::find(link->listeners.begin(), link->listeners.end(), listener) == link->listeners.end()) {
            link->listeners.push_back(listener);
        }
        if (link->isConnected) {
            tellConnected(*link);
        } else if (!link->websocketManager) {
            connect(link);
        }
    }

    std::shared_ptr<ServiceLink> linkFor(const std::string& service) {
        const auto found = links_.find(service);
        return found != links_.end()
                   ? found->second
                   : links_.emplace(service, std::make_shared<ServiceLink>(service, logger_)).first->second;
    }

    // The listeners whose owner is gone, removed. Looks only when their number has doubled, since most
    // owners live on.
    static std::vector<std::shared_ptr<FollowingListener>> takeAbandoned(ServiceLink& link) {
        std::vector<std::shared_ptr<FollowingListener>> abandoned;
        auto& listeners = link.listeners;
        if (listeners.size() >= link.listenersToCheck) {
            const auto gone =
                std::stable_partition(listeners.begin(), listeners.end(),
                                      [](const auto& listener) { return !listener->isAbandoned(); });
            abandoned.assign(gone, listeners.end());
            listeners.erase(gone, listeners.end());
            link.listenersToCheck = std::max(kFewListeners, 2 * listeners.size());
        }
        return abandoned;
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
        auto listener = std::make_shared<FollowingListener>();
        listener->handlers = directory->listener();
        directory_ = std::move(directory);
        listenerOfDirectory_ = std::move(listener);
    }

    void onOpened(const std::string& service, const std::weak_ptr<IWebsocketManager>& manager) {
        const std::lock_guard lock(mutex_);
        const auto link = linkOf(service, manager);
        if (!link) {
            return;
        }
        if (!link->isConnected && !prepareRequests(*link)) {
            return;
        }
        tellConnected(*link);
        logger_->info("service \"" + service + "\" connected at " + link->endpoint.serverBaseUri);
    }

    bool prepareRequests(ServiceLink& link) {
        try {
            // Requests go to the peer that the WebSocket has reached: a name may lead to several.
            link.access = tpAccessFactory_->createAccess({link.name, link.endpoint.serverBaseUri,
                                                          link.endpoint.basePath, link.endpoint.separator,
                                                          link.websocketManager->peerAddress()});
            link.accessor = std::make_shared<ZebAccessor>(link.access, httpExecutor_, zebExecutor_, logger_);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& exception) {
            // The next attempt may find what is missing now, such as the trust store.
            link.access.reset();
            link.websocketManager->close(exception.what());
            return false;
        }
        link.isConnected = true;
        link.isSettled = false;
        link.connectedSince = std::chrono::steady_clock::now();
        return true;
    }

    void onClosed(const std::string& service, const std::weak_ptr<IWebsocketManager>& manager,
                  const WebsocketEnd& end) {
        bool isEnded = false;
        untilThereIsMemory([&] {
            const std::lock_guard lock(mutex_);
            const auto found = links_.find(service);
            if (!isEnded && !linkOf(service, manager)) {
                return;
            }
            if (!isEnded) {
                endConnection(*found->second, end);
                isEnded = true;
            }
            if (found != links_.end() && !found->second->websocketManager) {
                connect(found->second);
            }
        });
    }

    void endConnection(ServiceLink& link, const WebsocketEnd& end) {
        // It may have failed before it was to be closed.
        const EndReason reason =
            link.moving && link.moving->text() == end.reason ? *link.moving : EndReason::failed(end.reason);
        settleIfStable(link);
        tellDisconnected(link);
        if (link.isConnected) {
            // What still waits for an answer would wait for its time limit.
            link.access->cancel();
            execute("requests cancelled", [accessor = link.accessor](Impl&) { accessor->cancel(); });
        }
        link.leave();
        // From here on, nothing fails but the log.
        link.schedule.over();
        link.moving.reset();
        link.access.reset();
        link.accessor.reset();
        const bool wasConnected = std::exchange(link.isConnected, false);
        try {
            logEnd(link, wasConnected, reason, end.isUntrusted);
        } catch (const std::bad_alloc&) {
            return;  // There is no memory to say that.
        }
    }

    void logEnd(ServiceLink& link, bool wasConnected, const EndReason& reason, bool isUntrusted) {
        if (wasConnected) {
            tellWarning(link, reason.ofConnection());
            return;
        }
        const std::string where = reason.ofAttempt(link.endpoint);
        if (isUntrusted) {
            tellError(link, where);
        } else if (reason.isFailure()) {
            tellWarning(link, where + "; trying again until it is");
        } else {
            logger_->debug("service \"" + link.name + "\" " + where);
        }
    }

    // A server that accepts and then closes every connection must not be asked faster and faster, nor fill
    // the log with it.
    static void settleIfStable(ServiceLink& link) {
        if (link.isConnected && !link.isSettled &&
            std::chrono::steady_clock::now() - link.connectedSince > kStableConnection) {
            link.isSettled = true;
            link.schedule.settle(link.endpoint.address());
            link.faults.forget();
        }
    }

    void onDirectoryChanged() {
        const std::lock_guard lock(mutex_);
        for (const auto& [name, link] : links_) {
            settleIfStable(*link);
            if (!link->websocketManager) {
                connect(link);
                continue;
            }
            std::string refusal;
            const std::optional<ServiceEndpoint> endpoint = endpointOrNone(*link, &refusal);
            if (endpoint == link->endpoint || link->moving) {
                continue;  // it is the same, or the next attempt looks for it
            }
            if (link->isConnected || link->schedule.hasBegun(std::chrono::steady_clock::now())) {
                // The connection itself reports its end, after everything that it has received.
                EndReason reason = EndReason::moved(link->endpoint, endpoint, refusal);
                link->websocketManager->close(reason.text());
                link->moving = std::move(reason);
            } else {
                // There is no connection yet. The pause goes on, however often the address changes.
                link->websocketManager->stop();
                link->leave();
                connect(link);
            }
        }
    }

    // ------------------------------------------------- calling the listeners, each in a separate task

    void tellConnected(ServiceLink& link) {
        for (const auto& listener : link.listeners) {
            if (!listener->isToldOf) {
                execute("service connected",
                        [listener, accessor = link.accessor, manager = link.websocketManager](Impl&) {
                            beginFollowing(*listener, accessor, manager);
                        });
                listener->isToldOf = true;
            }
        }
    }

    static void beginFollowing(FollowingListener& listener, const std::shared_ptr<ZebAccessor>& accessor,
                               const std::shared_ptr<IWebsocketManager>& manager) {
        listener.isConnected = true;
        if (listener.handlers.connected) {
            std::shared_ptr<Service> service;
            untilThereIsMemory([&] { service = listener.handlers.createService(accessor, manager); });
            listener.handlers.connected(service);
        }
    }

    void tellDisconnected(ServiceLink& link) {
        for (const auto& listener : link.listeners) {
            if (listener->isToldOf) {
                execute("service disconnected", [listener](Impl&) {
                    if (std::exchange(listener->isConnected, false) && listener->handlers.disconnected) {
                        listener->handlers.disconnected();
                    }
                });
                listener->isToldOf = false;
            }
        }
    }

    static void tellWarning(ServiceLink& link, const std::string& text) {
        link.faults.warning(text, "service \"" + link.name + "\" " + text);
    }

    void tellError(ServiceLink& link, const std::string& text) {
        if (!link.faults.error(text, "service \"" + link.name + "\": " + text)) {
            return;
        }
        for (const auto& listener : link.listeners) {
            execute("service error", [listener, text](Impl&) {
                if (listener->handlers.error) {
                    listener->handlers.error(ZebException(text, "service registry"));
                }
            });
        }
    }

    // ------------------------------------------------------------------ connecting

    std::optional<ServiceEndpoint> endpointOrNone(ServiceLink& link, std::string* refusal = nullptr) {
        try {
            return endpoints_.find(link.name, directory_.get());
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& exception) {
            tellError(link, exception.what());
            if (refusal != nullptr) {
                *refusal = exception.what();
            }
            return std::nullopt;
        }
    }

    // Makes the next attempt, when the link's schedule allows it. The link has no connection.
    void connect(const std::shared_ptr<ServiceLink>& link) {
        const std::optional<ServiceEndpoint> endpoint = endpointOrNone(*link);
        if (!endpoint) {
            return;
        }
        link->endpoint = *endpoint;
        const std::string address = endpoint->address();
        const auto now = std::chrono::steady_clock::now();
        const auto at = link->schedule.plan(address, now);
        if (link->hasFailedToOpen && at > now) {
            connectLater(link, at);
            return;
        }
        try {
            // Rounded up, so that the attempt does not begin before its time.
            opener_.open(*link,
                         std::chrono::ceil<std::chrono::milliseconds>(
                             std::max(at - now, std::chrono::steady_clock::duration::zero())),
                         eventsOf(link->name));
            link->hasFailedToOpen = false;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const ZebException& exception) {
            tellError(*link, exception.what());  // the address itself is wrong
        } catch (const std::exception& exception) {
            tellWarning(*link, std::string("cannot be connected: ") + exception.what() +
                                   "; trying again until it can");
            link->hasFailedToOpen = true;
            link->schedule.over();
            connectLater(link, link->schedule.plan(address, now));
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

    LinkOpener::Events eventsOf(const std::string& service) {
        LinkOpener::Events events;
        events.opened = [weak = weak_from_this(), service](const LinkOpener::Manager& manager) {
            if (const auto self = weak.lock()) {
                untilThereIsMemory([&] { self->onOpened(service, manager); });
            }
        };
        events.closed = [weak = weak_from_this(), service](const LinkOpener::Manager& manager,
                                                           const WebsocketEnd& end) {
            if (const auto self = weak.lock()) {
                self->onClosed(service, manager, end);
            }
        };
        return events;
    }

    // The link of a service, if `manager` is its current connection. Events of an earlier connection are
    // ignored.
    std::shared_ptr<ServiceLink> linkOf(const std::string& service,
                                        const std::weak_ptr<IWebsocketManager>& manager) const {
        const auto found = links_.find(service);
        if (found == links_.end() || !found->second->websocketManager ||
            found->second->websocketManager != manager.lock()) {
            return nullptr;
        }
        return found->second;
    }

    std::vector<std::shared_ptr<IWebsocketManager>> managers() {
        const std::lock_guard lock(mutex_);
        std::vector<std::shared_ptr<IWebsocketManager>> result;
        for (const auto& [name, link] : links_) {
            if (link->websocketManager && name != ServiceDirectory::kServiceName) {
                result.push_back(link->websocketManager);
            }
        }
        return result;
    }

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

    // In a forked child, a thread that did not come along may have locked the mutex.
    bool isOfParentProcess() const { return process_ != ::getpid(); }

    bool isStopped() {
        const std::lock_guard lock(mutex_);
        return isStopped_;
    }

    // After this time a connection counts as established, and the pauses between attempts start over.
    static constexpr std::chrono::seconds kStableConnection{5};
    static constexpr std::size_t kFewListeners = 8;

    const std::shared_ptr<ITpAccessFactory> tpAccessFactory_;
    const std::shared_ptr<zebutil::ITaskExecutor> zebExecutor_;
    const std::shared_ptr<zebutil::ITimedTaskExecutor> timed_;  ///< zebExecutor_; null: it keeps no time
    const std::shared_ptr<zebutil::ITaskExecutor> httpExecutor_;
    const LinkOpener opener_;
    const EndpointLookup endpoints_;
    const std::shared_ptr<zebutil::ILogger> logger_;

    const pid_t process_ = ::getpid();
    std::mutex mutex_;
    bool isStopped_ = false;
    std::map<std::string, std::shared_ptr<ServiceLink>> links_;
    std::shared_ptr<ServiceDirectory> directory_;  ///< null until a service is followed that needs it
    /// Until it is added. Of the executor thread.
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

void ZebServiceRegistry::unsubscribeFromAllElements() {
    impl_->unsubscribeFromAllElements();
}

void ZebServiceRegistry::stop() {
    impl_->stop();
}

}  // namespace zeb
