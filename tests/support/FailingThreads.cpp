#include "FailingThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

/// How many threads can be made; negative: any number.
std::atomic<int> allowed = -1;
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
    int left = allowed;
    while (left > 0 && !allowed.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 0) {
        ++failed;
        return EAGAIN;
    }
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, start, argument);
}

namespace test_support {

FailingThreads::FailingThreads(int count) {
    failed = 0;
    allowed = count;
}

FailingThreads::~FailingThreads() {
    allowed = -1;
}

int FailingThreads::attempts() {
    return failed;
}

}  // namespace test_support
