#pragma once

namespace test_support {

/// While one exists, this process cannot make another thread, as if it had reached its limit. There may be
/// one at a time.
class FailingThreads {
 public:
    /// @param count how many threads it can make before
    explicit FailingThreads(int count = 0);
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;

    /// How many attempts to make a thread have failed.
    static int attempts();
};

}  // namespace test_support
