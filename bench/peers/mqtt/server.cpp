// mqtt-server: publishes with QoS 0 from the main thread; the present state is retained.

#include <condition_variable>
#include <exception>
#include <future>
#include <iostream>
#include <mutex>
#include <string>

#include "Connection.h"
#include "Departures.h"
#include "ElementText.h"

namespace {

class Publisher {
 public:
    Publisher() {
        mosquitto_connect_callback_set(connection_.get(), [](mosquitto*, void* self, int) {
            static_cast<Publisher*>(self)->connected.set_value();
        });
        mosquitto_publish_callback_set(connection_.get(), [](mosquitto*, void* self, int) {
            static_cast<Publisher*>(self)->onPublished();
        });
    }

    void start(int port) {
        connection_.start(port);
        connected.get_future().wait();
    }

    void publish(const std::string& text, bool isRetained) {
        bench::mqtt::require(mosquitto_publish(connection_.get(), nullptr, bench::mqtt::kTopic,
                                               static_cast<int>(text.size()), text.data(), 0, isRetained),
                             "publish");
    }

    /// Waits until that many messages have left this process.
    void waitForPublished(std::int64_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return published_ >= count; });
    }

    std::promise<void> connected;

 private:
    void onPublished() {
        const std::lock_guard lock(mutex_);
        ++published_;
        changed_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t published_ = 0;
    bench::mqtt::Connection connection_{this};
};

}  // namespace

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments,
                                       bench::Departures::arguments({{"broker", "", true}}));
        bench::Departures departures(options);
        Publisher publisher;
        publisher.start(static_cast<int>(options.number("broker")));
        const std::string on = bench::elementText(1, true, departures.size());
        const std::string off = bench::elementText(1, false, departures.size());
        publisher.publish(off, true);
        publisher.waitForPublished(1);
        bench::tell("ready", {});
        departures.run(
            [&](std::int64_t number) {
                publisher.publish(bench::Departures::isSwitchedOn(number) ? on : off, false);
            },
            [&] { publisher.waitForPublished(departures.count() + 1); });
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
