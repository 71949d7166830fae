#pragma once

#include <zebutil/Export.h>

#include <functional>

namespace zebutil {

/// Runs tasks one after another on its own thread. Any thread may add tasks.
class ZEBUTIL_EXPORT ITaskExecutor {
 public:
    virtual ~ITaskExecutor() = default;

    /// Queues `function` and returns at once. A task that is added after the executor was stopped is dropped.
    /// @param name appears in the log if the task throws; copied
    virtual void add(std::function<void()> function, const char* name) = 0;
};

}  // namespace zebutil
