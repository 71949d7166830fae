#pragma once

#include <cstddef>

namespace test_support {

/// As long as this object lives, the thread that made it gets no more than `size` bytes at once from
/// `operator new`: what asks for more gets std::bad_alloc. One at a time on a thread.
class LimitedAllocation {
 public:
    explicit LimitedAllocation(std::size_t size);
    ~LimitedAllocation();
    LimitedAllocation(const LimitedAllocation&) = delete;
    LimitedAllocation& operator=(const LimitedAllocation&) = delete;
};

}  // namespace test_support
