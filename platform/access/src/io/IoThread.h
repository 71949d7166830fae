#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zeb {

/// The thread that serves every WebSocket of the process. Kept by each factory and each WebSocket; ends with
/// the last of them, wherever that is released.
class IoThread {
 public:
    /// The one of this process, started if there is none.
    static std::shared_ptr<IoThread> shared();

    IoThread();
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    boost::asio::io_context& context() { return *context_; }

    /// Returns when everything that was posted before has run. Does nothing on the thread itself.
    void waitForPosted();

    /// Destroys `object` here and now, except on the thread itself: then whoever next waits for it, or ends
    /// it, does.
    template <typename Object>
    static void releaseElsewhere(const std::weak_ptr<IoThread>& ioThread, std::unique_ptr<Object> object) {
        if (const auto thread = ioThread.lock(); thread && thread->isCurrent()) {
            thread->keepForOthers(std::shared_ptr<void>(std::move(object)));
        }
    }

 private:
    using Context = boost::asio::io_context;

    bool isCurrent() const { return thread_.get_id() == std::this_thread::get_id(); }
    void keepForOthers(std::shared_ptr<void> object);
    void releaseKept();

    // Shared with the thread, which may have to outlive this object by a moment.
    const std::shared_ptr<Context> context_;
    boost::asio::executor_work_guard<Context::executor_type> work_;
    std::thread thread_;
    std::mutex keptMutex_;
    std::vector<std::shared_ptr<void>> kept_;
};

}  // namespace zeb
