// Writes docs/faults.md from the table of FaultTable.h:
//   fault-page            prints the page
//   fault-page FILE       says whether FILE is that page

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
    text << R"(<!-- Written by fault-page from tests/e2e/FaultTable.h; change that, then run
     fault-page > docs/faults.md -->

# Faults

What an application sees of a fault of the network, the service or the machine, at each moment, and how soon. Every cell
is a test (`Faults/FaultMatrix` in the end-to-end tests), with real connections and the library as it ships; each ends
with the client usable again once the fault is gone: a subscribe succeeds, and a change arrives.

The times are what is promised. The tests allow for a busy machine beside them. A silent peer is found by the watchdog:
after three ping intervals, which is )"
         << seconds(e2e::cells::kPongTimeOut)
         << R"( here, where it pings every 0.1 s. Without a watchdog TCP keep-alive finds it,
after about a minute. "Connected again" takes the pause between two attempts, which grows from nothing to )"
         << seconds(e2e::cells::kPause) << R"(
while a service stays away, and, where an attempt is under way that nobody answers, the )"
         << seconds(e2e::cells::kConnectLimit) << R"( of that.

## What the words mean

| in the table | what the application is told |
| --- | --- |
)";
    for (const OutcomeText& outcome : e2e::kOutcomes) {
        text << "| " << outcome.shortText << " | " << outcome.text << " |\n";
    }
    text << R"(
A fault during `Stop` leaves nothing to be used again: a stopped client stays stopped, with all clients of its process. The
tests check instead that its connection is gone.

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
        std::cerr << arguments[1] << " is not what the table says. Write it anew: " << arguments[0] << " > "
                  << arguments[1] << "\n";
        return 1;
    }
    return 0;
}
