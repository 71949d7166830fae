#include <internal/StandardStreams.h>

#include <cstdio>
#include <exception>
#include <string>

#include "Arguments.h"
#include "Program.h"

namespace {

constexpr int kFailure = 1;
constexpr int kUsage = 2;

void complain(const char* text) {
    std::fprintf(stderr, "zeb-bus-sim: %s\n", text);
}

int printed(const char* text) {
    if (std::fputs(text, stdout) < 0 || std::fflush(stdout) != 0) {
        complain("the output could not be written");
        return kFailure;
    }
    return 0;
}

}  // namespace

int main(int argumentCount, char** argumentValues) {
    internal::openClosedStandardStreams();
    zebbussim::Arguments arguments;
    try {
        arguments = zebbussim::parseArguments({argumentValues + 1, argumentValues + argumentCount});
    } catch (const std::exception& exception) {
        complain((std::string(exception.what()) + "; see zeb-bus-sim --help").c_str());
        return kUsage;
    }
    if (arguments.wantsHelp) {
        return printed(zebbussim::kHelp);
    }
    if (arguments.wantsVersion) {
        return printed("zeb-bus-sim " CLAMPCONTROL_VERSION "\n");
    }
    try {
        return zebbussim::serve(arguments);
    } catch (const std::exception& exception) {
        complain(exception.what());
        return kFailure;
    }
}
