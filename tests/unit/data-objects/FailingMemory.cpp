// The program's operator new. It is in a separate file because a compiler that sees its use as well reports
// mismatched new and delete.
#include "FailingMemory.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace test_data_objects {

long allocationsLeft = -1;
bool allocationHasFailed = false;

}  // namespace test_data_objects

using test_data_objects::allocationHasFailed;
using test_data_objects::allocationsLeft;

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) {
        allocationHasFailed = true;
        throw std::bad_alloc();
    }
    if (allocationsLeft > 0) {
        --allocationsLeft;
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
