#include <unistd.h>
#include <zeb/DefaultWebsocketManagerFactory.h>
#include <zebutil/TlsContextQuestion.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "WebsocketAddress.h"
#include "WebsocketManager.h"
#include "io/IoThread.h"

namespace zeb {

class DefaultWebsocketManagerFactory::Impl {
 public:
    std::shared_ptr<IWebsocketManager> create(const std::string& clientName,
                                              const WebsocketSettings& settings,
                                              const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                                              std::shared_ptr<zebutil::ILogger> logger,
                                              WebsocketObserver observer) {
        // A wrong address is told even if there can be no I/O thread.
        static_cast<void>(WebsocketAddress::parse(settings.uri));
        auto manager = std::make_shared<WebsocketManager>(ioThread(), settings, executor, std::move(logger),
                                                          std::move(observer));
        {
            const std::lock_guard lock(mutex_);
            managers_.erase(std::remove_if(managers_.begin(), managers_.end(),
                                           [](const Entry& entry) { return entry.manager.expired(); }),
                            managers_.end());
            managers_.push_back({clientName, manager});
        }
        manager->start();
        return manager;
    }

    // Stops the managers for which `matches` returns true, and waits until the I/O thread has closed them.
    // Needs no memory, because the end of the process comes here, too.
    template <typename Predicate>
    void stopIf(Predicate matches) {
        // In a forked child, a thread that did not come along may have locked the mutex.
        if (process_ != ::getpid()) {
            return;
        }
        while (const auto manager = takeIf(matches)) {
            manager->stop();
        }
        if (const auto thread = startedThread()) {
            thread->waitForPosted();
        }
    }

 private:
    // The next manager for which `matches` returns true, which is removed; null if there is none.
    template <typename Predicate>
    std::shared_ptr<WebsocketManager> takeIf(Predicate matches) {
        const std::lock_guard lock(mutex_);
        while (true) {
            const auto found =
                std::find_if(managers_.begin(), managers_.end(),
                             [&matches](const Entry& entry) { return matches(entry.clientName); });
            if (found == managers_.end()) {
                return nullptr;
            }
            auto manager = found->manager.lock();
            managers_.erase(found);
            if (manager) {
                return manager;
            }
        }
    }

    // Not before the first connection: the system may have no descriptors left, which may pass.
    std::shared_ptr<IoThread> ioThread() {
        const std::lock_guard lock(mutex_);
        if (!ioThread_) {
            ioThread_ = IoThread::shared();
        }
        return ioThread_;
    }

    std::shared_ptr<IoThread> startedThread() {
        const std::lock_guard lock(mutex_);
        return ioThread_;
    }

    // Weak: a manager belongs to its user and to its socket.
    struct Entry {
        std::string clientName;
        std::weak_ptr<WebsocketManager> manager;
    };

    const pid_t process_ = ::getpid();
    std::mutex mutex_;
    std::shared_ptr<IoThread> ioThread_;  ///< null until it could be started
    std::vector<Entry> managers_;
};

DefaultWebsocketManagerFactory::DefaultWebsocketManagerFactory() : impl_(std::make_unique<Impl>()) {
    zebutil::TlsContextQuestion::readEnvironment();
}

DefaultWebsocketManagerFactory::~DefaultWebsocketManagerFactory() {
    stopAndClearAll();
}

std::shared_ptr<IWebsocketManager> DefaultWebsocketManagerFactory::createWebsocketManager(
    const std::string& clientName, const WebsocketSettings& settings,
    std::shared_ptr<zebutil::ITaskExecutor> executor, std::shared_ptr<zebutil::ILogger> logger,
    WebsocketObserver observer) {
    return impl_->create(clientName, settings, executor, std::move(logger), std::move(observer));
}

void DefaultWebsocketManagerFactory::stopAndClearAll() {
    impl_->stopIf([](const std::string&) { return true; });
}

void DefaultWebsocketManagerFactory::removeClient(const std::string& clientName) {
    impl_->stopIf([&clientName](const std::string& name) { return name == clientName; });
}

}  // namespace zeb
