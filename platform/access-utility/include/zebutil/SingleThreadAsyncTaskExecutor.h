#pragma once

#include <zebutil/Export.h>
#include <zebutil/ITaskExecutor.h>

#include <functional>
#include <memory>
#include <string>

namespace zebutil {

class ILogger;

/// A first-in, first-out executor with one thread, which carries the executor's name. Tasks that were added
/// before start() wait for it. A task that throws is logged and the next one runs. There is no restart.
class ZEBUTIL_EXPORT SingleThreadAsyncTaskExecutor : public ITaskExecutor {
 public:
    SingleThreadAsyncTaskExecutor(const std::string& name, std::unique_ptr<ILogger> logger);

    /// Stops. Also allowed on the executor's own thread.
    ~SingleThreadAsyncTaskExecutor() override;
    SingleThreadAsyncTaskExecutor(const SingleThreadAsyncTaskExecutor&) = delete;
    SingleThreadAsyncTaskExecutor& operator=(const SingleThreadAsyncTaskExecutor&) = delete;

    void start();

    /// Lets the running task end, drops the queued ones and joins the thread. Called on the executor's own
    /// thread it returns at once and takes effect when the running task ends. Calling it again does nothing.
    void stop();

    void add(std::function<void()> function, const char* name) override;

 private:
    class Worker;
    std::shared_ptr<Worker> worker_;
};

}  // namespace zebutil
