#pragma once

#include <sys/resource.h>

namespace test_support {

/// As long as it lives, the process gets no further descriptor. Not for a program with the
/// undefined-behaviour sanitizer; see TestBuild.h.
class NoDescriptors {
 public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
    rlimit before_{};
};

}  // namespace test_support
