// bench-bus: a service bus for the benchmarks. See Bus.h.

#include <exception>
#include <iostream>

#include "Bus.h"

int main(int count, char** arguments) {
    try {
        const bench::Arguments options(count, arguments, bench::Departures::arguments({{"elements", "1"}}));
        bench::Departures departures(options);
        bench::Bus bus(departures, static_cast<std::size_t>(options.number("elements")));
        bus.run();
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << std::endl;
        return 1;
    }
}
