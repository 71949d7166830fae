#include "HangingFiles.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>

namespace {

constexpr std::chrono::seconds kLimit{20};

struct Hanging {
    std::mutex mutex;
    std::condition_variable looked;
    std::condition_variable never;
    std::map<std::string, bool> files;  ///< whether somebody looks at it
};

// Never destroyed, since threads hang while the process ends.
Hanging& hanging() {
    static auto& instance = *new Hanging;
    return instance;
}

using Stat = int (*)(const char*, struct stat*);

}  // namespace

// The name of stat() with 64-bit sizes. It is set by hand, because a definition would have to repeat reserved
// parameter names.
extern "C" __attribute__((visibility("default"))) int hangingStat(const char* path,
                                                                  struct stat* status) __asm__("stat64");

int hangingStat(const char* path, struct stat* status) {
    static const auto look = reinterpret_cast<Stat>(::dlsym(RTLD_NEXT, "stat64"));
    {
        std::unique_lock lock(hanging().mutex);
        const auto found = hanging().files.find(path);
        if (found != hanging().files.end()) {
            found->second = true;
            hanging().looked.notify_all();
            hanging().never.wait(lock, [] { return false; });
        }
    }
    return look(path, status);
}

namespace test_support {

void HangingFiles::hang(const std::string& path) {
    const std::lock_guard lock(hanging().mutex);
    hanging().files.emplace(path, false);
}

void HangingFiles::waitForLook(const std::string& path) {
    std::unique_lock lock(hanging().mutex);
    if (!hanging().looked.wait_for(lock, kLimit, [&path] { return hanging().files.at(path); })) {
        throw std::runtime_error("nobody has looked at " + path);
    }
}

}  // namespace test_support
