#include "IoThread.h"

#include <pthread.h>
#include <signal.h>

#include <boost/asio/post.hpp>
#include <future>
#include <mutex>
#include <type_traits>

namespace zeb {

namespace {

// Signals of the application must be handled by its own threads.
class BlockedSignals {
 public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &previous_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
    sigset_t previous_{};
};

}  // namespace

std::shared_ptr<IoThread> IoThread::shared() {
    // Never destroyed: at exit the executors' threads may still call this function.
    static std::mutex mutex;
    static_assert(std::is_trivially_destructible_v<std::mutex>);
    static auto& instance = *new std::weak_ptr<IoThread>();
    const std::lock_guard lock(mutex);
    std::shared_ptr<IoThread> thread = instance.lock();
    if (!thread) {
        thread = std::make_shared<IoThread>();
        instance = thread;
    }
    return thread;
}

IoThread::IoThread()
    : context_(std::make_shared<Context>(1)), work_(boost::asio::make_work_guard(*context_)) {
    const BlockedSignals blockedInTheNewThread;
    thread_ = std::thread([context = context_] { context->run(); });
    pthread_setname_np(thread_.native_handle(), "zebIo");
}

IoThread::~IoThread() {
    work_.reset();
    context_->stop();
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void IoThread::waitForPosted() {
    if (isCurrent()) {
        return;
    }
    std::promise<void> reached;
    boost::asio::post(*context_, [&reached] { reached.set_value(); });
    reached.get_future().wait();
    releaseKept();
}

void IoThread::keepForOthers(std::shared_ptr<void> object) {
    const std::lock_guard lock(keptMutex_);
    kept_.push_back(std::move(object));
}

void IoThread::releaseKept() {
    std::vector<std::shared_ptr<void>> released;
    const std::lock_guard lock(keptMutex_);
    released.swap(kept_);
}

}  // namespace zeb
