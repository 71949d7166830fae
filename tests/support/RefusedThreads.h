#pragma once

namespace test_support {

/// While an object of this class exists, no thread can be created in this process: `pthread_create()` fails
/// with EAGAIN, as it does at the limit of the system.
class RefusedThreads {
 public:
    RefusedThreads();
    RefusedThreads(const RefusedThreads&) = delete;
    RefusedThreads& operator=(const RefusedThreads&) = delete;
    ~RefusedThreads();
};

}  // namespace test_support
