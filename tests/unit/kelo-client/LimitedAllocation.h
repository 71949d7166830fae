#pragma once

#include <cstddef>

namespace test_support {

/// While this object exists, `operator new` on the thread that created it throws std::bad_alloc for requests
/// of more than `size` bytes. Only one may exist per thread.
class LimitedAllocation {
 public:
    explicit LimitedAllocation(std::size_t size);
    ~LimitedAllocation();
    LimitedAllocation(const LimitedAllocation&) = delete;
    LimitedAllocation& operator=(const LimitedAllocation&) = delete;
};

}  // namespace test_support
