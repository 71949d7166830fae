#include <internal/BlockedSignals.h>
#include <internal/KeptMemory.h>
#include <pthread.h>
#include <unistd.h>
#include <zebutil/ILogger.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>
#include <zebutil/StopHandler.h>
#include <zebutil/Task.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zebutil {

namespace {

constexpr std::size_t kKeptTasks = 64;

}  // namespace

// Shared by the executor and its thread, so that the thread can outlive an executor that one of its own tasks
// destroys.
class SingleThreadAsyncTaskExecutor::Worker : public std::enable_shared_from_this<Worker> {
 public:
    using StopFunction = std::shared_ptr<const std::function<void()>>;
    using Time = std::chrono::steady_clock::time_point;
    struct TimedTask {
        Task task;
        const void* owner = nullptr;
    };
    using TimedTasks = std::multimap<Time, TimedTask>;

    Worker(const std::string& name, std::unique_ptr<ILogger> logger)
        : name_(name), logger_(std::move(logger)) {}

    /// The worker whose thread calls this; null on other threads.
    static Worker*& current() {
        static thread_local Worker* worker = nullptr;
        return worker;
    }

    void start() {
        if (isInForkedChild()) {
            return;
        }
        process_ = ::getpid();  // first: a fork may come before the thread is there
        {
            const std::lock_guard lock(mutex_);
            isStarted_ = true;
        }
        makeThread();
    }

    void stop() {
        if (isInForkedChild()) {
            return;
        }
        std::vector<Task> dropped;
        TimedTasks droppedTimed;
        StopFunction whenStopped;
        bool isOwnThread = false;
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
            dropped.swap(queue_);
            droppedTimed.swap(timed_);
            whenStopped = whenStopped_;
            isOwnThread = threadId_ == std::this_thread::get_id();
        }
        wakeUp_.notify_one();
        call(whenStopped);
        reportDropped(dropped.size() + droppedTimed.size());
        dropped.clear();
        droppedTimed.clear();
        if (isOwnThread) {
            return;  // the next stop() on another thread joins the thread, or abandon() detaches it
        }
        // Of two concurrent calls, both return only when the thread has ended.
        const std::lock_guard threadLock(threadMutex_);
        if (thread_.joinable()) {
            thread_.join();
        }
    }

    // Called when the executor is destroyed. If that happens on its own thread, the thread ends by itself
    // after the running task.
    void abandon() {
        if (isInForkedChild()) {
            return;
        }
        stop();
        const std::lock_guard threadLock(threadMutex_);
        if (thread_.joinable()) {
            thread_.detach();
        }
    }

    void add(Task task) {
        if (isInForkedChild()) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            if (!stopped_) {
                queue_.push_back(std::move(task));
                if (!isStarted_ || (hasThread() && (queue_.size() > 1 || !waiting_))) {
                    return;  // the thread is still to come, is busy, or has been woken up for an earlier task
                }
            }
        }
        makeThread();
        wakeUp_.notify_one();
    }

    void addAt(Time at, Task task, const void* owner) {
        if (isInForkedChild()) {
            return;
        }
        {
            const std::lock_guard lock(mutex_);
            if (!stopped_) {
                timed_.emplace(at, TimedTask{std::move(task), owner});
            }
        }
        makeThread();
        wakeUp_.notify_one();
    }

    void removeTasks(const void* owner) noexcept {
        if (isInForkedChild()) {
            return;
        }
        TimedTasks::node_type removed;  // destroyed without the lock
        do {
            removed = {};
            const std::lock_guard lock(mutex_);
            const auto found = std::find_if(timed_.begin(), timed_.end(), [owner](const auto& timed) {
                return timed.second.owner == owner;
            });
            if (found != timed_.end()) {
                removed = timed_.extract(found);
            }
        } while (!removed.empty());
    }

    void addLast(Task task) {
        if (isInForkedChild()) {
            return;
        }
        const std::lock_guard lock(mutex_);
        if (!stopped_) {
            last_.push_back(std::move(task));
        }
    }

    bool isStopped() const { return stopped_; }

    /// Sets what stop() calls while the running task waits, and returns what was set before.
    StopFunction exchangeStopFunction(StopFunction whenStopped) {
        StopFunction before;
        bool isLate = false;
        {
            const std::lock_guard lock(mutex_);
            before = std::exchange(whenStopped_, whenStopped);
            isLate = stopped_;
        }
        if (isLate) {
            call(whenStopped);
        }
        return before;
    }

 private:
    /// Makes the thread unless it is there. The process may have as many threads as it is allowed to. Then
    /// the tasks wait, and the next one that is added tries again.
    void makeThread() {
        std::string failure;
        int failures = 0;
        {
            const std::lock_guard lock(mutex_);
            if (!isStarted_ || stopped_ || hasThread()) {
                return;
            }
            try {
                const internal::BlockedSignals blocked;
                thread_ = std::thread([self = shared_from_this()] { self->run(); });
                threadId_ = thread_.get_id();
                // The kernel limits the name to fifteen characters.
                pthread_setname_np(thread_.native_handle(), name_.substr(0, 15).c_str());
                failures = std::exchange(failures_, 0);
            } catch (const std::exception& exception) {
                if (++failures_ > 1) {
                    return;
                }
                failure = exception.what();
            }
        }
        report([&] {
            if (!failure.empty()) {
                logger_->error("executor \"" + name_ + "\" cannot make its thread: " + failure +
                               "; its tasks wait, and the next one that is added tries again");
            } else if (failures > 0) {
                logger_->info("executor \"" + name_ +
                              "\" has its thread, after failed attempts: " + std::to_string(failures));
            }
        });
    }

    bool hasThread() const { return threadId_ != std::thread::id(); }

    /// In a forked child the thread does not exist, and another thread may have held a lock when the process
    /// was forked. So everything stays as it is there.
    bool isInForkedChild() const {
        const pid_t process = process_;
        return process != 0 && process != ::getpid();
    }

    static void call(const StopFunction& whenStopped) {
        if (whenStopped) {
            report([&whenStopped] { (*whenStopped)(); });
        }
    }

    void reportDropped(std::size_t count) const {
        if (count > 0) {
            report([&] {
                logger_->info("executor \"" + name_ +
                              "\" stopped, queued tasks dropped: " + std::to_string(count));
            });
        }
    }

    /// Logging may fail for want of memory. That must end neither the thread nor the process.
    template <typename Report>
    static void report(Report report) noexcept {
        try {
            report();
        } catch (...) {
            // There is no other place to report it.
        }
    }

    void run() {
        current() = this;
        std::vector<Task> batch;
        std::unique_lock lock(mutex_);
        while (true) {
            waiting_ = true;
            waitForTask(lock);
            waiting_ = false;
            if (stopped_) {
                batch.swap(last_);
                lock.unlock();
                for (const Task& task : batch) {
                    runTask(task);
                }
                return;
            }
            if (isTimedTaskDue()) {
                auto due = timed_.extract(timed_.begin());
                lock.unlock();
                runTask(due.mapped().task);
                due = {};
                lock.lock();
                if (queue_.empty()) {
                    continue;
                }
            }
            // Taking all tasks at once costs one lock and at most one wake-up for a burst of them.
            batch.swap(queue_);
            lock.unlock();
            runBatch(batch);
            lock.lock();
        }
    }

    /// Returns when there is a task to run, or the executor is stopped.
    void waitForTask(std::unique_lock<std::mutex>& lock) {
        while (!stopped_ && queue_.empty() && !isTimedTaskDue()) {
            if (timed_.empty()) {
                wakeUp_.wait(lock);
            } else {
                const Time next = timed_.begin()->first;  // a copy: meanwhile, the task may be dropped
                wakeUp_.wait_until(lock, next);
            }
        }
    }

    bool isTimedTaskDue() const {
        return !timed_.empty() && timed_.begin()->first <= std::chrono::steady_clock::now();
    }

    void runBatch(std::vector<Task>& batch) {
        std::size_t executed = 0;
        for (Task& task : batch) {
            if (isStopped()) {
                reportDropped(batch.size() - executed);
                break;
            }
            runTask(task);
            // Release what the task holds before the next one runs.
            task = Task();
            ++executed;
        }
        internal::clearKeeping(batch, kKeptTasks);
    }

    void runTask(const Task& task) {
        try {
            task();
        } catch (const std::exception& exception) {
            report([&] { logger_->error("task \"" + task.getName() + "\" threw: " + exception.what()); });
        } catch (...) {
            report([&] {
                logger_->error("task \"" + task.getName() +
                               "\" threw something that is not a std::exception");
            });
        }
    }

    const std::string name_;
    const std::unique_ptr<ILogger> logger_;

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::vector<Task> queue_;
    TimedTasks timed_;
    std::vector<Task> last_;
    bool isStarted_ = false;
    std::atomic<bool> stopped_ = false;  ///< set while mutex_ is held
    bool waiting_ = false;
    int failures_ = 0;  ///< of making the thread
    std::thread::id threadId_;
    StopFunction whenStopped_;        ///< of the running task
    std::atomic<pid_t> process_ = 0;  ///< the one that has started it; 0: none has

    /// Held during the join, which waits for the running task. A stop() that is called by that task does not
    /// lock it.
    std::mutex threadMutex_;
    /// Set while mutex_ is held, and only before stopped_ is set. After that, threadMutex_ protects it.
    std::thread thread_;
};

SingleThreadAsyncTaskExecutor::SingleThreadAsyncTaskExecutor(const std::string& name,
                                                             std::unique_ptr<ILogger> logger)
    : worker_(std::make_shared<Worker>(name, std::move(logger))) {}

SingleThreadAsyncTaskExecutor::~SingleThreadAsyncTaskExecutor() {
    worker_->abandon();
}

void SingleThreadAsyncTaskExecutor::start() {
    worker_->start();
}

void SingleThreadAsyncTaskExecutor::stop() {
    worker_->stop();
}

void SingleThreadAsyncTaskExecutor::add(std::function<void()> function, const char* name) {
    worker_->add(Task(std::move(function), name));
}

void SingleThreadAsyncTaskExecutor::addAt(std::chrono::steady_clock::time_point at,
                                          std::function<void()> function, const char* name) {
    addAt(at, std::move(function), name, nullptr);
}

void SingleThreadAsyncTaskExecutor::addAt(std::chrono::steady_clock::time_point at,
                                          std::function<void()> function, const char* name,
                                          const void* owner) {
    worker_->addAt(at, Task(std::move(function), name), owner);
}

void SingleThreadAsyncTaskExecutor::removeTasks(const void* owner) noexcept {
    worker_->removeTasks(owner);
}

void SingleThreadAsyncTaskExecutor::addLast(std::function<void()> function, const char* name) {
    worker_->addLast(Task(std::move(function), name));
}

StopHandler::StopHandler(std::function<void()> whenStopped)
    : whenStopped_(std::make_shared<const std::function<void()>>(std::move(whenStopped))) {
    if (auto* const worker = SingleThreadAsyncTaskExecutor::Worker::current()) {
        before_ = worker->exchangeStopFunction(whenStopped_);
    }
}

StopHandler::~StopHandler() {
    if (auto* const worker = SingleThreadAsyncTaskExecutor::Worker::current()) {
        worker->exchangeStopFunction(std::move(before_));
    }
}

bool StopHandler::isStopped() {
    const auto* const worker = SingleThreadAsyncTaskExecutor::Worker::current();
    return worker != nullptr && worker->isStopped();
}

}  // namespace zebutil
