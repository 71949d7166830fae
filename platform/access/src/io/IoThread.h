#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zeb {

/// The thread that serves every WebSocket of the process and watches the time limits of HTTP exchanges. Owned
/// jointly by the objects that use it; it ends when the last of them is destroyed, on whichever thread that
/// happens.
///
/// Thread safety: any thread may use it.
class IoThread {
 public:
    /// The I/O thread of this process. Starts it if none is running.
    static std::shared_ptr<IoThread> shared();

    IoThread();
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    boost::asio::io_context& context() { return *context_; }

    /// Waits until everything that was posted before has run. Returns at once on the I/O thread itself.
    void waitForPosted();

    /// Destroys `object` at once, unless called on the I/O thread. Then the object is kept for the next
    /// thread that calls waitForPosted() or destroys the IoThread.
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

    // Shared with the thread, which may outlive this object by a moment.
    const std::shared_ptr<Context> context_;
    boost::asio::executor_work_guard<Context::executor_type> work_;
    std::thread thread_;
    std::mutex keptMutex_;
    std::vector<std::shared_ptr<void>> kept_;
};

}  // namespace zeb
