#pragma once

#include <chrono>
#include <new>
#include <thread>

namespace internal {

/// Does `step` again, after a pause, as long as there is no memory for it: what is lost here would be lost
/// for good. For the executor thread, which can do nothing else without memory either. `step` may have been
/// done in part before.
/// @param isStopped whether to give up, after the first try
/// @param mostTries 0: any number. For a step that may need more memory than there will ever be; the last try
///                  then throws `std::bad_alloc`.
template <typename Step, typename IsStopped>
void untilThereIsMemory(const Step& step, IsStopped isStopped, int mostTries = 0) {
    constexpr std::chrono::milliseconds kPause{20};
    for (int tries = 1;; ++tries) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            if (tries == mostTries) {
                throw;
            }
        }
        if (isStopped()) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace internal
