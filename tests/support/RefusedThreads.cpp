#include "RefusedThreads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> refusals = 0;

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// Replaces pthread_create() of the C library, for this program and for the libraries that it uses. The symbol
// is set by hand, because a definition under the C name would have to repeat its reserved parameter names.
extern "C" __attribute__((visibility("default"))) int refusablePthreadCreate(pthread_t* thread,
                                                                             const pthread_attr_t* attributes,
                                                                             void* (*function)(void*),
                                                                             void* argument) noexcept
    __asm__("pthread_create");

int refusablePthreadCreate(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                           void* argument) noexcept {
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return refusals.load() > 0 ? EAGAIN : create(thread, attributes, function, argument);
}

namespace test_support {

RefusedThreads::RefusedThreads() {
    ++refusals;
}

RefusedThreads::~RefusedThreads() {
    --refusals;
}

}  // namespace test_support
