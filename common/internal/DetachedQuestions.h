#pragma once

#include <internal/BlockedSignals.h>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace internal {

/// Answers questions whose answer blocks for nobody knows how long, and cannot be interrupted: a look-up of a
/// name, files of a file system that hangs. It does so on threads of its own for which nobody waits, not even
/// the end of the process: whoever has asked can forget his question at any time. There is at most one thread
/// per question, whose answer everybody gets who has asked the same meanwhile, and there are only a few
/// threads at once.
///
/// This object may be destroyed while a thread is at work: `Function` stays until the last one has ended.
///
/// Thread safety: any thread may use it.
template <typename Key, typename Answer>
class DetachedQuestions {
    class State;
    struct Waiter;

 public:
    /// Answers a question. Blocks.
    using Function = std::function<Answer(const Key& key)>;

    /// The answer if there is no thread or no memory for one.
    using Failure = Answer (*)(const std::string& reason);

    /// Receives the answer, on a thread of this object or, if there can be none, on the caller's stack. Must
    /// do nothing but hand it over: a mutex is held. What it throws is ignored.
    using Done = std::function<void(const Answer& answer)>;

    /// A question. Once it is destroyed, its `Done` is not running and will not be called.
    class Question {
     public:
        Question() = default;
        Question(std::shared_ptr<State> state, std::shared_ptr<Waiter> waiter)
            : state_(std::move(state)), waiter_(std::move(waiter)) {}
        Question(Question&& other) noexcept = default;
        Question& operator=(Question&& other) noexcept {
            forget();
            state_ = std::move(other.state_);
            waiter_ = std::move(other.waiter_);
            return *this;
        }
        ~Question() { forget(); }

        void forget() {
            if (state_) {
                state_->forget(waiter_);
                state_.reset();
                waiter_.reset();
            }
        }

     private:
        std::shared_ptr<State> state_;
        std::shared_ptr<Waiter> waiter_;
    };

    static constexpr std::size_t kMostThreads = 4;

    /// What the threads are for.
    struct Work {
        const char* threadName;  ///< at most 15 characters
        const char* task;        ///< "look it up", for the log
    };

    DetachedQuestions(Work work, Function function, Failure failure)
        : work_(work), function_(std::move(function)), failure_(failure), current_(makeState().release()) {}
    ~DetachedQuestions() {
        if (const auto* const current = current_.load(); (*current)->isOfThisProcess()) {
            delete current;
        }
    }
    DetachedQuestions(const DetachedQuestions&) = delete;
    DetachedQuestions& operator=(const DetachedQuestions&) = delete;

    [[nodiscard]] Question ask(const Key& key, Done done) {
        const auto waiter = std::make_shared<Waiter>(Waiter{key, std::move(done)});
        const auto state = stateOfThisProcess();
        Question question(state, waiter);
        state->ask(waiter);
        return question;
    }

 private:
    struct Waiter {
        Key key;
        Done done;
    };

    // Shared by this object, the questions and the threads, because none of them waits for a thread.
    class State : public std::enable_shared_from_this<State> {
     public:
        State(Work work, Function function, Failure failure)
            : work_(work), function_(std::move(function)), failure_(failure) {}

        bool isOfThisProcess() const { return process_ == ::getpid(); }

        void ask(const std::shared_ptr<Waiter>& waiter) {
            const std::lock_guard lock(mutex_);
            enqueue(waiter);
            if (!queued_.empty() && threads_ < kMostThreads) {
                startThread();
            }
        }

        void forget(const std::shared_ptr<Waiter>& waiter) {
            if (!isOfThisProcess()) {
                return;
            }
            const std::lock_guard lock(mutex_);
            const auto found = waiters_.find(waiter->key);
            if (found == waiters_.end()) {
                return;
            }
            auto& waiters = found->second;
            waiters.erase(std::remove(waiters.begin(), waiters.end(), waiter), waiters.end());
            const auto queued = std::find(queued_.begin(), queued_.end(), waiter->key);
            if (waiters.empty() && queued != queued_.end()) {
                queued_.erase(queued);
                waiters_.erase(found);
            }
        }

     private:
        // A key that has waiters without being queued would never be answered, nor asked again.
        void enqueue(const std::shared_ptr<Waiter>& waiter) {
            const auto [found, isNew] = waiters_.try_emplace(waiter->key);
            try {
                found->second.push_back(waiter);
                if (isNew) {
                    queued_.push_back(waiter->key);
                }
            } catch (...) {
                if (isNew) {
                    waiters_.erase(found);
                }
                throw;
            }
        }

        void startThread() {
            const BlockedSignals blockedInTheNewThread;
            try {
                std::thread thread([self = this->shared_from_this()] { self->serve(); });
                pthread_setname_np(thread.native_handle(), work_.threadName);
                thread.detach();
                ++threads_;
            } catch (const std::exception& exception) {
                // The other threads may be blocked for long, so nobody should wait for them.
                const Answer answer =
                    failure_(std::string("no thread to ") + work_.task + ": " + exception.what());
                while (!queued_.empty()) {
                    const Key key = std::move(queued_.front());
                    queued_.pop_front();
                    tell(key, answer);
                }
            }
        }

        // Throws nothing: the thread has nobody to tell.
        void serve() noexcept {
            std::unique_lock lock(mutex_);
            while (!queued_.empty()) {
                const Key key = std::move(queued_.front());
                queued_.pop_front();
                lock.unlock();
                const Answer answer = answerTo(key);
                lock.lock();
                tell(key, answer);
            }
            --threads_;
        }

        Answer answerTo(const Key& key) noexcept {
            try {
                return function_(key);
            } catch (const std::exception&) {
                return failure_("out of memory");
            }
        }

        // Under the mutex, so that nobody is told who has forgotten his question.
        void tell(const Key& key, const Answer& answer) noexcept {
            const auto found = waiters_.find(key);
            if (found == waiters_.end()) {
                return;
            }
            for (const auto& waiter : found->second) {
                try {
                    waiter->done(answer);
                } catch (...) {
                    continue;  // no memory to hand it over: his time limit ends the wait
                }
            }
            waiters_.erase(found);
        }

        const Work work_;
        const Function function_;
        const Failure failure_;
        const pid_t process_ = ::getpid();
        std::mutex mutex_;
        std::size_t threads_ = 0;
        std::deque<Key> queued_;  ///< what no thread has taken yet
        /// Of every key that is queued or being answered.
        std::map<Key, std::vector<std::shared_ptr<Waiter>>> waiters_;
    };

    using Current = std::shared_ptr<State>;

    std::unique_ptr<Current> makeState() const {
        return std::make_unique<Current>(std::make_shared<State>(work_, function_, failure_));
    }

    // A forked child has none of the threads, and one of them may have held the mutex. So it begins afresh,
    // and never destroys what is the parent's.
    Current stateOfThisProcess() {
        Current* current = current_.load();
        if (!(*current)->isOfThisProcess()) {
            auto made = makeState();
            if (current_.compare_exchange_strong(current, made.get())) {
                current = made.release();
            }
        }
        return *current;
    }

    const Work work_;
    const Function function_;
    const Failure failure_;
    std::atomic<Current*> current_;
};

}  // namespace internal
