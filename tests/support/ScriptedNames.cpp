#include "ScriptedNames.h"

#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>

namespace {

struct Script {
    std::mutex mutex;
    std::condition_variable never;
    std::map<std::string, std::vector<std::string>> addresses;  ///< none: the look-up never ends
};

// Never destroyed, since look-ups go on while the process ends.
Script& script() {
    static auto& instance = *new Script;
    return instance;
}

std::optional<std::vector<std::string>> scripted(const char* name) {
    std::unique_lock lock(script().mutex);
    const auto found = name == nullptr ? script().addresses.end() : script().addresses.find(name);
    if (found == script().addresses.end()) {
        return std::nullopt;
    }
    if (found->second.empty()) {
        script().never.wait(lock, [] { return false; });
    }
    return found->second;
}

using LookUp = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

}  // namespace

// The symbol is set by hand, because a definition under the C name would have to repeat its reserved
// parameter names.
extern "C" __attribute__((visibility("default"))) int scriptedGetaddrinfo(
    const char* name, const char* service, const addrinfo* hints, addrinfo** result) __asm__("getaddrinfo");

int scriptedGetaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    static const auto lookUp = reinterpret_cast<LookUp>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    const auto addresses = scripted(name);
    if (!addresses) {
        return lookUp(name, service, hints, result);
    }
    // The entries of the single addresses, one behind the other; freeaddrinfo() frees them one by one.
    addrinfo** end = result;
    for (const std::string& address : *addresses) {
        const int error = lookUp(address.c_str(), service, hints, end);
        if (error != 0) {
            return error;
        }
        while (*end != nullptr) {
            end = &(*end)->ai_next;
        }
    }
    return 0;
}

namespace test_support {

void ScriptedNames::nameHas(const std::string& name, const std::vector<std::string>& addresses) {
    const std::lock_guard lock(script().mutex);
    script().addresses[name] = addresses;
}

void ScriptedNames::nameIsSilent(const std::string& name) {
    nameHas(name, {});
}

}  // namespace test_support
