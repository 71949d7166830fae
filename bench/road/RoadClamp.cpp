// road-clamp: the library as an application uses it. The callback only records the time. Runs under
// scripts/with-client-config because the path of the library's configuration is fixed. --log-level is a
// number of ECSCLogLevel; from 4, "info", upwards the library logs a line for every notification.

#include <clampcontrolclient/ClampControlCallbackIf.h>
#include <clampcontrolclient/ClampControlClient.h>
#include <csc_logging/CSCLogging.h>

#include <exception>
#include <future>
#include <iostream>
#include <utility>

#include "Arrivals.h"

namespace {

class TimingCallback : public clampcontrolclient::ClampControlCallbackIf {
 public:
    explicit TimingCallback(bench::Arrivals& arrivals) : arrivals_(arrivals) {}

    void OnConnectionStateChanged(bool connected) override {
        if (!std::exchange(wasConnected_, connected)) {
            isConnected.set_value();
        }
        if (!connected) {
            std::cerr << "the connection was lost" << std::endl;
        }
    }
    void OnClampNotification() override {}
    void OnClampStateChanged(bool switchedOn) override {
        if (arrivals_.hasPresent()) {
            arrivals_.arrived(switchedOn);
        } else {
            arrivals_.present();
        }
    }

    std::promise<void> isConnected;

 private:
    bench::Arrivals& arrivals_;
    bool wasConnected_ = false;
};

}  // namespace

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments,
                                       bench::Arrivals::arguments({{"log-level", "", true}}));
        bench::Arrivals arrivals(options);
        csc_logging::CSCLogging::InitLogging(
            "road-clamp", static_cast<csc_logging::ECSCLogLevel>(options.number("log-level")));
        TimingCallback callback(arrivals);
        clampcontrolclient::ClampControlClient client;
        client.AssignCallback(&callback);
        client.Start();
        callback.isConnected.get_future().wait();
        if (client.SubscribeClampControl().empty()) {
            std::cerr << arguments[0] << ": the subscription has failed" << std::endl;
            return 1;
        }
        const bool isRight = arrivals.waitAndTell();
        client.Stop();
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
