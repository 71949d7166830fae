// The minimum that a client must do: TCP and WebSocket handshake, one HTTP request for the clamp, a
// subscription and its first notification. One thread, blocking calls, no JSON parser.

#include <cstdio>
#include <exception>

#include "BareBus.h"
#include "StartMarks.h"

int main(int count, char** arguments) {
    const auto entered = bench::monotonicNanoseconds();
    if (count < 3) {
        return 2;
    }
    try {
        bench::BareBus bus(arguments[2]);
        bus.shakeHands();
        const auto connected = bench::monotonicNanoseconds();
        const std::string id = bus.findClamp();
        const auto found = bench::monotonicNanoseconds();
        bus.subscribe(id);
        const auto state = bench::monotonicNanoseconds();
        start::StartMarks marks(arguments[1]);
        marks.add("main", entered);
        marks.add("connected", connected);
        marks.add("found", found);
        marks.add("state", state);
        marks.print();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "start-bare: %s\n", exception.what());
        return 1;
    }
    return 0;
}
