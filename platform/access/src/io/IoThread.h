#pragma once

#include <sys/types.h>

#include <array>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zebutil {
class ITaskExecutor;
}

namespace zeb {

/// The thread that serves every WebSocket of the process and watches the time limits of HTTP exchanges. Owned
/// jointly by the objects that use it; it ends when the last of them is destroyed, on whichever thread that
/// happens.
///
/// A forked child has no such thread. There, this object does nothing: it posts nothing, waits for nothing,
/// and is never freed.
///
/// Thread safety: any thread may use it.
class IoThread {
 public:
    /// Somebody whose work the thread does.
    class User {
     public:
        /// The work of somebody has ended with an exception that nobody has caught, perhaps for want of
        /// memory. Whose work it was is not known. On the I/O thread.
        /// @throws std::exception when it cannot end its work now; it is then called again soon
        virtual void onIoFailure(const char* reason) = 0;

     protected:
        ~User() = default;
    };

    /// The I/O thread of this process. Starts it if none is running.
    /// @throws std::system_error if the system has no descriptor or no thread left, which may pass
    static std::shared_ptr<IoThread> shared();

    IoThread();
    ~IoThread();
    IoThread(const IoThread&) = delete;
    IoThread& operator=(const IoThread&) = delete;

    boost::asio::io_context& context() { return state_->context; }

    /// Runs `function` on the thread, after everything that was posted before.
    template <typename Function>
    void post(Function function) {
        if (!isInForkedChild()) {
            boost::asio::post(state_->context, std::move(function));
        }
    }

    /// Waits until everything that was posted before has run. Returns at once on the I/O thread itself. Needs
    /// no memory.
    void waitForPosted();

    /// Tells `user` of failures as long as it exists.
    void addUser(const std::weak_ptr<User>& user);

    /// Destroys `object` at once, unless called on the I/O thread. Then a task of `executor` does it. If the
    /// executor has stopped, the object is kept for the next thread that calls waitForPosted() or destroys
    /// the IoThread.
    template <typename Object>
    static void releaseElsewhere(const std::weak_ptr<IoThread>& ioThread,
                                 const std::weak_ptr<zebutil::ITaskExecutor>& executor,
                                 std::unique_ptr<Object> object) noexcept {
        if (const auto thread = ioThread.lock(); thread && thread->isCurrent()) {
            releaseByTask(ioThread, executor.lock(), Anything(object.release(), [](void* released) {
                              delete static_cast<Object*>(released);
                          }));
        }
    }

 private:
    using Context = boost::asio::io_context;
    using Anything = std::unique_ptr<void, void (*)(void*)>;
    class Parcel;

    // Shared with the thread, which may outlive the IoThread by a moment. In a forked child it stays for
    // good.
    struct State {
        Context context{1};
        boost::asio::executor_work_guard<Context::executor_type> work{boost::asio::make_work_guard(context)};
        std::thread thread;
        std::mutex mutex;
        std::vector<std::weak_ptr<User>> users;
        // Somebody has not been told of the last failure yet. Until then no user is removed. Needs no memory,
        // because a lack of it is the usual failure.
        bool isFailureToTell = false;
        std::array<char, 128> failure{};

        void run();
        void noteFailure(const char* reason) noexcept;
        void tellFailure() noexcept;
        bool tellUsers() noexcept;
        void logFailure() noexcept;
    };

    bool isCurrent() const { return state_->thread.get_id() == std::this_thread::get_id(); }
    bool isInForkedChild() const;
    static void releaseByTask(const std::weak_ptr<IoThread>& ioThread,
                              const std::shared_ptr<zebutil::ITaskExecutor>& executor,
                              Anything object) noexcept;
    void keepForOthers(Anything object) noexcept;
    void releaseKept();

    const std::shared_ptr<State> state_;
    const pid_t process_;
    std::mutex keptMutex_;
    std::vector<Anything> kept_;
};

}  // namespace zeb
