#pragma once

#include <atomic>
#include <future>
#include <utility>

namespace clampcontrolclient {

/// The one way from the library into the application's callback. Once it is closed nothing passes any more,
/// which is what lets a client be destroyed while the library's thread is about to call it.
///
/// Any thread may use it. Nothing is locked while the application is called.
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

    /// Once it has returned no call runs or will run. Called from inside a callback it does not wait: there
    /// is one thread that calls, so what is still running is that very callback.
    void close();

    /// Whether this thread is inside the callback of some client.
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
    /// `kClosedFlag`, and how many calls are running.
    std::atomic<unsigned> state_ = 0;
    std::promise<void> drained_;
    std::shared_future<void> whenDrained_{drained_.get_future().share()};
};

}  // namespace clampcontrolclient
