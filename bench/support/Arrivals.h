#pragma once

#include <atomic>
#include <cstdint>
#include <future>
#include <string>

#include "Arguments.h"
#include "ProcessFigures.h"
#include "TimeTable.h"

namespace bench {

/// What a client does with the messages that it receives: records the times, counts, compares, and prints the
/// figures of everything after the warm-up. It prints two lines: `{"ready":{}}` after the present state has
/// arrived and `{"figures":{...}}` at the end.
///
/// Threads: one calls present() and arrived(), another waits.
class Arrivals {
 public:
    /// --count, --warm-up, --times, --client
    static std::vector<Arguments::Known> arguments(const std::vector<Arguments::Known>& further);

    explicit Arrivals(const Arguments& arguments);

    /// The first message: the state before the first change. It has no send time.
    void present();
    /// The next change. A complete and ordered sequence is on, off, on, ...
    void arrived(bool isSwitchedOn);
    /// The same for a client that does not read the messages.
    void arrived() { arrived(nextState()); }

    bool hasPresent() const { return hasPresent_; }
    std::int64_t received() const { return received_; }

    /// Waits for all messages, and briefly for any that should not arrive.
    /// @return true if each arrived once and in order
    bool waitAndTell();

 private:
    bool nextState() const { return received_ % 2 == 0; }

    const std::int64_t count_;
    const std::int64_t warmUp_;
    const std::size_t column_;
    TimeTable times_;
    bool hasPresent_ = false;
    std::atomic<std::int64_t> received_ = 0;
    std::atomic<std::int64_t> wrong_ = 0;
    ProcessFigures begin_;
    ProcessFigures end_;
    std::promise<void> complete_;
};

}  // namespace bench
