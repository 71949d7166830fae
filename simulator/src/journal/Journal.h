#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "BusEvent.h"

namespace zebbussim {

/// Passes on what happens on the bus, as it happens, to those who listen. Keeps nothing.
///
/// Used on the bus's thread.
class Journal {
 public:
    using Listener = std::function<void(const BusEvent&)>;
    /// What a listener wants to hear: everything; that clients come, subscribe and leave; what steps do.
    enum class Interest { Everything, Clients, Steps };

    /// Ends the listening when it is destroyed. Must not outlive the journal.
    class Registration {
     public:
        Registration() = default;
        Registration(Journal& journal, std::uint64_t number) : journal_(&journal), number_(number) {}
        ~Registration() { end(); }
        Registration(Registration&& other) noexcept
            : journal_(std::exchange(other.journal_, nullptr)), number_(other.number_) {}
        Registration& operator=(Registration&& other) noexcept {
            end();
            journal_ = std::exchange(other.journal_, nullptr);
            number_ = other.number_;
            return *this;
        }
        void end();

     private:
        Journal* journal_ = nullptr;
        std::uint64_t number_ = 0;
    };

    /// The listener is called on the bus's thread, in the middle of what happens. It must not change the bus.
    [[nodiscard]] Registration listen(Listener listener, Interest interest = Interest::Everything);

    /// Whether anybody listens to everything. What nobody hears does not have to be put into words.
    bool isHeard() const { return listenersToEverything_ > 0; }

    /// Sets the time of the event and passes it on.
    void note(BusEvent event);

    /// Since the journal was made.
    std::chrono::milliseconds now() const;

 private:
    const std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    struct Entry {
        Interest interest;
        std::shared_ptr<const Listener> listener;
    };
    std::map<std::uint64_t, Entry> listeners_;
    std::uint64_t last_ = 0;
    std::size_t listenersToEverything_ = 0;
};

}  // namespace zebbussim
