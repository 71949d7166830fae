// dbus-client: processes the bus and decodes on one thread.

#include <pthread.h>

#include <atomic>
#include <cstring>
#include <exception>
#include <iostream>
#include <thread>

#include "Arrivals.h"
#include "Connection.h"
#include "TextClamp.h"

namespace {

int onChanged(sd_bus_message* message, void* user, sd_bus_error*) {
    const char* text = nullptr;
    bench::dbus::require(sd_bus_message_read(message, "s", &text), "read");
    const auto clamp = bench::TextClamp::decode(text, std::strlen(text));
    static_cast<bench::Arrivals*>(user)->arrived(clamp.isSwitchedOn);
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    namespace dbus = bench::dbus;
    try {
        const bench::Arguments options(count, arguments, bench::Arrivals::arguments({{"address", "", true}}));
        bench::Arrivals arrivals(options);
        std::atomic<bool> isDone = false;
        std::thread reader([&] {
            const auto bus = dbus::connect(options.text("address"));
            dbus::require(sd_bus_match_signal(bus.get(), nullptr, nullptr, dbus::kPath, dbus::kInterface,
                                              dbus::kSignal, onChanged, &arrivals),
                          "match");
            arrivals.present();  // signals are not retained: the next one is the first change
            while (!isDone) {
                while (dbus::require(sd_bus_process(bus.get(), nullptr), "process") > 0) {
                }
                dbus::require(sd_bus_wait(bus.get(), 100'000), "wait");
            }
        });
        pthread_setname_np(reader.native_handle(), "reader");
        const bool isRight = arrivals.waitAndTell();
        isDone = true;
        reader.join();
        return isRight ? 0 : 1;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
