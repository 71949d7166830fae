// An application may load the library while it runs, and close it again. This program therefore does not link
// the library.

#include <ChildProcess.h>
#include <clampcontrolclient/ClampControlClientIf.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <string>

namespace {

using clampcontrolclient::ClampControlClientIf;

template <typename Function>
Function* find(void* library, const char* name) {
    void* const function = ::dlsym(library, name);
    if (function == nullptr) {
        std::_Exit(2);
    }
    return reinterpret_cast<Function*>(function);
}

/// Makes a client with the constructor of ClampControlClient, lets it work, and destroys it.
void useClient(void* library) {
    find<void(const std::string&)>(library,
                                   "_ZN11csc_logging10CSCLogging11InitLoggingERKNSt7__cxx1112basic_"
                                   "stringIcSt11char_traitsIcESaIcEEE")("UnloadTest");
    alignas(std::max_align_t) std::array<unsigned char, 256> storage{};
    find<void(void*)>(library, "_ZN18clampcontrolclient18ClampControlClientC1Ev")(storage.data());
    auto* const client = reinterpret_cast<ClampControlClientIf*>(storage.data());
    client->Start();
    client->Stop();
    client->~ClampControlClientIf();
}

TEST(UnloadedLibrary, LetsTheProcessEndAsUsual) {
    const auto result = test_support::runInChild([] {
        void* const library = ::dlopen(CLIENT_LIBRARY, RTLD_NOW);
        if (library == nullptr) {
            std::_Exit(1);
        }
        useClient(library);
        ::dlclose(library);
    });
    EXPECT_EQ(result.signal, 0) << result.errors;
    EXPECT_EQ(result.exitCode, 0) << result.errors;
}

}  // namespace
