#include "BusProgram.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace test_support {

namespace {

std::string contentOf(const std::string& fileName) {
    std::ifstream file(fileName);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What the program prints when it is ready.
std::string readBaseUri(const std::string& outputFile, ChildProgram& program) {
    const std::string beginning = "listening on ";
    while (program.isRunning()) {
        const std::string output = contentOf(outputFile);
        const std::size_t begin = output.find(beginning);
        const std::size_t end = output.find("/\n", begin);
        if (begin != std::string::npos && end != std::string::npos) {
            return output.substr(begin + beginning.size(), end - begin - beginning.size());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error("zeb-bus-sim did not start: " + contentOf(outputFile));
}

}  // namespace

BusProgram::BusProgram(const std::vector<std::string>& command)
    : program_(command, {}, outputFile()), baseUri_(readBaseUri(outputFile(), program_)) {}

std::string BusProgram::outputFile() const {
    return (directory_.path() / "output").string();
}

}  // namespace test_support
