#pragma once

#include <cstddef>

namespace internal {

/// Empties a container that is filled again and again. Its memory is kept, so that filling it costs no
/// allocation, but not what a single burst has made it grow to: that would stay for good.
/// @param mostKept the capacity up to which the memory is kept, in elements
template <typename Container>
void clearKeeping(Container& container, std::size_t mostKept) {
    if (container.capacity() > mostKept) {
        // Not assigned: a string would take over the characters and keep its memory.
        Container().swap(container);
    } else {
        container.clear();
    }
}

}  // namespace internal
