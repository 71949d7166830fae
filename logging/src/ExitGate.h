#pragma once

#include <atomic>
#include <chrono>

namespace csc_logging {

/// Counts the visits to something that the end of the process will destroy, and refuses further ones once
/// that has begun. ProcessStatic is built on it.
///
/// Thread safety: any thread. A gate may itself be a static: it is constant-initialised and trivially
/// destructible, so it works before and after every other static.
class ExitGate {
 public:
    constexpr ExitGate() = default;
    ExitGate(const ExitGate&) = delete;
    ExitGate& operator=(const ExitGate&) = delete;

    class Visit {
     public:
        // Sequentially consistent on both sides: either the visitor sees that the gate is closed, or the
        // thread that closes it sees the visitor.
        explicit Visit(ExitGate& gate) noexcept : gate_(gate) {
            gate_.inside_.fetch_add(1);
            admitted_ = !gate_.closed_.load();
        }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;
        ~Visit() { gate_.inside_.fetch_sub(1); }

        /// False once the gate has been closed.
        bool admitted() const noexcept { return admitted_; }

     private:
        ExitGate& gate_;
        bool admitted_;
    };

    /// Refuses further visits.
    void close() noexcept { closed_.store(true); }

    /// Waits until no visit is under way. Returns false if one still is after the limit.
    bool waitUntilEmpty(std::chrono::milliseconds limit);

 private:
    std::atomic<bool> closed_ = false;
    std::atomic<int> inside_ = 0;
};

}  // namespace csc_logging
