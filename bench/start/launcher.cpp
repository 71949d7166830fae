// Starts each contestant in turn, round after round, and passes on what it prints. Runs under
// scripts/with-client-config, so setting up the private view of the configuration is not part of any start.

#include <MonotonicClock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

/// Prints the program's name, then runs the program, which prints its marks.
void run(const std::string& program, char* port) {
    std::printf("%s\n", program.substr(program.find_last_of('/') + 1).c_str());
    std::fflush(stdout);

    std::string path = program;
    std::string launchedAt = std::to_string(bench::monotonicNanoseconds());
    char* const arguments[] = {path.data(), launchedAt.data(), port, nullptr};
    pid_t process = 0;
    if (const int error = posix_spawn(&process, path.c_str(), nullptr, nullptr, arguments, environ)) {
        throw std::system_error(error, std::system_category(), program);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    if (status != 0) {
        throw std::runtime_error(program + " failed");
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        std::fprintf(stderr, "usage: start-launcher ROUNDS PORT PROGRAM...\n");
        return 2;
    }
    const long rounds = std::strtol(arguments[1], nullptr, 10);
    char* const port = arguments[2];
    const std::vector<std::string> programs(arguments + 3, arguments + count);
    try {
        for (long round = 0; round < rounds; ++round) {
            // The order changes, so no contestant always runs after the same other one.
            for (std::size_t turn = 0; turn < programs.size(); ++turn) {
                run(programs[(static_cast<std::size_t>(round) + turn) % programs.size()], port);
            }
        }
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "start-launcher: %s\n", exception.what());
        return 1;
    }
    return 0;
}
