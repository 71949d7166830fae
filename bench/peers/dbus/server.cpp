// dbus-server: emits one signal per message. In a flood it flushes the queue of sd-bus after a fixed number
// of messages.

#include <exception>
#include <iostream>
#include <string>

#include "Connection.h"
#include "Departures.h"
#include "ElementText.h"

int main(int count, char** arguments) {
    namespace dbus = bench::dbus;
    try {
        const bench::Arguments options(count, arguments,
                                       bench::Departures::arguments({{"broker", "", true}}));
        bench::Departures departures(options);
        const auto bus = dbus::connect(options.text("broker"));
        const std::string on = bench::elementText(1, true, departures.size());
        const std::string off = bench::elementText(1, false, departures.size());
        bench::tell("ready", {});
        const auto flush = [&] { dbus::require(sd_bus_flush(bus.get()), "flush"); };
        const std::int64_t flushEvery = departures.rate() == 0 ? 64 : 1;
        departures.run(
            [&](std::int64_t number) {
                const std::string& text = bench::Departures::isSwitchedOn(number) ? on : off;
                dbus::require(sd_bus_emit_signal(bus.get(), dbus::kPath, dbus::kInterface, dbus::kSignal, "s",
                                                 text.c_str()),
                              "emit");
                if (number % flushEvery == 0) {
                    flush();
                }
            },
            flush);
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
