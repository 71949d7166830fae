#pragma once

#include <internal/UntilThereIsMemory.h>
#include <zebutil/StopHandler.h>

namespace zeb {

/// As the function that it calls, until the executor whose task calls it is stopped.
template <typename Step>
void untilThereIsMemory(const Step& step, int mostTries = 0) {
    internal::untilThereIsMemory(step, zebutil::StopHandler::isStopped, mostTries);
}

}  // namespace zeb
