#pragma once

#include <atomic>
#include <future>
#include <utility>

namespace clampcontrolclient {

/// The only way from the library into the application's callback. Once the gate is closed, no call passes.
/// That makes it safe to destroy a client while the library's thread is about to call its callback.
///
/// Any thread may use it. No lock is held while the application is called.
class CallbackGate {
 public:
    /// Calls `call`, unless the gate is closed.
    template <typename Call>
    void pass(Call&& call) {
        const Passage passage(*this);
        if (passage.admitted()) {
            std::forward<Call>(call)();
        }
    }

    /// Closes the gate. When it returns, no call is running and none will run. Called from inside a callback,
    /// it does not wait: only one thread makes calls, so the running call is that very callback.
    void close();

    /// Whether this thread is inside the callback of any client.
    static bool isInsideCallback();

 private:
    class Passage {
     public:
        explicit Passage(CallbackGate& gate);
        ~Passage();
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

        bool admitted() const { return admitted_; }

     private:
        CallbackGate& gate_;
        const bool admitted_;
        const bool wasInside_;
    };

    bool enter();
    void leave();

    static constexpr unsigned kClosedFlag = 1U << 31U;
    /// `kClosedFlag`, plus the number of running calls.
    std::atomic<unsigned> state_ = 0;
    std::promise<void> drained_;
    std::shared_future<void> whenDrained_{drained_.get_future().share()};
};

}  // namespace clampcontrolclient
