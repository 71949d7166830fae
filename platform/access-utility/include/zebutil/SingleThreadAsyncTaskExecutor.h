#pragma once

#include <zebutil/Export.h>
#include <zebutil/ITimedTaskExecutor.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace zebutil {

class ILogger;

/// A first-in, first-out executor with one thread, which carries the executor's name. Tasks of addAt() whose
/// time has come run first. Tasks that are added before start() wait for it. If a task throws, the exception
/// is logged and the next task runs. There is no restart.
///
/// The thread may not be available, because the process or the machine has as many as it is allowed to. That
/// is logged; the tasks wait, and each further add(), addAt() or start() tries again. The thread blocks the
/// application's signals. In a forked child, which does not have the thread, the executor does nothing.
class ZEBUTIL_EXPORT SingleThreadAsyncTaskExecutor : public ITimedTaskExecutor {
 public:
    SingleThreadAsyncTaskExecutor(const std::string& name, std::unique_ptr<ILogger> logger);

    /// Stops the executor. Also allowed on the executor's own thread.
    ~SingleThreadAsyncTaskExecutor() override;
    SingleThreadAsyncTaskExecutor(const SingleThreadAsyncTaskExecutor&) = delete;
    SingleThreadAsyncTaskExecutor& operator=(const SingleThreadAsyncTaskExecutor&) = delete;

    /// Makes the thread. Never throws because there is none to be had.
    void start();

    /// Lets the running task finish, which a StopHandler can hasten, drops the queued ones and joins the
    /// thread. Called on the executor's own thread, it returns at once and takes effect when the running task
    /// ends. May be called more than once: every call on another thread returns only when the executor's
    /// thread has ended.
    void stop();

    void add(std::function<void()> function, const char* name) override;
    void addAt(std::chrono::steady_clock::time_point at, std::function<void()> function,
               const char* name) override;
    void addAt(std::chrono::steady_clock::time_point at, std::function<void()> function, const char* name,
               const void* owner) override;
    void removeTasks(const void* owner) noexcept override;

    /// Keeps `function` and runs it when the executor is stopped: after the running task, in place of the
    /// queued ones, and before stop() returns on another thread. Dropped if the executor never had a thread.
    /// @param name appears in the log if the task throws; copied
    void addLast(std::function<void()> function, const char* name);

 private:
    friend class StopHandler;
    class Worker;
    std::shared_ptr<Worker> worker_;
};

}  // namespace zebutil
