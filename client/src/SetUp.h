#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace clampcontrolclient {

/// Makes a client out of the framework's objects. That may fail because the system lacks something that may
/// be there later, such as descriptors or memory. Then it is tried again: when asked to, and from then on
/// after growing pauses, by a task of the executor.
///
/// Owned by the client, by shared pointer, because the task may outlive it. Thread safety: any thread. In a
/// forked child it does nothing: a thread that did not come along may have locked the mutex.
class SetUp : public std::enable_shared_from_this<SetUp> {
 public:
    struct Steps {
        /// Makes the client. Throws what has failed; it may be called again then.
        std::function<void()> make;
        /// Called on the executor after a later attempt has succeeded.
        std::function<void()> madeLater;
    };

    explicit SetUp(Steps steps) : steps_(std::move(steps)) {}

    /// Whether a failure of `Steps::make` is one after which it is tried again.
    static bool mayPass(const std::exception& failure);

    /// The first attempt. Never throws: a failure is logged.
    void make();

    /// Tries again if the system lacked something, and goes on by itself until the client is made, end() or
    /// forget().
    void makeAgain();

    /// In case the executor, whose task makes the next attempt, still has no thread.
    void askForThread();

    /// After makeAgain(): in case there was no memory for that task either. Does not wait.
    void keepTrying();

    /// No further attempt is made. One that is under way on another thread ends first.
    void end();

    /// The client is being destroyed: as end(), and nothing of it is called any more.
    void forget();

    /// Calls `change` between two attempts, unless the client is made already.
    template <typename Change>
    void changeUnlessMade(Change change) {
        if (isMade_ || isOfParentProcess()) {
            return;
        }
        const std::lock_guard lock(mutex_);
        change();
    }

    /// Whether the client is made, and the process was not forked since the first attempt.
    bool isUsable() const { return isMade_ && !isOfParentProcess(); }
    bool isMade() const { return isMade_; }
    bool isOfParentProcess() const;

 private:
    // These need the mutex.
    void attempt();
    void attemptLater();
    static void note(const char* failure);

    void attemptOnExecutor();

    static constexpr std::chrono::milliseconds kFirstPause{100};
    static constexpr std::chrono::milliseconds kLongestPause{10000};

    static pid_t currentProcess();

    const pid_t process_ = currentProcess();
    std::mutex mutex_;
    Steps steps_;
    bool isTaskPending_ = false;  ///< whether the task waits
    std::chrono::milliseconds pause_{kFirstPause};
    std::atomic<bool> mayBeMadeLater_ = false;
    std::atomic<bool> isMade_ = false;
};

}  // namespace clampcontrolclient
