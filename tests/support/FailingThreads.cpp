#include "FailingThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> failing = 0;
std::atomic<int> failed = 0;

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// Replaces pthread_create() of the C library, for this program and for the libraries that it uses. The symbol
// is set by hand, because a definition under the C name would have to repeat its reserved parameter names.
extern "C" __attribute__((visibility("default"))) int failingPthreadCreate(pthread_t* thread,
                                                                           const pthread_attr_t* attributes,
                                                                           void* (*start)(void*),
                                                                           void* argument) noexcept
    __asm__("pthread_create");

int failingPthreadCreate(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                         void* argument) noexcept {
    if (failing > 0) {
        ++failed;
        return EAGAIN;
    }
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, start, argument);
}

namespace test_support {

FailingThreads::FailingThreads() {
    failed = 0;
    ++failing;
}

FailingThreads::~FailingThreads() {
    --failing;
}

int FailingThreads::attempts() {
    return failed;
}

}  // namespace test_support
