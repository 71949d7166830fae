#include "ServiceDirectory.h"

#include <zebutil/ILogger.h>

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "tasks/UntilThereIsMemory.h"

namespace zeb {

// The registry service, reduced to what is needed here: one subscription to all of its elements.
class ServiceDirectory::RegistryService : public Service {
 public:
    RegistryService(std::shared_ptr<ZebAccessor> accessor,
                    std::shared_ptr<IWebsocketManager> websocketManager)
        : Service(std::move(accessor), websocketManager), websocketManager_(std::move(websocketManager)) {}

    /// Without lists the directory learns nothing more about the services. Closing the connection makes the
    /// registry reconnect, and the new connection subscribes again.
    std::function<void(const std::string& reason)> reconnect() const {
        return [manager = std::weak_ptr<IWebsocketManager>(websocketManager_)](const std::string& reason) {
            if (const auto connection = manager.lock()) {
                connection->close(reason);
            }
        };
    }

    std::shared_ptr<Subscription> subscribeServices(IWebsocketManager::DataHandler handler) {
        return websocketManager_->subscribe(
            "/serviceregistry/services", "", std::move(handler),
            [reconnect = reconnect()](const std::string& reason) {
                reconnect("the subscription to the services was refused or ended: " + reason);
            });
    }

 private:
    std::shared_ptr<IWebsocketManager> websocketManager_;
};

ServiceDirectory::ServiceDirectory(std::shared_ptr<zebutil::ILogger> logger, Later later,
                                   std::function<void()> changed, std::chrono::milliseconds listLimit)
    : later_(std::move(later)),
      changed_(std::move(changed)),
      listLimit_(listLimit),
      faults_(std::move(logger)) {}

ServiceDirectory::~ServiceDirectory() = default;

UntypedServiceListener ServiceDirectory::listener() {
    UntypedServiceListener listener;
    listener.serviceName = kServiceName;
    listener.createService = [](std::shared_ptr<ZebAccessor> accessor,
                                std::shared_ptr<IWebsocketManager> websocketManager) {
        return std::make_shared<RegistryService>(std::move(accessor), std::move(websocketManager));
    };
    listener.connected = [weak = weak_from_this()](const std::shared_ptr<Service>& service) {
        if (const auto self = weak.lock()) {
            untilThereIsMemory([&] { self->subscribe(*std::static_pointer_cast<RegistryService>(service)); });
        }
    };
    listener.disconnected = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->subscription_.reset();
        }
    };
    return listener;
}

void ServiceDirectory::subscribe(RegistryService& registry) {
    isListMissing_ = true;
    reconnect_ = registry.reconnect();
    awaitList(++connection_, 2);
    subscription_ = registry.subscribeServices([weak = weak_from_this()](std::string_view services) {
        if (const auto self = weak.lock()) {
            self->handleList([&] { self->receive(services); });
        }
    });
}

// The registry service sends a list when it has changed, and a new connection brings the present one.
template <typename Step>
void ServiceDirectory::handleList(const Step& step) {
    try {
        untilThereIsMemory(step, kTriesOfList);
    } catch (const std::bad_alloc&) {
        std::string().swap(unread_);
        untilThereIsMemory([this] { reconnect_("there is no memory for the list of services"); });
    }
}

// Looks twice, because the thread may have been busy: between the two it takes what has come meanwhile.
void ServiceDirectory::awaitList(std::uint64_t connection, int checks) {
    const auto at = Clock::now() + listLimit_ / 2;
    later_(at, [weak = weak_from_this(), connection, checks, at] {
        const auto self = weak.lock();
        // Without an executor that keeps time, there is no limit.
        if (!self || !self->isListMissing_ || self->connection_ != connection || Clock::now() < at) {
            return;
        }
        if (checks > 1) {
            self->awaitList(connection, checks - 1);
        } else {
            self->reconnect_("the service registry sends no list");
        }
    });
}

std::optional<ServiceEndpoint> ServiceDirectory::find(const std::string& service) const {
    const std::lock_guard lock(mutex_);
    const auto found = endpoints_.find(service);
    if (found != endpoints_.end()) {
        return found->second;
    }
    if (const auto reason = refused_.find(service); reason != refused_.end()) {
        throw std::runtime_error(reason->second);
    }
    return std::nullopt;
}

// A list replaces every one before it. So only the newest is read, and not before the thread has had time for
// other things.
void ServiceDirectory::receive(std::string_view services) {
    isListMissing_ = false;
    unread_ = services;
    if (!isReadPlanned_) {
        later_(nextRead_, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->handleList([&] { self->readUnread(); });
            }
        });
        isReadPlanned_ = true;
    }
}

void ServiceDirectory::readUnread() {
    const auto begin = Clock::now();
    isReadPlanned_ = false;
    update(unread_);
    std::string().swap(unread_);  // which gives its memory back
    const auto end = Clock::now();
    nextRead_ = end + (kShareOfTime - 1) * (end - begin);
}

void ServiceDirectory::update(std::string_view services) {
    ServiceList list;
    try {
        list = ServiceList::read(services);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& exception) {
        refuse(exception.what());
        return;
    }
    if (list.isUnfinished) {
        return;
    }
    logIgnored(list);
    const bool isFirst = !std::exchange(hasList_, true);
    const bool isFirstGood = !std::exchange(problem_, {}).empty();
    {
        const std::lock_guard lock(mutex_);
        if (!isFirst && !isFirstGood && list.endpoints == endpoints_ && list.refused == refused_) {
            return;
        }
        endpoints_ = std::move(list.endpoints);
        refused_ = std::move(list.refused);
    }
    changed_();
}

// Keeps what the last good list has said.
void ServiceDirectory::refuse(const std::string& why) {
    faults_.error("no list", "the list of the service registry is ignored: " + why);
    if (why != problem_) {
        problem_ = why;
        changed_();
    }
}

// A registry may send the same list again and again, and a list may have any number of bad entries.
void ServiceDirectory::logIgnored(const ServiceList& list) {
    std::size_t lines = 0;
    for (const auto& [position, reason] : list.ignored) {
        if (lines < kMostLinesOfOneList &&
            faults_.warning(reason, "entry " + std::to_string(position) +
                                        " of the service registry ignored: " + reason)) {
            ++lines;
        }
    }
    if (lines == kMostLinesOfOneList) {
        faults_.warning("more", "more entries of the service registry may be ignored for other reasons");
    }
    if (list.isCut) {
        faults_.warning("cut", "the service registry has more than " +
                                   std::to_string(ServiceList::kMostEntries) +
                                   " entries; the rest is ignored");
    }
}

}  // namespace zeb
