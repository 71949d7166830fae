#pragma once

#include <zebutil/Export.h>
#include <zebutil/ITaskExecutor.h>

#include <chrono>
#include <functional>
#include <utility>

namespace zebutil {

/// An executor that can also run a task later. Any thread may add tasks.
class ZEBUTIL_EXPORT ITimedTaskExecutor : public ITaskExecutor {
 public:
    /// Keeps `function` and returns at once. It runs at `at` or, if other tasks are running then, soon after.
    /// No thread is held until then. A task whose time has not come when the executor is stopped is dropped.
    /// @param name appears in the log if the task throws; copied
    virtual void addAt(std::chrono::steady_clock::time_point at, std::function<void()> function,
                       const char* name) = 0;

    /// As above, until removeTasks() is called with this owner. An executor that cannot remove tasks runs it
    /// nevertheless.
    virtual void addAt(std::chrono::steady_clock::time_point at, std::function<void()> function,
                       const char* name, const void* owner) {
        static_cast<void>(owner);
        addAt(at, std::move(function), name);
    }

    /// Drops the tasks of this owner whose time has not come. Does not wait for one that is running.
    virtual void removeTasks(const void* owner) noexcept { static_cast<void>(owner); }
};

}  // namespace zebutil
