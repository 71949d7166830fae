#pragma once

#include <fcntl.h>
#include <sys/resource.h>

namespace test_support {

/// As long as it lives, the process gets only so many further descriptors. Not for a program with the
/// undefined-behaviour sanitizer; see TestBuild.h.
class FewDescriptors {
 public:
    explicit FewDescriptors(int count) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few{firstBehind(count), before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
    /// The number behind this many that are free.
    static rlim_t firstBehind(int count) {
        int number = 0;
        for (; count > 0; ++number) {
            count -= ::fcntl(number, F_GETFD) < 0 ? 1 : 0;
        }
        return static_cast<rlim_t>(number);
    }

    rlimit before_{};
};

/// The same without any.
class NoDescriptors : public FewDescriptors {
 public:
    NoDescriptors() : FewDescriptors(0) {}
};

}  // namespace test_support
