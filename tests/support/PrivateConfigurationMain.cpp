// The client's base exists once per process and cannot be restarted after a stop, so each test needs its own
// process; ctest runs them that way. Each process has a private view of the configuration file at the fixed
// path.

#include <Emulator.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char* kInView = "CLAMPCONTROL_PRIVATE_CONFIGURATION";

void enterPrivateView(char** arguments) {
    char program[4096] = {};
    if (readlink("/proc/self/exe", program, sizeof program - 1) <= 0) {
        std::perror("/proc/self/exe");
        std::exit(125);
    }
    std::vector<std::string> words = {WITH_CLIENT_CONFIG, "--none", "--"};
    for (const std::string& word : test_support::commandOf(program)) {
        words.push_back(word);
    }
    std::vector<char*> command;
    for (std::string& word : words) {
        command.push_back(word.data());
    }
    for (char** argument = arguments + 1; *argument != nullptr; ++argument) {
        command.push_back(*argument);
    }
    command.push_back(nullptr);
    setenv(kInView, "1", 1);
    execv(command[0], command.data());
    std::perror(command[0]);
    std::exit(125);
}

bool isListing(char** arguments) {
    for (char** argument = arguments; *argument != nullptr; ++argument) {
        if (std::strcmp(*argument, "--gtest_list_tests") == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

int main(int count, char** arguments) {
    if (std::getenv(kInView) == nullptr && !isListing(arguments)) {
        enterPrivateView(arguments);
    }
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
