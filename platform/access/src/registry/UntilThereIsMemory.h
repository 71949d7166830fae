#pragma once

#include <zebutil/StopHandler.h>

#include <chrono>
#include <new>
#include <thread>

namespace zeb {

/// Does `step` again, after a pause, as long as there is no memory for it: what is lost here would be lost
/// for good. For the executor thread, which can do nothing else without memory either. `step` may have been
/// done in part before. Ends when the executor is stopped.
/// @param mostTries 0: any number. For a step that may need more memory than there will ever be; the last try
///                  then throws `std::bad_alloc`.
template <typename Step>
void untilThereIsMemory(const Step& step, int mostTries = 0) {
    constexpr std::chrono::milliseconds kPause{20};
    for (int tries = 1; !zebutil::StopHandler::isStopped(); ++tries) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            if (tries == mostTries) {
                throw;
            }
        }
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace zeb
