// The shipped library in child processes, with a bus that fails at random; see scripts/soak.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <random>
#include <string>

#include "ClientRole.h"
#include "Driver.h"

namespace {

int usage() {
    std::fprintf(stderr, "usage: soak --seconds SECONDS [--seed SEED]\n");
    return 2;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        return usage();
    }
    const std::string role = arguments[1];
    const std::uint64_t number = std::strtoull(arguments[2], nullptr, 10);
    try {
        if (role == "--endurance") {
            return soak::runEndurance(number);
        }
        if (role == "--generation") {
            return soak::runGeneration(number);
        }
        if (role != "--seconds" || number == 0 ||
            (count != 3 && (count != 5 || std::strcmp(arguments[3], "--seed") != 0))) {
            return usage();
        }
        const std::uint64_t seed =
            count == 5 ? std::strtoull(arguments[4], nullptr, 10) : std::random_device()();
        std::fprintf(stderr, "seed %llu\n", static_cast<unsigned long long>(seed));

        std::string directory = std::filesystem::temp_directory_path() / "clampcontrol-soak-XXXXXX";
        if (mkdtemp(directory.data()) == nullptr) {
            std::perror(directory.c_str());
            return 1;
        }
        // The clients' warnings go to their logs, unless the environment says otherwise.
        setenv("DLT_LOCAL_PRINT_MODE", "FORCE_ON", 0);
        setenv("DLT_INITIAL_LOG_LEVEL", "::3", 0);
        // No daemon takes the lines. libdlt's buffer for them would grow for most of the run.
        setenv("DLT_USER_BUFFER_MIN", "50000", 0);
        setenv("DLT_USER_BUFFER_MAX", "50000", 0);
        // What a thread has freed and the C library keeps for it would count as in use: up to 231 KiB for
        // each thread, seven pieces of each of 64 sizes. It fills for as long as new sizes occur. And the end
        // of the memory of a thread is given back neither by free() nor by malloc_trim(), unlike that of the
        // process.
        setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1", 0);
        const bool isKept = soak::drive(std::chrono::seconds(number), seed, directory);
        if (isKept) {
            std::filesystem::remove_all(directory);
        } else {
            std::fprintf(stderr, "logs of the clients: %s\n", directory.c_str());
        }
        return isKept ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "soak: %s\n", error.what());
        return 1;
    }
}
