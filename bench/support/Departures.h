#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Arguments.h"
#include "Pace.h"
#include "ProcessFigures.h"
#include "TimeTable.h"

namespace bench {

/// What a server does to send its messages: when to, and what it cost. It prints two lines: `{"ready":{...}}`
/// with what a client needs to find it, and `{"figures":{...}}` when all has been sent. It begins when it
/// reads "start" on its standard input, and ends with it.
class Departures {
 public:
    /// --count, --rate (0: flood), --size (of an element's JSON text), --times
    static std::vector<Arguments::Known> arguments(const std::vector<Arguments::Known>& further);

    explicit Departures(const Arguments& arguments);

    std::int64_t count() const { return count_; }
    std::int64_t rate() const { return rate_; }
    std::size_t size() const { return size_; }
    TimeTable& times() { return times_; }

    /// State of the message of that number, and "off" before the first.
    static constexpr bool isSwitchedOn(std::int64_t number) { return number % 2 == 0; }

    /// Takes the figures of the beginning.
    void begin() { begin_.takeAtBegin(); }
    /// Takes the figures of the end, and prints them.
    void endAndTell(std::int64_t messages);

    /// For a server that sends on a thread of its own: waits for "start", calls `send` for each number when
    /// it is due, then `flush`, tells the figures, and waits for the end of the standard input.
    void run(const std::function<void(std::int64_t number)>& send, const std::function<void()>& flush = {});

 private:
    const std::int64_t count_;
    const std::int64_t rate_;
    const std::size_t size_;
    TimeTable times_;
    ProcessFigures begin_;
    ProcessFigures end_;
};

}  // namespace bench
