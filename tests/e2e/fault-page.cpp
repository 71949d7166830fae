// Writes docs/faults.md from the table in FaultTable.h:
//   fault-page            prints the page
//   fault-page FILE       fails if FILE differs from that page

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>

#include "FaultTable.h"

namespace {

using e2e::Cell;
using e2e::FaultRow;
using e2e::Outcome;
using e2e::OutcomeText;

const OutcomeText& textOf(Outcome outcome) {
    for (const OutcomeText& text : e2e::kOutcomes) {
        if (text.outcome == outcome) {
            return text;
        }
    }
    throw std::logic_error("an outcome without text");
}

std::string seconds(int milliseconds) {
    std::ostringstream text;
    text << milliseconds / 1000.0 << " s";
    return text.str();
}

std::string textOf(const Cell& cell) {
    std::string text = textOf(cell.outcome).shortText;
    if (cell.within > 0) {
        text += ", " + seconds(cell.within);
    }
    return text;
}

std::string page() {
    std::ostringstream text;
    text
        << R"(<!-- Written by fault-page from tests/e2e/FaultTable.h; change that, then run
     fault-page > docs/faults.md -->

# Faults

This page lists what an application observes for each fault of the network, the service or the machine, depending on the
moment of the fault, and how soon. Every cell is a test (`Faults/FaultMatrix` in the end-to-end tests), with real
connections and the library as it ships. Except during `Stop`, each test ends by checking that the client is usable again
once the fault is gone: a subscribe call succeeds, and a change arrives.

The table shows the callbacks of `ClampControlClient`. With `ClampFollower`, each loss, refusal and end of the table is
the state `Unknown` with its reason. Once the fault is gone, the follower knows the state again by itself.
`Faults/FollowerFaults` checks this for the same faults and moments, except unsubscribe, which a follower does not have: a
follower never claims a state that it cannot know.

The times are the promised limits. The tests add a tolerance for a busy machine.

How soon the library detects a silent peer depends on the configuration and on the cause:

- With a watchdog, the connection counts as lost after three ping intervals without any data. In these tests the watchdog
  pings every 0.1 s, so this takes )"
        << seconds(e2e::cells::kPongTimeOut) << R"(.
- Without a watchdog, only TCP detects a silent peer, and only if the kernel of the peer's machine no longer answers: the
  machine has crashed, or the network is cut. TCP keep-alive then ends the connection about 35 s after the last packet.
  Sent data that is not acknowledged for 30 s also ends it.
- Without a watchdog, a process that hangs or is stopped (SIGSTOP) is not detected at all. The kernel of its machine keeps
  answering the keep-alive probes, and the connection stays open as long as the process exists. Subscribe calls in the
  meantime fail within their own time limits. A follower keeps the last state.

After a loss, the library pauses before each new attempt to connect. The pause is random, up to a limit that grows from
0.1 s to )"
        << seconds(e2e::cells::kPause)
        << R"( while the service stays away. If the fault ends during an attempt that is not answered, the library first
waits until that attempt times out, which takes up to )"
        << seconds(e2e::cells::kConnectLimit) << R"(.

## What the words mean

| in the table | what the application observes |
| --- | --- |
)";
    for (const OutcomeText& outcome : e2e::kOutcomes) {
        text << "| " << outcome.shortText << " | " << outcome.text << " |\n";
    }
    text << R"(
A stopped client cannot be used again, and neither can the other clients of its process. The tests of a fault during `Stop`
therefore check instead that the connection is closed, where the server can observe it.

## The table

| fault |)";
    for (const auto& moment : e2e::kMoments) {
        text << " " << moment.title << " |";
    }
    text << " why \"-\" |\n|";
    for (std::size_t column = 0; column < e2e::kMoments.size() + 2; ++column) {
        text << " --- |";
    }
    text << "\n";
    for (const FaultRow& row : e2e::kFaults) {
        text << "| " << row.title << " |";
        for (const Cell& cell : row.cells) {
            text << " " << textOf(cell) << " |";
        }
        text << " " << row.reason << " |\n";
    }
    return text.str();
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 1) {
        std::cout << page();
        return 0;
    }
    std::ifstream file(arguments[1]);
    const std::string present((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (present != page()) {
        std::cerr << arguments[1] << " differs from the table. Write it again: " << arguments[0] << " > "
                  << arguments[1] << "\n";
        return 1;
    }
    return 0;
}
