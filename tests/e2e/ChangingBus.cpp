#include "ChangingBus.h"

#include <kelo-client/ClientServiceUtils.h>
#include <zeb-bus-sim/BusSimulator.h>

#include <chrono>
#include <thread>

namespace e2e {

std::string startChangingBus() {
    static auto& bus = *new zebbussim::BusSimulator();
    bus.loadText(kChangingBus);
    bus.start();
    std::thread([] {
        for (bool isSwitchedOn = false;; isSwitchedOn = !isSwitchedOn) {
            bus.set("/ClampControl/clamps/c15",
                    isSwitchedOn ? R"({"isSwitchedOn":true})" : R"({"isSwitchedOn":false})");
            std::this_thread::sleep_for(
                std::chrono::milliseconds(1));  // without a pause no other thread gets the bus
        }
    }).detach();
    return bus.baseUri();
}

void configureClients(const test_support::TemporaryDirectory& directory, const std::string& baseUri) {
    kelo_client::ClientServiceUtils::CreateClientServiceBase(directory.write(
        "config.json",
        R"({"serviceRegistrySettings":{"mode":"staticOnly"},"services":{"ClampControl":{"serverBaseUri":")" +
            baseUri + R"("}}})"));
}

}  // namespace e2e
