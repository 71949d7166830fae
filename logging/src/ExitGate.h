#pragma once

#include <atomic>
#include <chrono>

namespace csc_logging {

/// Keeps threads that live on away from statics that the end of the process destroys: who uses them makes a
/// Visit, and who destroys them closes the gate before.
///
/// Thread safety: any thread. To be a static itself: constant-initialised and trivially destroyed, it is good
/// before and after every other one.
class ExitGate {
 public:
    constexpr ExitGate() = default;
    ExitGate(const ExitGate&) = delete;
    ExitGate& operator=(const ExitGate&) = delete;

    class Visit {
     public:
        // Sequentially consistent on both sides: either the visitor sees the end, or the end sees the
        // visitor.
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

    /// Admits nobody any more and waits for those who are inside. Returns false when some still are after
    /// the limit.
    bool close(std::chrono::milliseconds limit);

 private:
    std::atomic<bool> closed_ = false;
    std::atomic<int> inside_ = 0;
};

}  // namespace csc_logging
