#pragma once

#include <string>
#include <vector>

#include "zeb-bus-sim/BusSimulator.h"

namespace zebbussim {

/// What the program is to do.
struct Arguments {
    Arguments() { options.lenient = false; }  // people make mistakes, which tests do not

    BusSimulator::Options options;
    std::string busFile;
    std::string scenarioFile;
    std::string recordFile;
    double speed = 1;
    bool isDemo = false;
    bool isQuiet = false;
    bool exitAfterScenario = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

/// Takes "--name value" and "--name=value". Throws `std::invalid_argument` with one line: what is wrong, and
/// what would be right.
Arguments parseArguments(const std::vector<std::string>& words);

/// The text of --help.
extern const char* const kHelp;

}  // namespace zebbussim
