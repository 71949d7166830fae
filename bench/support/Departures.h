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

/// What a server does to send its messages: when to send and what it cost. It prints two lines:
/// `{"ready":{...}}` with its address for the clients, and `{"figures":{...}}` when everything is sent. It
/// begins when it reads "start" on its standard input and ends at the end of that input.
class Departures {
 public:
    /// --count, --rate (0: flood), --size (of an element's JSON text), --times
    static std::vector<Arguments::Known> arguments(const std::vector<Arguments::Known>& further);

    explicit Departures(const Arguments& arguments);

    std::int64_t count() const { return count_; }
    std::int64_t rate() const { return rate_; }
    std::size_t size() const { return size_; }
    TimeTable& times() { return times_; }

    /// The state in the message with that number; "off" before the first.
    static constexpr bool isSwitchedOn(std::int64_t number) { return number % 2 == 0; }

    /// Takes the figures at the beginning.
    void begin() { begin_.takeAtBegin(); }
    /// Takes the figures at the end and prints them.
    void endAndTell(std::int64_t messages);

    /// For a server that sends on a separate thread: waits for "start", calls `send` for each number when it
    /// is due, then `flush`, prints the figures, and waits for the end of the standard input.
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
