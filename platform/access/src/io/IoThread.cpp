#include "IoThread.h"

#include <internal/BlockedSignals.h>
#include <pthread.h>
#include <unistd.h>
#include <zebutil/ILogger.h>
#include <zebutil/ITaskExecutor.h>
#include <zebutil/LoggerFactory.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>

#include "ReservedPost.h"

#ifndef BOOST_ASIO_HAS_THREAD_KEYWORD_EXTENSION
#error "At exit, Asio would delete the key of its thread-local data while this thread still runs."
#endif

namespace zeb {

namespace {

// Memory may come back at any time, and nobody says so.
constexpr std::chrono::milliseconds kPauseBeforeTellingAgain{5};

/// The thread that a process shares. Never destroyed: at exit the executors' threads may still use it, and in
/// a forked child another thread may have held the mutex.
struct Shared {
    const pid_t process = ::getpid();
    std::mutex mutex;
    std::weak_ptr<IoThread> thread;

    static Shared& ofThisProcess() {
        static std::atomic<Shared*> instance = nullptr;
        Shared* present = instance.load();
        if (present == nullptr || present->process != ::getpid()) {
            auto made = std::make_unique<Shared>();
            if (instance.compare_exchange_strong(present, made.get())) {
                present = made.release();
            }
        }
        return *present;
    }
};

}  // namespace

std::shared_ptr<IoThread> IoThread::shared() {
    Shared& present = Shared::ofThisProcess();
    const std::lock_guard lock(present.mutex);
    std::shared_ptr<IoThread> thread = present.thread.lock();
    if (!thread) {
        thread = std::make_shared<IoThread>();
        present.thread = thread;
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
    // Stop() and the end of the process come here, with or without memory.
    ReservedPost reserved;
    std::mutex mutex;
    std::condition_variable changed;
    bool isReached = false;
    post(reserved.handler([&] {
        const std::lock_guard lock(mutex);
        isReached = true;
        changed.notify_one();
    }));
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&isReached] { return isReached; });
    }
    releaseKept();
}

// ---------------------------------------------------------------------------------------------- failures

void IoThread::addUser(const std::weak_ptr<User>& user) {
    const std::lock_guard lock(state_->mutex);
    auto& users = state_->users;
    if (!state_->isFailureToTell) {
        users.erase(std::remove_if(users.begin(), users.end(), [](const auto& one) { return one.expired(); }),
                    users.end());
    }
    users.push_back(user);
}

void IoThread::State::run() {
    while (!context.stopped()) {
        try {
            if (isFailureToTell) {
                tellFailure();
            }
            if (isFailureToTell) {
                // What is posted meanwhile runs all the same: somebody may wait for it.
                context.run_for(kPauseBeforeTellingAgain);
            } else {
                context.run();
            }
        } catch (const std::exception& exception) {
            noteFailure(exception.what());
        } catch (...) {
            noteFailure("something that is not a std::exception");
        }
    }
}

void IoThread::State::noteFailure(const char* reason) noexcept {
    std::snprintf(failure.data(), failure.size(), "%s", reason);
    const std::lock_guard lock(mutex);
    isFailureToTell = true;
}

// An operation that has lost its handler says nothing to anybody. So every user ends its work and begins
// anew; that is seldom enough. No further failure may follow, so this one is told until all know it.
void IoThread::State::tellFailure() noexcept {
    if (!tellUsers()) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        isFailureToTell = false;
    }
    logFailure();
}

// Whether all of them have ended their work.
bool IoThread::State::tellUsers() noexcept {
    std::size_t count = 0;
    {
        const std::lock_guard lock(mutex);
        count = users.size();
    }
    bool areAllTold = true;
    for (std::size_t index = 0; index < count; ++index) {
        std::shared_ptr<User> user;
        {
            const std::lock_guard lock(mutex);
            user = users[index].lock();
        }
        try {
            if (user) {
                user->onIoFailure(failure.data());
            }
        } catch (...) {  // the others are to be told all the same
            areAllTold = false;
        }
    }
    return areAllTold;
}

void IoThread::State::logFailure() noexcept {
    try {
        zebutil::LoggerFactory::getDefaultLoggerFactory()
            ->createLogger("I/O thread")
            ->error(std::string("an operation threw: ") + failure.data() +
                    "; every WebSocket is closed and opened again");
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
