#pragma once

#include <csc_logging/CSCLoggingApi.h>

#include <utility>

#include "ExitGate.h"

namespace csc_logging {

/// The one CSCLoggingApi of the process, a function-local static that the first call makes.
///
/// Order of the process-wide statics: whatever logs in its destructor and is itself a process-wide static
/// must call this function before it is made; then it is destroyed first, with logging still there. The
/// client-service base does so, since its destructor stops executors and the registry, which log. (`ara::log`
/// keeps its own state for ever, so its place in the order does not matter.)
///
/// Threads that the order cannot reach, such as the executors of a client that is never destroyed, may still
/// log while the static is destroyed: they must come in through withProcessLogging.
CSCLoggingApi& processLogging();

/// Passed by everybody who uses the process's logging; closed before it is destroyed.
extern ExitGate processLoggingGate;

/// Calls `use` with the process's logging and keeps it alive meanwhile; does nothing once it has been
/// destroyed.
template <typename Use>
void withProcessLogging(Use&& use) {
    const ExitGate::Visit visit(processLoggingGate);
    if (visit.admitted()) {
        std::forward<Use>(use)(processLogging());
    }
}

}  // namespace csc_logging
