#include "Arrivals.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include "MonotonicClock.h"

namespace bench {

std::vector<Arguments::Known> Arrivals::arguments(const std::vector<Arguments::Known>& further) {
    std::vector<Arguments::Known> known = {
        {"count", "10000"}, {"warm-up", "1000"}, {"times", ""}, {"client", "0"}};
    known.insert(known.begin(), further.begin(), further.end());
    return known;
}

Arrivals::Arrivals(const Arguments& arguments)
    : count_(arguments.number("count")),
      warmUp_(arguments.number("warm-up")),
      column_(TimeTable::receivedColumn(static_cast<std::size_t>(arguments.number("client")))),
      times_(arguments.text("times")) {
    if (warmUp_ < 1 || warmUp_ >= count_) {
        throw std::invalid_argument("0 < --warm-up < --count");
    }
}

void Arrivals::present() {
    hasPresent_ = true;
    tell("ready", {});
}

void Arrivals::arrived(bool isSwitchedOn) {
    const std::int64_t now = monotonicNanoseconds();
    const std::int64_t number = received_.load(std::memory_order_relaxed);
    times_.set(column_, static_cast<std::size_t>(number), now);
    if (isSwitchedOn != nextState()) {
        wrong_.fetch_add(1, std::memory_order_relaxed);
    }
    received_.store(number + 1, std::memory_order_relaxed);
    if (number + 1 == warmUp_) {
        begin_.takeAtBegin();
    } else if (number + 1 == count_) {
        end_.takeAtEnd();
        complete_.set_value();
    }
}

bool Arrivals::waitAndTell() {
    complete_.get_future().wait();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const bool isRight = received_ == count_ && wrong_ == 0;
    tell("figures", end_.since(begin_)
                        .add("messages", count_ - warmUp_)
                        .add("received", received_.load())
                        .add("wrong", wrong_.load()));
    return isRight;
}

}  // namespace bench
