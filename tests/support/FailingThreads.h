#pragma once

namespace test_support {

/// While one exists, this process cannot make another thread, as if it had reached its limit.
class FailingThreads {
 public:
    FailingThreads();
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;

    /// How many attempts to make a thread have failed.
    static int attempts();
};

}  // namespace test_support
