#include "IoThread.h"

#include <internal/BlockedSignals.h>
#include <pthread.h>
#include <unistd.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/LoggerFactory.h>

#include <algorithm>
#include <exception>
#include <future>
#include <type_traits>

namespace zeb {

std::shared_ptr<IoThread> IoThread::shared() {
    // Never destroyed: at exit the executors' threads may still call this function.
    static std::mutex mutex;
    static_assert(std::is_trivially_destructible_v<std::mutex>);
    static auto& instance = *new std::weak_ptr<IoThread>();
    const std::lock_guard lock(mutex);
    std::shared_ptr<IoThread> thread = instance.lock();
    if (!thread || thread->isInForkedChild()) {
        thread = std::make_shared<IoThread>();
        instance = thread;
    }
    return thread;
}

IoThread::IoThread() : state_(std::make_shared<State>()), process_(::getpid()) {
    const internal::BlockedSignals blockedInTheNewThread;
    state_->thread = std::thread([state = state_] { state->run(); });
    pthread_setname_np(state_->thread.native_handle(), "zebIo");
}

IoThread::~IoThread() {
    if (isInForkedChild()) {
        // The thread does not exist here, and may have held any lock when the process was forked. So nobody
        // waits for it or for its locks. Its own hold on the state keeps that for good.
        return;
    }
    state_->work.reset();
    state_->context.stop();
    if (isCurrent()) {
        state_->thread.detach();
    } else {
        state_->thread.join();
    }
}

bool IoThread::isInForkedChild() const {
    return process_ != ::getpid();
}

void IoThread::waitForPosted() {
    if (isCurrent() || isInForkedChild()) {
        return;
    }
    std::promise<void> reached;
    post([&reached] { reached.set_value(); });
    reached.get_future().wait();
    releaseKept();
}

// ---------------------------------------------------------------------------------------------- failures

void IoThread::addUser(const std::weak_ptr<User>& user) {
    const std::lock_guard lock(state_->mutex);
    auto& users = state_->users;
    users.erase(std::remove_if(users.begin(), users.end(), [](const auto& one) { return one.expired(); }),
                users.end());
    users.push_back(user);
}

void IoThread::State::run() {
    while (true) {
        try {
            context.run();
            return;
        } catch (const std::exception& exception) {
            tellFailure(exception.what());
        } catch (...) {
            tellFailure("something that is not a std::exception");
        }
    }
}

// An operation that has lost its handler says nothing to anybody. So every user ends its work and begins
// anew; that is seldom enough.
void IoThread::State::tellFailure(const std::string& reason) noexcept {
    std::vector<std::weak_ptr<User>> told;
    try {
        const std::lock_guard lock(mutex);
        told = users;
    } catch (...) {
        return;  // no memory even for that: the next failure tries again
    }
    for (const auto& weak : told) {
        try {
            if (const auto user = weak.lock()) {
                user->onIoFailure(reason);
            }
        } catch (...) {  // the others are to be told all the same
            continue;
        }
    }
    try {
        zebutil::LoggerFactory::getDefaultLoggerFactory()
            ->createLogger("I/O thread")
            ->error("an operation threw: " + reason + "; every WebSocket is closed and opened again");
    } catch (...) {  // there is no memory for a message
        return;
    }
}

// ---------------------------------------------------------------------------- objects of other threads

// A stopped executor drops the task, and destroys it on the thread that has added it: the I/O thread.
class IoThread::Parcel {
 public:
    explicit Parcel(std::weak_ptr<IoThread> ioThread) : ioThread_(std::move(ioThread)) {}
    ~Parcel() {
        if (const auto thread = ioThread_.lock(); content && thread && thread->isCurrent()) {
            thread->keepForOthers(std::move(content));
        }
    }
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    Anything content{nullptr, [](void*) {}};

 private:
    const std::weak_ptr<IoThread> ioThread_;
};

void IoThread::releaseByTask(const std::weak_ptr<IoThread>& ioThread,
                             const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                             Anything object) noexcept {
    try {
        const auto parcel = std::make_shared<Parcel>(ioThread);
        parcel->content = std::move(object);
        if (executor) {
            executor->add([parcel] { parcel->content.reset(); }, "release of an ended subscription");
        }
    } catch (...) {
        // There is no memory for the task. Better lost than destroyed on this thread.
        static_cast<void>(object.release());
    }
}

void IoThread::keepForOthers(Anything object) noexcept {
    try {
        const std::lock_guard lock(keptMutex_);
        kept_.emplace_back(nullptr, [](void*) {});
        kept_.back() = std::move(object);
    } catch (...) {
        static_cast<void>(object.release());
    }
}

void IoThread::releaseKept() {
    std::vector<Anything> released;
    const std::lock_guard lock(keptMutex_);
    released.swap(kept_);
}

}  // namespace zeb
