#pragma once

#include <zebutil/Export.h>

#include <functional>
#include <memory>

namespace zebutil {

/// Lets a task that waits for something end its wait when its executor is stopped. The task makes one before
/// it waits; the executor's stop() then calls it, and waits only for what is left of the task. On a thread
/// that is not a SingleThreadAsyncTaskExecutor's, it does nothing.
///
/// Owned by the task, on its stack. A later one replaces an earlier one for as long as it lives.
class ZEBUTIL_EXPORT StopHandler {
 public:
    /// `whenStopped` runs on the thread that stops the executor, or in this constructor if the executor has
    /// been stopped. It may still run after this object has been destroyed, so it owns what it uses. It must
    /// return at once.
    explicit StopHandler(std::function<void()> whenStopped);
    ~StopHandler();
    StopHandler(const StopHandler&) = delete;
    StopHandler& operator=(const StopHandler&) = delete;

    /// Whether the executor whose task calls this has been stopped. A task that does many things asks before
    /// each. False on a thread that is not a SingleThreadAsyncTaskExecutor's.
    static bool isStopped();

 private:
    std::shared_ptr<const std::function<void()>> whenStopped_;
    std::shared_ptr<const std::function<void()>> before_;
};

}  // namespace zebutil
