// scale-client: a client with many subscriptions or with a slow handler. Prints `{"ready":{}}` when every
// subscription has received its present state and `{"figures":{...}}` when all changes have arrived. Exits at
// the end of its standard input.

#include <Arguments.h>
#include <ProcessFigures.h>

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>
#include <future>
#include <iostream>
#include <vector>

#include "Client.h"

namespace {

/// Counts the notifications, checks that each subscription receives its changes in order, and takes the
/// figures after the warm-up.
class Deliveries {
 public:
    Deliveries(std::size_t subscriptions, std::int64_t changes, std::int64_t warmUp, std::int64_t handlerTime)
        : received_(subscriptions),
          all_(changes * static_cast<std::int64_t>(subscriptions)),
          warmUp_(warmUp * static_cast<std::int64_t>(subscriptions)),
          handlerTime_(handlerTime) {}

    void onNotification(std::size_t subscription, bool isSwitchedOn) {
        // The present state is "off", the first change "on".
        if (isSwitchedOn != (received_[subscription]++ % 2 == 1)) {
            ++wrong_;
        }
        if (presents_ < received_.size()) {
            if (++presents_ == received_.size()) {
                bench::tell("ready", {});
            }
            return;
        }
        if (delivered_ == warmUp_) {
            begin_.takeAtBegin();
            timeInHandlers_ = 0;
        }
        if (handlerTime_ > 0) {
            work();
        }
        if (++delivered_ == all_) {
            end_.takeAtEnd();
            complete_.set_value();
        }
    }

    /// @return true if no change was missing or out of order
    bool waitAndTell() {
        complete_.get_future().wait();
        bench::tell("figures", end_.since(begin_)
                                   .add("messages", all_ - warmUp_)
                                   .add("timeInHandlers", timeInHandlers_)
                                   .add("wrong", wrong_));
        return wrong_ == 0;
    }

 private:
    // Busy, like a handler that computes something; the kernel would round up a sleep. Measured in CPU time,
    // because other processes on the machine must not count as the handler's time.
    void work() {
        const std::int64_t begin = threadCpuTime();
        std::int64_t now = begin;
        while (now - begin < handlerTime_) {
            now = threadCpuTime();
        }
        timeInHandlers_ += now - begin;
    }

    static std::int64_t threadCpuTime() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
    }

    std::vector<std::uint32_t> received_;  ///< by subscription
    const std::int64_t all_;
    const std::int64_t warmUp_;
    const std::int64_t handlerTime_;
    std::size_t presents_ = 0;
    std::int64_t delivered_ = 0;
    std::int64_t wrong_ = 0;
    std::int64_t timeInHandlers_ = 0;
    bench::ProcessFigures begin_;
    bench::ProcessFigures end_;
    std::promise<void> complete_;
};

}  // namespace

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments,
                                       {{"port", "", true},
                                        {"subscriptions", "1"},
                                        {"changes", "10000"},     // of each subscription
                                        {"warm-up", "1000"},      // of them
                                        {"handler-time", "0"}});  // ns
        const auto subscriptions = static_cast<std::size_t>(options.number("subscriptions"));
        Deliveries deliveries(subscriptions, options.number("changes"), options.number("warm-up"),
                              options.number("handler-time"));
        scale::Client client("http://127.0.0.1:" + options.text("port"));
        client.subscribe(subscriptions,
                         [&deliveries](std::size_t subscription, const scale::Client::Clamp& clamp) {
                             deliveries.onNotification(subscription, clamp.getIsSwitchedOn().getValue());
                         });
        const bool isRight = deliveries.waitAndTell();
        while (std::getchar() != EOF) {
        }
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
