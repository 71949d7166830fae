#include "Departures.h"

#include <iostream>

#include "MonotonicClock.h"

namespace bench {

std::vector<Arguments::Known> Departures::arguments(const std::vector<Arguments::Known>& further) {
    std::vector<Arguments::Known> known = {
        {"count", "10000"}, {"rate", "1000"}, {"size", "165"}, {"times", ""}};
    known.insert(known.begin(), further.begin(), further.end());
    return known;
}

Departures::Departures(const Arguments& arguments)
    : count_(arguments.number("count")),
      rate_(arguments.number("rate")),
      size_(static_cast<std::size_t>(arguments.number("size"))),
      times_(arguments.text("times")) {}

void Departures::endAndTell(std::int64_t messages) {
    end_.takeAtEnd();
    tell("figures", end_.since(begin_).add("messages", messages));
}

void Departures::run(const std::function<void(std::int64_t)>& send, const std::function<void()>& flush) {
    std::string line;
    if (!std::getline(std::cin, line) || line != "start") {
        return;
    }
    begin();
    const Pace pace(monotonicNanoseconds(), rate_);
    for (std::int64_t number = 0; number < count_; ++number) {
        pace.waitFor(number);
        times_.set(TimeTable::sentColumn(0), static_cast<std::size_t>(number), monotonicNanoseconds());
        send(number);
    }
    if (flush) {
        flush();
    }
    endAndTell(count_);
    while (std::getline(std::cin, line)) {
    }
}

}  // namespace bench
