#include "Emulator.h"

#include <sstream>

namespace test_support {

std::vector<std::string> commandOf(const std::string& program, const std::vector<std::string>& arguments) {
    std::vector<std::string> command;
    std::istringstream emulator(EMULATOR);
    for (std::string word; std::getline(emulator, word, '|');) {
        command.push_back(word);
    }
    command.push_back(program);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace test_support
