// The same as clamp.cpp without using the client libraries, but linked to them: connected and subscribed,
// waiting for a notification that does not come. Prints "ready" and exits when its connection ends or on a
// signal.
//
//   idle-bare PORT

#include <JsonText.h>

#include <cstdio>
#include <exception>

#include "BareBus.h"

int main(int count, char** arguments) {
    if (count < 2) {
        return 2;
    }
    try {
        bench::BareBus bus(arguments[1]);
        bus.shakeHands();
        bus.subscribe(bus.findClamp());
        bench::tell("ready", {});
        while (true) {
            bus.read();
        }
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "idle-bare: %s\n", exception.what());
        return 1;
    }
}
