#include <pthread.h>
#include <zebutil/ILogger.h>
#include <zebutil/SingleThreadAsyncTaskExecutor.h>
#include <zebutil/Task.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace zebutil {

// Shared by the executor and its thread, so that the thread can outlive an executor that one of its own tasks
// destroys.
class SingleThreadAsyncTaskExecutor::Worker {
 public:
    Worker(const std::string& name, std::unique_ptr<ILogger> logger)
        : name_(name), logger_(std::move(logger)) {}

    static void start(const std::shared_ptr<Worker>& self) {
        const std::lock_guard lock(self->mutex_);
        if (self->stopped_ || self->threadId_ != std::thread::id()) {
            return;
        }
        self->thread_ = std::thread([self] { self->run(); });
        self->threadId_ = self->thread_.get_id();
        // The kernel limits the name to fifteen characters.
        pthread_setname_np(self->thread_.native_handle(), self->name_.substr(0, 15).c_str());
    }

    void stop() {
        std::vector<Task> dropped;
        bool isOwnThread = false;
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
            dropped.swap(queue_);
            isOwnThread = threadId_ == std::this_thread::get_id();
        }
        wakeUp_.notify_one();
        if (!dropped.empty()) {
            logger_->info("executor \"" + name_ +
                          "\" stopped, queued tasks dropped: " + std::to_string(dropped.size()));
        }
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
        stop();
        const std::lock_guard threadLock(threadMutex_);
        if (thread_.joinable()) {
            thread_.detach();
        }
    }

    void add(Task task) {
        {
            const std::lock_guard lock(mutex_);
            if (!stopped_) {
                queue_.push_back(std::move(task));
                if (queue_.size() > 1 || !waiting_) {
                    return;  // the thread is busy, or has been woken up for an earlier task
                }
            }
        }
        wakeUp_.notify_one();
    }

 private:
    void run() {
        std::vector<Task> batch;
        std::unique_lock lock(mutex_);
        while (true) {
            waiting_ = true;
            wakeUp_.wait(lock, [this] { return stopped_ || !queue_.empty(); });
            waiting_ = false;
            if (stopped_) {
                return;
            }
            // Taking all tasks at once costs one lock and at most one wake-up for a burst of them.
            batch.swap(queue_);
            lock.unlock();
            runBatch(batch);
            lock.lock();
        }
    }

    void runBatch(std::vector<Task>& batch) {
        std::size_t executed = 0;
        for (Task& task : batch) {
            if (isStopped()) {
                logger_->info("executor \"" + name_ +
                              "\" stopped, queued tasks dropped: " + std::to_string(batch.size() - executed));
                break;
            }
            runTask(task);
            // Release what the task holds before the next one runs.
            task = Task();
            ++executed;
        }
        batch.clear();
    }

    bool isStopped() {
        const std::lock_guard lock(mutex_);
        return stopped_;
    }

    void runTask(const Task& task) {
        try {
            task();
        } catch (const std::exception& exception) {
            logger_->error("task \"" + task.getName() + "\" threw: " + exception.what());
        } catch (...) {
            logger_->error("task \"" + task.getName() + "\" threw something that is not a std::exception");
        }
    }

    const std::string name_;
    const std::unique_ptr<ILogger> logger_;

    std::mutex mutex_;
    std::condition_variable wakeUp_;
    std::vector<Task> queue_;
    bool stopped_ = false;
    bool waiting_ = false;
    std::thread::id threadId_;

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
    Worker::start(worker_);
}

void SingleThreadAsyncTaskExecutor::stop() {
    worker_->stop();
}

void SingleThreadAsyncTaskExecutor::add(std::function<void()> function, const char* name) {
    worker_->add(Task(std::move(function), name));
}

}  // namespace zebutil
